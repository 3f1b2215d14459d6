#include "calibration/blocks.h"

#include <cmath>
#include <gtest/gtest.h>
#include <optional>

namespace kestrova::test {
namespace {

using Lines = std::vector<std::string>;
using Text = std::optional<std::string>;

/** The value as text, nothing if the lookup fails. */
template<typename T>
Text value(bool (*pfnParse)(const char*, CalibrationLines, T*), const Lines& rLines)
{
    T value{};
    if (!pfnParse("KEY", rLines, &value)) {
        return std::nullopt;
    }
    if constexpr (std::is_same_v<T, std::string>) {
        return value;
    } else {
        return std::to_string(value);
    }
}

TEST(CalibrationTokens, MatchTokenWantsAWholeWord)
{
    const struct
    {
        const char* pszLine;
        const char* pszToken;
        bool bIgnoreCase;
        int nMoved; // -1: no match
    } aCases[] = {
        // clang-format off
        {" \tRectify  on", "RECTIFY", true, 10}, {"RectifyX on", "RECTIFY", true, -1}, {"id", "ID", true, 2},
        {"id 3", "ID", false, -1}, {"Rect", "RECTIFY", true, -1}, {"", "ID", true, -1}, {"ID=3", "ID", true, -1},
    }; // clang-format on
    for (const auto& rCase : aCases) {
        const char* pszCursor = rCase.pszLine;
        EXPECT_EQ(match_token(&pszCursor, rCase.pszToken, rCase.bIgnoreCase), rCase.nMoved >= 0) << rCase.pszLine;
        EXPECT_EQ(pszCursor - rCase.pszLine, std::max(0, rCase.nMoved)) << rCase.pszLine;
    }
}

TEST(CalibrationTokens, ValuesAndTheLookupRule)
{
    EXPECT_EQ(value(parseTokenInt, {"other 1", "key x", "KEY", "Key -12abc", "key 4"}), "-12")
        << "the first that parses";
    EXPECT_EQ(value(parseTokenInt, {"key 4294967299"}), "3") << "low 32 bits";
    EXPECT_EQ(value(parseTokenInt, {"key .5"}), std::nullopt);
    EXPECT_EQ(value(parseTokenDouble, {"key e", "key 1e1 9"}), "10.000000");
    EXPECT_EQ(value(parseTokenBool, {"key onward", "key OFF x", "key on"}), "0");
    EXPECT_EQ(value(parseTokenBool, {"key True"}), "1");
    EXPECT_EQ(value(parseTokenBool, {"key 1"}), std::nullopt);
    const struct
    {
        const char* pszLine;
        Text expected;
    } aStrings[] = {
        // clang-format off
        {"key  word more", "word"}, {"key", std::nullopt}, {"key \"a b\" c", "a b"}, {"key \"open end", "open end"},
        {"key \"\"", ""}, {"key \"a\\\"b\"", "a\"b"}, {"key \"a\\b\"", std::nullopt}, {"key a\"b\"", "a\"b\""},
        {"key \"a\\", std::nullopt},
    }; // clang-format on
    for (const auto& rCase : aStrings) {
        EXPECT_EQ(value(parseTokenString, {rCase.pszLine}), rCase.expected) << rCase.pszLine;
    }
    EXPECT_TRUE(parseTokenToken("KEY", "BLUE", Lines{"key red", "key blue rest"}));
    EXPECT_FALSE(parseTokenToken("KEY", "BLUE", Lines{"key bluer", "blue"}));
}

TEST(CalibrationTokens, ListsOfValues)
{
    std::vector<double> found;
    std::int32_t anInts[] = {8, 9};
    double dFirst = 7;
    double dSecond = 8;
    EXPECT_FALSE(parseTokenInts("KEY", Lines{"key 1 x", "key 3"}, anInts));
    EXPECT_FALSE(parseTokenDoubleDouble("KEY", Lines{"key 1"}, &dFirst, &dSecond));
    EXPECT_TRUE(anInts[0] == 8 && dFirst == 7) << "a failed attempt leaves nothing behind";
    EXPECT_TRUE(parseTokenDoubles("KEY", Lines{"key 1", "key 2 3 4"}, &found, 2));
    EXPECT_EQ(found, (std::vector<double>{2, 3}));
    EXPECT_FALSE(parseTokenDoubles("KEY", Lines{"key 1", "2"}, &found, 2)) << "one line";
    EXPECT_TRUE(parseTokenDoubles("KEY", Lines{"key"}, &found, -5));
    EXPECT_FALSE(parseTokenDoubles("KEY", Lines{"key 1"}, &found, 2147483647));
    const std::pair<Lines, bool> aLists[] = {
        // clang-format off
        {{"key", "1 2", "3"}, true}, {{"key 1", "2 3 4 x"}, true}, {{"key 1 2", "", "3"}, false}, {{"key 1 2", "x 3"}, false},
        {{"key 1 x", "2 3"}, false}, {{"key 1", "2"}, false}, {{"key 9", "key 1 2 3"}, true},
    }; // clang-format on
    for (const auto& [lines, bFound] : aLists) {
        EXPECT_EQ(parseTokenDoubleList("KEY", lines, &found, 3), bFound) << testing::PrintToString(lines);
        EXPECT_TRUE(!bFound || found == (std::vector<double>{1, 2, 3})) << testing::PrintToString(lines);
    }
}

TEST(CalibrationTokens, VersionIsTheWholeLine)
{
    const std::pair<const char*, bool> aCases[] = {
        // clang-format off
        {"version \"Kestrova 3.14\"", true}, {"Version \"Kestrova 3 .14 b\"", true}, {"Version \"Kestrova 3.14", true},
        {"Version \"Kestrova 3.14\" b", false}, {"Version Kestrova 3.14", false}, {"Version \"Kestrova 3\"", false},
        {"Version \"Kestrova .14\"", false}, {"Version \"3.14\"", false}, {"Version", false},
    }; // clang-format on
    for (const auto& [pszLine, bGood] : aCases) {
        std::int32_t anNumbers[2] = {};
        std::string aTexts[2];
        EXPECT_EQ(parseVersion(Lines{pszLine}, &anNumbers[0], &anNumbers[1], &aTexts[0], &aTexts[1]), bGood) << pszLine;
        EXPECT_TRUE(!bGood || (anNumbers[0] == 3 && anNumbers[1] == 14 && aTexts[1] == "Kestrova")) << pszLine;
    }
}

TEST(CalibrationTokens, BlocksEndAtAClosingOrOpeningKeyword)
{
    const Lines body = {"NumberKnots 5", "KnotsX 1 2 3 4 5", "KnotsY 6 7 8 9 9 9", "NumberCoefs 1 1", "Coefs 42"};
    const auto parse = [&](const Lines& rBefore, const Lines& rAfter, int nId) {
        Lines lines = rBefore;
        lines.insert(lines.end(), body.begin(), body.end());
        lines.insert(lines.end(), rAfter.begin(), rAfter.end());
        WarpData warp;
        return parseWarp(lines, nId, &warp) && warp.m_coefs == std::vector<double>{42} && warp.m_knotsY.size() == 5;
    };
    EXPECT_TRUE(parse({"BeginWarp", "ID 3"}, {"ENDWARP x"}, 3));
    EXPECT_TRUE(parse({"BeginWarp", "ID 2", "EndWarp", "BeginWarp", "ID 3"}, {"BeginWarp"}, 3));
    EXPECT_FALSE(parse({"BeginWarp", "ID 3"}, {}, 3)) << "nothing closes it";
    EXPECT_FALSE(parse({"BeginWarp", "ID 3"}, {"EndWarp"}, 2));
    EXPECT_FALSE(parse({"BeginWarp", "ID 3", "EndWarp", "BeginWarp", "ID 3"}, {"EndWarp"}, 3)) << "the first of an id";
    EXPECT_FALSE(parse({"ID 3"}, {"EndWarp"}, 3)) << "nothing opens it";
}

} // namespace
} // namespace kestrova::test
