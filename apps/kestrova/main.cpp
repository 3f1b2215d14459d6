// The program kestrova: stereo from the command line. One line on standard error and status 1 when something is wrong.
#include "AppError.h"
#include "Commands.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <cstdio>

static int complain(const char* pszMessage)
{
    std::fprintf(stderr, "kestrova: %s\n", pszMessage);
    return 1;
}

int main(int nArguments, char** ppszArguments)
{
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT); // a missing file gets our line only
    CLI::App program("Distances from the images of two or three calibrated cameras.\n"
                     "The right camera is the reference: disparity d at column x of the right rectified image\n"
                     "matches column x + d of the left one; row y matches row y + d of the top one.");
    program.set_version_flag("--version", [] { return std::string(kestrovaVersion()); });
    program.require_subcommand(1);
    kestrova::app::addDemoCommand(program);
    kestrova::app::addRunCommand(program);
    kestrova::app::addInfoCommand(program);
    try {
        program.parse(nArguments, ppszArguments);
        return 0;
    } catch (const CLI::Success& rHelp) { // --help, --version
        return program.exit(rHelp);
    } catch (const CLI::Error& rError) {
        return complain((std::string(rError.what()) + " (see --help)").c_str());
    } catch (const cv::Exception& rError) {
        return complain(("image processing failed: " + rError.err).c_str());
    } catch (const std::exception& rError) { // AppError, and a failed allocation
        return complain(rError.what());
    }
}
