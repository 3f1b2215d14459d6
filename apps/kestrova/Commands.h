// The sub-commands. Each file reads options and calls the units; errors travel as AppError to main.
#pragma once

#include "StereoSettings.h"

#include <CLI/CLI.hpp>

namespace kestrova::app {

void addDemoCommand(CLI::App& rProgram);
void addRunCommand(CLI::App& rProgram);
void addInfoCommand(CLI::App& rProgram);

/// One option of the command for each row of the table of settings.
void addSettings(CLI::App& rCommand, SettingWishes& rWishes);

} // namespace kestrova::app
