// The sub-commands. Each file reads options and calls the units; errors travel as AppError to main.
#pragma once

#include "outputs/PlaneSearch.h"
#include "session/StereoSettings.h"

#include <CLI/CLI.hpp>

namespace kestrova::app {

void addDemoCommand(CLI::App& rProgram);
void addRunCommand(CLI::App& rProgram);
void addInfoCommand(CLI::App& rProgram);
void addEvalCommand(CLI::App& rProgram);
void addBenchCommand(CLI::App& rProgram);
void addBoardCommand(CLI::App& rProgram);
void addCalibrateCommand(CLI::App& rProgram);
void addCheckCommand(CLI::App& rProgram);
void addImportCommand(CLI::App& rProgram);
void addExportCommand(CLI::App& rProgram);

/** One option of the command for each row of the table of settings, and the presets. */
void addSettings(CLI::App& rCommand, SettingWishes& rWishes);
/** Range, resolution, regions and threads, for frames of any camera. */
void addFrameSettings(CLI::App& rCommand, SettingWishes& rWishes);
void addPlaneOptions(CLI::App& rCommand, PlaneWishes& rWishes);

} // namespace kestrova::app
