// The one way a unit of the program gives up: a message for the person at the keyboard, and the exit status.
//
// main prints the message as one line on standard error, so it names the file or the option and says what to do.
#pragma once

#include <stdexcept>
#include <string>

namespace kestrova::app {

/** Documented in docs/program.md and in --help; scripts rely on the numbers. */
enum class ExitStatus
{
    Done = 0,
    Failed = 1,  // the work itself failed: memory, a refused setting, an error inside a library
    Usage = 2,   // the command line is wrong or contradicts itself
    File = 3,    // a file or folder is missing, cannot be read or cannot be written
    Content = 4, // a file was read, but is not what it should be
    Unfit = 5    // everything was read, but no good result comes of it: a rig, a match or a check that fails its limits
};

class AppError : public std::runtime_error
{
public:
    explicit AppError(const std::string& rMessage, ExitStatus eStatus = ExitStatus::Failed)
        : std::runtime_error(rMessage), m_eStatus(eStatus)
    {}

    ExitStatus status() const { return m_eStatus; }

private:
    ExitStatus m_eStatus;
};

} // namespace kestrova::app
