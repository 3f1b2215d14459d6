// The program kestrova: stereo from the command line. One line on standard error when something is wrong, and the
// status that basics/AppError.h documents.
#include "basics/AppError.h"
#include "commands/Commands.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <algorithm>
#include <cstdio>

static int complain(const std::string& rMessage, kestrova::app::ExitStatus eStatus)
{
    std::string line = rMessage; // of a library it may have several
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::fprintf(stderr, "kestrova: %s\n", line.c_str());
    return static_cast<int>(eStatus);
}

int main(int nArguments, char** ppszArguments)
{
    using kestrova::app::ExitStatus;
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT); // a missing file gets our line only
    CLI::App program("Distances from the images of two or three calibrated cameras.\n"
                     "The right camera is the reference: disparity d at column x of the right rectified image\n"
                     "matches column x + d of the left one; row y matches row y + d of the top one.");
    program.set_version_flag("--version", [] { return std::string(kestrovaVersion()); });
    program.require_subcommand(1);
    kestrova::app::addBoardCommand(program);
    kestrova::app::addCalibrateCommand(program);
    kestrova::app::addCheckCommand(program);
    kestrova::app::addDemoCommand(program);
    kestrova::app::addRunCommand(program);
    kestrova::app::addInfoCommand(program);
    kestrova::app::addEvalCommand(program);
    kestrova::app::addBenchCommand(program);
    kestrova::app::addImportCommand(program);
    kestrova::app::addExportCommand(program);
    try {
        program.parse(nArguments, ppszArguments);
        return 0;
    } catch (const CLI::Success& rHelp) { // --help, --version
        return program.exit(rHelp);
    } catch (const CLI::Error& rError) {
        return complain(std::string(rError.what()) + " (see --help)", ExitStatus::Usage);
    } catch (const kestrova::app::AppError& rError) {
        return complain(rError.what(), rError.status());
    } catch (const cv::Exception& rError) {
        return complain("image processing failed: " + rError.err, ExitStatus::Failed);
    } catch (const std::exception& rError) { // a failed allocation
        return complain(rError.what(), ExitStatus::Failed);
    }
}
