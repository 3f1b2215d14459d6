#include "basics/Json.h"

#include "basics/Line.h"

#include <charconv>
#include <cmath>

namespace kestrova::app {

namespace {

// Bytes of the UTF-8 character at a place: 0 when there is none. Overlong forms, surrogates and what lies beyond the
// last plane are none.
std::size_t lengthOfCharacter(const std::string& rText, std::size_t nAt)
{
    const auto byte = [&](std::size_t n) {
        return n < rText.size() ? static_cast<unsigned char>(rText[n]) : static_cast<unsigned char>(0);
    };
    const unsigned uFirst = byte(nAt);
    if (uFirst < 0x80) {
        return 1;
    }
    const std::size_t nLength = uFirst >= 0xC2 && uFirst < 0xE0   ? 2
                                : uFirst >= 0xE0 && uFirst < 0xF0 ? 3
                                : uFirst >= 0xF0 && uFirst < 0xF5 ? 4
                                                                  : 0;
    for (std::size_t n = 1; n < nLength; ++n) {
        if ((byte(nAt + n) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const unsigned uSecond = byte(nAt + 1);
    const bool bRefused = (uFirst == 0xE0 && uSecond < 0xA0) || (uFirst == 0xED && uSecond >= 0xA0) ||
                          (uFirst == 0xF0 && uSecond < 0x90) || (uFirst == 0xF4 && uSecond >= 0x90);
    return bRefused ? 0 : nLength;
}

} // namespace

std::string jsonText(const std::string& rText)
{
    std::string text = "\"";
    for (std::size_t n = 0; n < rText.size();) {
        const std::size_t nLength = lengthOfCharacter(rText, n);
        const char c = rText[n];
        if (nLength == 0) {
            text += "\\ufffd";
        } else if (nLength == 1 && (c == '"' || c == '\\')) {
            text += std::string{'\\', c};
        } else if (nLength == 1 && (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)) {
            text += line("\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        } else {
            text += rText.substr(n, nLength);
        }
        n += nLength ? nLength : 1;
    }
    return text + '"';
}

std::string jsonNumber(double dValue)
{
    if (!std::isfinite(dValue)) {
        return "null";
    }
    char acText[40];
    const auto [pEnd, error] = std::to_chars(acText, acText + sizeof acText, dValue, std::chars_format::general, 6);
    return {acText, pEnd};
}

} // namespace kestrova::app
