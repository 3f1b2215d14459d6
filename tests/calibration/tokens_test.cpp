#include "calibration/blocks.h"

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

TEST(CalibrationTokens, ValuesAndTheLookupRule)
{
    EXPECT_EQ(value(parseTokenInt, {"other 1", "key x", "KEY", "Key -12abc", "key 4"}), "-12")
        << "the first that parses";
    EXPECT_EQ(value(parseTokenInt, {"key 4294967299"}), "3") << "low 32 bits";
    EXPECT_EQ(value(parseTokenInt, {"key .5"}), std::nullopt);
    EXPECT_EQ(value(parseTokenDouble, {"key e", "key 1e1 9"}), "10.000000");
    EXPECT_EQ(value(parseTokenBool, {"key onward", "key OFF x", "key on"}), "0");
    const std::pair<const char*, Text> aStrings[] = {
        // clang-format off
        {"key  word more", "word"}, {"key", std::nullopt}, {"key \"a b\" c", "a b"}, {"key \"open end", "open end"},
        {"key \"\"", ""}, {"key \"a\\\"b\"", "a\"b"}, {"key \"a\\b\"", std::nullopt}, {"key a\"b\"", "a\"b\""},
        {"key \"a\\", std::nullopt},
    }; // clang-format on
    for (const auto& [pszLine, expected] : aStrings) {
        EXPECT_EQ(value(parseTokenString, {pszLine}), expected) << pszLine;
    }
    EXPECT_TRUE(parseTokenToken("KEY", "BLUE", Lines{"key red", "key blue rest"}));
    EXPECT_FALSE(parseTokenToken("KEY", "BLUE", Lines{"key bluer", "blue"}));
}

TEST(CalibrationTokens, ListsOfValues)
{
    std::vector<double> found;
    double dFirst = 7;
    double dSecond = 8;
    EXPECT_FALSE(parseTokenDoubleDouble("KEY", Lines{"key 1"}, &dFirst, &dSecond));
    EXPECT_EQ(dFirst, 7) << "a failed attempt leaves nothing behind";
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

} // namespace
} // namespace kestrova::test
