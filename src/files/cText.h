// Text as in the C locale, whatever locale the program has chosen: files go from machine to machine, and a program that
// speaks German must not write "0,5" or read "0.5" as 0.
//
// The locale of the process is neither changed nor asked: other threads never notice.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <locale.h>
#include <string_view>

namespace kestrova {

inline locale_t cLocale()
{
    static const locale_t s_locale = ::newlocale(LC_ALL_MASK, "C", nullptr); // never released, and takes no memory
    return s_locale;
}

/** Until the end of the scope this thread prints and scans as in the C locale. */
class CLocaleScope
{
public:
    CLocaleScope() : m_previous(::uselocale(cLocale())) {}
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;
    ~CLocaleScope() { ::uselocale(m_previous); }

private:
    locale_t m_previous;
};

/** White space of the C locale; also false for the end of a file. */
inline bool isSpace(int nChar)
{
    return nChar == ' ' || (nChar >= '\t' && nChar <= '\r');
}

/** A letter of the C locale in lower case; any other character as it is. */
inline int lower(char c)
{
    return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
}

inline bool equalIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char c, char d) { return lower(c) == lower(d); });
}

/** As strtod, in the C locale. */
inline double toDouble(const char* psz, char** ppszEnd = nullptr)
{
    return ::strtod_l(psz, ppszEnd, cLocale());
}

/** As strtol to base 10, in the C locale. */
inline long toLong(const char* psz, char** ppszEnd = nullptr)
{
    return ::strtol_l(psz, ppszEnd, 10, cLocale());
}

} // namespace kestrova
