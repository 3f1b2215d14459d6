// Text put together as printf does it.
#pragma once

#include <cstdio>
#include <string>

namespace kestrova::app {

template<typename... Values>
std::string line(const char* pszFormat, Values... values)
{
    const int nLength = std::snprintf(nullptr, 0, pszFormat, values...);
    std::string text(static_cast<std::size_t>(nLength), '\0');
    std::snprintf(text.data(), text.size() + 1, pszFormat, values...);
    return text;
}

} // namespace kestrova::app
