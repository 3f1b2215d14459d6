// Looks keywords up in a table of cleaned lines, and reads their values.
//
// One rule serves all parseToken functions: lines are tried from the first, a line takes part if it starts with the
// keyword in any case, and the first line that gives all values wins. A line whose values fail does not end the search;
// what stands behind the values is ignored. Outputs are written on success only. Letters, blanks and numbers are those
// of the C locale.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kestrova {

using CalibrationLines = std::span<const std::string>;

/**
 * Skips white space, then the token, which one white-space character (skipped too) or the end must follow. The cursor
 * moves on success only.
 */
[[nodiscard]] bool match_token(const char** ppszCursor, const char* pszToken, bool bIgnoreCase);

[[nodiscard]] bool parseTokenInt(const char* pszKeyword, CalibrationLines lines, std::int32_t* pnValue);
[[nodiscard]] bool parseTokenDouble(const char* pszKeyword, CalibrationLines lines, double* pdValue);
/** "true" and "on", "false" and "off", in any case. */
[[nodiscard]] bool parseTokenBool(const char* pszKeyword, CalibrationLines lines, bool* pbValue);
/** A word, or a text in double quotes, whose end may lack; in it \" is a quote and no other backslash may stand. */
[[nodiscard]] bool parseTokenString(const char* pszKeyword, CalibrationLines lines, std::string* pValue);
/** True if a line holds the keyword and this word behind it. */
[[nodiscard]] bool parseTokenToken(const char* pszKeyword, const char* pszWord, CalibrationLines lines);
[[nodiscard]] bool parseTokenIntInt(const char* pszKeyword, CalibrationLines lines, std::int32_t* pnFirst,
                                    std::int32_t* pnSecond);
[[nodiscard]] bool parseTokenDoubleDouble(const char* pszKeyword, CalibrationLines lines, double* pdFirst,
                                          double* pdSecond);

/** As many values as the span takes, all on the one line. */
[[nodiscard]] bool parseTokenInts(const char* pszKeyword, CalibrationLines lines, std::span<std::int32_t> values);
/**
 * nCount values on one line; a count below 1 succeeds once the keyword is found. The count may come from a file: memory
 * is taken for values that are there, not for values announced.
 */
[[nodiscard]] bool parseTokenDoubles(const char* pszKeyword, CalibrationLines lines, std::vector<double>* pValues,
                                     int nCount);
/** As parseTokenDoubles, but when a line runs out the values go on at the start of the next one. */
[[nodiscard]] bool parseTokenDoubleList(const char* pszKeyword, CalibrationLines lines, std::vector<double>* pValues,
                                        int nCount);

/**
 * The version line, of which the value is all: a text of a word, an integer, a dot and an integer, as in
 * "Kestrova 3.0".
 *
 * @param pWhole  the text
 * @param pWord   its word
 */
[[nodiscard]] bool parseVersion(CalibrationLines lines, std::int32_t* pnMajor, std::int32_t* pnMinor,
                                std::string* pWhole, std::string* pWord);

} // namespace kestrova
