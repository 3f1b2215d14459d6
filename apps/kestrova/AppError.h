// The one way a unit of the program gives up: a message for the person at the keyboard.
//
// main prints it as one line on standard error and leaves with status 1, so the text names the file or the option.
#pragma once

#include <stdexcept>

namespace kestrova::app {

class AppError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace kestrova::app
