#include "calibration/lines.h"
#include "files/FilePtr.h"
#include "support/CalibrationText.h"

#include <gmock/gmock.h>

namespace kestrova::test {
namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAreArray;

const std::string sk_long(4096, 'k');

// clang-format off
// No entry in a list means that the section does not exist for that reader.
const struct
{
    const char* pszName;
    std::string text;
    int nSection;
    Lines stream, memory;
} sk_aCases[] = {
    {"no section", "Alpha\nBeta\n", 0, {}, {}},
    {"cleaning", "# front\n\n  front\nVersion 1 # c\r\n\t a b \v\f\n\n# all\n \r\nend", 0,
     {"Version 1", "a b", "", "", "", "end"}, {"Version 1", "a b", "", "end"}},
    {"backslash", "Version 1\na \\\nb \\ # c\nc\\d\n\\\ne", 0, {"Version 1", "c\\d", "e"}, {"Version 1", "c\\d", "e"}},
    {"first of two", "Version 1\na\nVersion 2\nb\n", 0, {"Version 1", "a"}, {"Version 1", "a", "Version 2", "b"}},
    {"second of two", "Version 1\na\nVersion 2\nb\n", 1, {"Version 2", "b"}, {"Version 2", "b"}},
    {"third of two", "Version 1\na\nVersion 2\nb\n", 2, {}, {}},
    {"negative section", "Version 1\n", -1, {}, {}},
    {"capitals and indent count in memory only", "Version 1\nVERSION 2\n  Version 3\n", 1, {},
     {"VERSION 2", "Version 3"}},
    {"a longer word starts a section too", "a\nVersions\nb", 0, {"Versions", "b"}, {"Versions", "b"}},
    // The stream stands behind the last line that opens no section, here before the first of the two.
    {"adjacent sections", "Version 1\nVersion 2\na\n", 1, {"Version 1"}, {"Version 2", "a"}},
    {"raw comment while nothing is stored", "Version 1\\\n# raw \r\n# not\na\n", 0, {"# raw \r\n", "", "a"},
     {"", "", "a"}},
    {"4096 bytes", "Version 1\n" + sk_long + "\na", 0, {"Version 1", sk_long.substr(1), "k", "a"},
     {"Version 1", sk_long, "a"}},
    {"a NUL ends a line, and a block", std::string("Version 1\na\0b\nc", 15), 0, {"Version 1", "a", "c"},
     {"Version 1", "a"}},
};
// clang-format on

TEST(CalibrationLines, ReadersCleanAlikeAndFindTheirSections)
{
    for (const auto& rCase : sk_aCases) {
        const TempFile file(rCase.text);
        const FilePtr pStream(std::fopen(file.path(), "rb"));
        Lines lines = {"left over"};
        EXPECT_EQ(loadFileToMemory(pStream.get(), lines, rCase.nSection), static_cast<int>(rCase.stream.size()));
        EXPECT_THAT(lines, ElementsAreArray(rCase.stream)) << rCase.pszName;
        EXPECT_EQ(loadMemoryFileToMemory(rCase.text.c_str(), lines, rCase.nSection),
                  static_cast<int>(rCase.memory.size()));
        EXPECT_THAT(lines, ElementsAreArray(rCase.memory)) << rCase.pszName;
    }
    Lines lines = {"left over"};
    EXPECT_EQ(loadMemoryFileToMemory(("Version 1\n" + sk_long + "k").c_str(), lines, 0), -1);
    EXPECT_THAT(lines, testing::IsEmpty()) << "one byte too many leaves nothing";
}

} // namespace
} // namespace kestrova::test
