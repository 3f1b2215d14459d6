// The program kestrova: stereo from the command line. One line on standard error when something is wrong, and the
// status that basics/AppError.h documents.
#include "basics/AppError.h"
#include "basics/InputFile.h"
#include "commands/Commands.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

using kestrova::app::ExitStatus;

namespace {

int complain(const std::string& rMessage, ExitStatus eStatus)
{
    std::fprintf(stderr, "kestrova: %s\n",
                 kestrova::app::oneLine(rMessage).c_str()); // of a library it may have several
    return static_cast<int>(eStatus);
}

/**
 * A standard stream that was closed by the caller would be the first file that is opened, and get what is printed.
 * Whether output was: who needs it, as --json - does, then finds that it takes nothing.
 */
bool openStandardStreams()
{
    const bool bNoOutput = ::fcntl(STDOUT_FILENO, F_GETFD) < 0;
    int nFile = 0;
    do {
        nFile = ::open("/dev/null", O_RDWR);
    } while (nFile >= 0 && nFile <= STDERR_FILENO);
    ::close(nFile);
    if (const int nClosed = bNoOutput ? ::open("/dev/null", O_RDONLY) : -1; nClosed >= 0) {
        ::dup2(nClosed, STDOUT_FILENO);
        ::close(nClosed);
    }
    return bNoOutput;
}

/** What is printed has to arrive, but a reader that has seen enough, or that never was, is no fault. */
int finish(int nStatus, bool bNoOutput)
{
    if (bNoOutput) {
        return nStatus;
    }
    const bool bLost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
    pollfd reader{STDOUT_FILENO, POLLOUT, 0};
    const bool bLeft = ::poll(&reader, 1, 0) == 1 && (reader.revents & POLLERR) != 0;
    if (nStatus == 0 && bLost && !bLeft) {
        return complain("standard output: cannot be written; is the disk full?", ExitStatus::File);
    }
    return nStatus;
}

} // namespace

int main(int nArguments, char** ppszArguments)
{
    const bool bNoOutput = openStandardStreams();
    std::signal(SIGPIPE, SIG_IGN); // files of results are finished when nobody reads what is printed
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
        return finish(0, bNoOutput);
    } catch (const CLI::Success& rHelp) { // --help, --version
        return finish(program.exit(rHelp), bNoOutput);
    } catch (const CLI::RequiredError& rError) { // what is wrong may be the reason that something is missing
        const std::vector<std::string> rest = program.remaining(true);
        return complain((rest.empty() ? std::string(rError.what()) : rest.front() + ": no such command or option") +
                            " (see --help)",
                        ExitStatus::Usage);
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
