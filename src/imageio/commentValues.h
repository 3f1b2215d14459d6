// The values of image comments as text: switches, whole numbers, numbers with one decimal, words.
//
// Numbers are not tested when read: what is none reads as 0, and a switch that is neither "On" nor "Off" as off, with a
// line on standard output.
#pragma once

#include "files/cText.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace kestrova {

inline std::string commentText(bool b)
{
    return b ? "On" : "Off";
}

inline std::string commentText(std::int32_t n)
{
    return std::to_string(n);
}

inline std::string commentText(std::uint8_t uc)
{
    return std::to_string(uc);
}

inline std::string commentText(double d)
{
    const CLocaleScope scope;
    char acText[352]; // the largest double has 309 digits
    std::snprintf(acText, sizeof acText, "%.1f", d);
    return acText;
}

inline void readComment(const char* psz, bool& rb)
{
    rb = std::strcmp(psz, "On") == 0;
    if (!rb && std::strcmp(psz, "Off") != 0) {
        std::puts("Error in stringToBool!");
    }
}

inline void readComment(const char* psz, std::int32_t& rn)
{
    rn = static_cast<std::int32_t>(toLong(psz)); // keeps the low 32 bits
}

inline void readComment(const char* psz, std::uint8_t& ruc)
{
    ruc = static_cast<std::uint8_t>(toLong(psz));
}

inline void readComment(const char* psz, double& rd)
{
    rd = toDouble(psz);
}

/** Sets the value whose word in the table this is; false if there is none. */
template<class T, std::size_t nWords>
bool parseWord(const char* psz, const char* const (&rapszWords)[nWords], T& rValue)
{
    for (std::size_t uWord = 0; uWord < nWords; ++uWord) {
        if (std::strcmp(psz, rapszWords[uWord]) == 0) {
            rValue = static_cast<T>(uWord);
            return true;
        }
    }
    return false;
}

} // namespace kestrova
