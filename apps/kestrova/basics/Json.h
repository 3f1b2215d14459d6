// Text and numbers as JSON has them.
#pragma once

#include <string>

namespace kestrova::app {

/** In quotes, with whatever a file name may hold escaped; bytes that are no UTF-8 become U+FFFD. */
std::string jsonText(const std::string& rText);

/** null for what is no number. Six digits, whatever the locale. */
std::string jsonNumber(double dValue);

} // namespace kestrova::app
