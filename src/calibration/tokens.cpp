#include "calibration/tokens.h"

#include "files/cText.h"

#include <algorithm>

namespace kestrova {

namespace {

void skipSpace(const char** ppszCursor)
{
    while (isSpace(**ppszCursor)) {
        ++*ppszCursor;
    }
}

bool readInt(const char** ppszCursor, std::int32_t* pnValue)
{
    char* pszEnd = nullptr;
    const long nValue = toLong(*ppszCursor, &pszEnd);
    if (pszEnd == *ppszCursor) {
        return false;
    }
    *pnValue = static_cast<std::int32_t>(nValue); // keeps the low 32 bits
    *ppszCursor = pszEnd;
    return true;
}

bool readDouble(const char** ppszCursor, double* pdValue)
{
    char* pszEnd = nullptr;
    const double dValue = toDouble(*ppszCursor, &pszEnd);
    if (pszEnd == *ppszCursor) {
        return false;
    }
    *pdValue = dValue;
    *ppszCursor = pszEnd;
    return true;
}

bool readBool(const char** ppszCursor, bool* pbValue)
{
    if (match_token(ppszCursor, "true", true) || match_token(ppszCursor, "on", true)) {
        *pbValue = true;
        return true;
    }
    if (match_token(ppszCursor, "false", true) || match_token(ppszCursor, "off", true)) {
        *pbValue = false;
        return true;
    }
    return false;
}

bool readWord(const char** ppszCursor, std::string* pValue)
{
    const char* pszStart = *ppszCursor;
    while (**ppszCursor != '\0' && !isSpace(**ppszCursor)) {
        ++*ppszCursor;
    }
    pValue->assign(pszStart, *ppszCursor);
    return !pValue->empty();
}

/** The cursor stands on the opening quote. The closing one may lack: a comment sign inside the text cuts it off. */
bool readQuoted(const char** ppszCursor, std::string* pValue)
{
    pValue->clear();
    for (++*ppszCursor; **ppszCursor != '\0' && **ppszCursor != '\n'; ++*ppszCursor) {
        if (**ppszCursor == '"') {
            ++*ppszCursor;
            return true;
        }
        if (**ppszCursor == '\\' && *++*ppszCursor != '"') {
            return false;
        }
        pValue->push_back(**ppszCursor);
    }
    return true;
}

bool readString(const char** ppszCursor, std::string* pValue)
{
    skipSpace(ppszCursor);
    return **ppszCursor == '"' ? readQuoted(ppszCursor, pValue) : readWord(ppszCursor, pValue);
}

/** The lookup rule: read(cursor, index of the line) for each line with the keyword, until one is true. */
template<typename Read>
bool findKeyword(const char* pszKeyword, CalibrationLines lines, Read read)
{
    for (std::size_t uLine = 0; uLine < lines.size(); ++uLine) {
        const char* pszCursor = lines[uLine].c_str();
        if (match_token(&pszCursor, pszKeyword, true) && read(&pszCursor, uLine)) {
            return true;
        }
    }
    return false;
}

template<typename T>
bool parseOne(const char* pszKeyword, CalibrationLines lines, T* pValue, bool (*pfnRead)(const char**, T*))
{
    T value{};
    const auto read = [&](const char** ppszCursor, std::size_t) { return pfnRead(ppszCursor, &value); };
    if (!findKeyword(pszKeyword, lines, read)) {
        return false;
    }
    *pValue = std::move(value);
    return true;
}

template<typename T>
bool parseTwo(const char* pszKeyword, CalibrationLines lines, T* pFirst, T* pSecond, bool (*pfnRead)(const char**, T*))
{
    T first{};
    T second{};
    const auto read = [&](const char** ppszCursor, std::size_t) {
        return pfnRead(ppszCursor, &first) && pfnRead(ppszCursor, &second);
    };
    if (!findKeyword(pszKeyword, lines, read)) {
        return false;
    }
    *pFirst = first;
    *pSecond = second;
    return true;
}

bool atEnd(const char* pszCursor)
{
    skipSpace(&pszCursor);
    return *pszCursor == '\0';
}

/** Values up to nCount from one line, appended; false when the line has fewer. */
bool readDoubles(const char** ppszCursor, std::vector<double>* pValues, int nCount)
{
    double dValue = 0.0;
    while (static_cast<int>(pValues->size()) < nCount) {
        if (!readDouble(ppszCursor, &dValue)) {
            return false;
        }
        pValues->push_back(dValue);
    }
    return true;
}

/** The text of a version line: word, integer, dot, integer. */
bool readVersionText(const char* pszText, std::int32_t* pnMajor, std::int32_t* pnMinor, std::string* pWord)
{
    skipSpace(&pszText);
    if (!readWord(&pszText, pWord) || !readInt(&pszText, pnMajor)) {
        return false;
    }
    skipSpace(&pszText);
    if (*pszText != '.') {
        return false;
    }
    ++pszText;
    return readInt(&pszText, pnMinor);
}

} // namespace

bool match_token(const char** ppszCursor, const char* pszToken, bool bIgnoreCase)
{
    const char* psz = *ppszCursor;
    skipSpace(&psz);
    for (; *pszToken != '\0'; ++psz, ++pszToken) {
        if (*psz != *pszToken && !(bIgnoreCase && lower(*psz) == lower(*pszToken))) {
            return false;
        }
    }
    if (*psz != '\0' && !isSpace(*psz)) {
        return false;
    }
    *ppszCursor = *psz != '\0' ? psz + 1 : psz;
    return true;
}

bool parseTokenInt(const char* pszKeyword, CalibrationLines lines, std::int32_t* pnValue)
{
    return parseOne(pszKeyword, lines, pnValue, readInt);
}

bool parseTokenDouble(const char* pszKeyword, CalibrationLines lines, double* pdValue)
{
    return parseOne(pszKeyword, lines, pdValue, readDouble);
}

bool parseTokenBool(const char* pszKeyword, CalibrationLines lines, bool* pbValue)
{
    return parseOne(pszKeyword, lines, pbValue, readBool);
}

bool parseTokenString(const char* pszKeyword, CalibrationLines lines, std::string* pValue)
{
    return parseOne(pszKeyword, lines, pValue, readString);
}

bool parseTokenToken(const char* pszKeyword, const char* pszWord, CalibrationLines lines)
{
    return findKeyword(pszKeyword, lines,
                       [&](const char** ppszCursor, std::size_t) { return match_token(ppszCursor, pszWord, true); });
}

bool parseTokenIntInt(const char* pszKeyword, CalibrationLines lines, std::int32_t* pnFirst, std::int32_t* pnSecond)
{
    return parseTwo(pszKeyword, lines, pnFirst, pnSecond, readInt);
}

bool parseTokenDoubleDouble(const char* pszKeyword, CalibrationLines lines, double* pdFirst, double* pdSecond)
{
    return parseTwo(pszKeyword, lines, pdFirst, pdSecond, readDouble);
}

bool parseTokenInts(const char* pszKeyword, CalibrationLines lines, std::span<std::int32_t> values)
{
    std::vector<std::int32_t> found(values.size());
    const auto read = [&](const char** ppszCursor, std::size_t) {
        return std::all_of(found.begin(), found.end(), [&](std::int32_t& rn) { return readInt(ppszCursor, &rn); });
    };
    if (!findKeyword(pszKeyword, lines, read)) {
        return false;
    }
    std::copy(found.begin(), found.end(), values.begin());
    return true;
}

bool parseTokenDoubles(const char* pszKeyword, CalibrationLines lines, std::vector<double>* pValues, int nCount)
{
    std::vector<double> found;
    const auto read = [&](const char** ppszCursor, std::size_t) {
        found.clear();
        return readDoubles(ppszCursor, &found, nCount);
    };
    if (!findKeyword(pszKeyword, lines, read)) {
        return false;
    }
    *pValues = std::move(found);
    return true;
}

bool parseTokenDoubleList(const char* pszKeyword, CalibrationLines lines, std::vector<double>* pValues, int nCount)
{
    std::vector<double> found;
    const auto read = [&](const char** ppszCursor, std::size_t uLine) {
        found.clear();
        const char* pszCursor = *ppszCursor;
        while (!readDoubles(&pszCursor, &found, nCount)) {
            if (!atEnd(pszCursor) || ++uLine == lines.size()) {
                return false;
            }
            pszCursor = lines[uLine].c_str();
            if (atEnd(pszCursor)) {
                return false; // a blank or comment line ends the list, it is not skipped
            }
        }
        return true;
    };
    if (!findKeyword(pszKeyword, lines, read)) {
        return false;
    }
    *pValues = std::move(found);
    return true;
}

bool parseVersion(CalibrationLines lines, std::int32_t* pnMajor, std::int32_t* pnMinor, std::string* pWhole,
                  std::string* pWord)
{
    std::int32_t nMajor = 0;
    std::int32_t nMinor = 0;
    std::string whole;
    std::string word;
    const auto read = [&](const char** ppszCursor, std::size_t) {
        return readString(ppszCursor, &whole) && atEnd(*ppszCursor) &&
               readVersionText(whole.c_str(), &nMajor, &nMinor, &word);
    };
    if (!findKeyword("VERSION", lines, read)) {
        return false;
    }
    *pnMajor = nMajor;
    *pnMinor = nMinor;
    *pWhole = std::move(whole);
    *pWord = std::move(word);
    return true;
}

} // namespace kestrova
