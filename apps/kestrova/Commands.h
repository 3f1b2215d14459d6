// The sub-commands. Each file reads options and calls the units; errors travel as AppError to main.
#pragma once

#include "StereoSettings.h"

#include <CLI/CLI.hpp>

namespace kestrova::app {

void addDemoCommand(CLI::App& rProgram);
void addRunCommand(CLI::App& rProgram);
void addInfoCommand(CLI::App& rProgram);

/// One option of a command for one setting of the library.
CLI::Option* addSetting(CLI::App& rCommand, const Setting& rSetting, SettingWishes& rWishes);

} // namespace kestrova::app
