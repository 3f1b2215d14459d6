#include "kernels/InstructionSet.h"
#include "models.h"
#include "rectify/unpack.h"

namespace kestrova::test {
namespace {

void expectRowsAtEveryLengthAndAlignment()
{
    struct Extract
    {
        decltype(&extract_red) pfn;
        int nLane;
    };
    const Extract aExtracts[] = {{extract_blu, 0}, {extract_grn, 1}, {extract_red, 2}};
    for (int nOffset = 0; nOffset < 8; ++nOffset) {
        for (int n = 0; n < 35; ++n) {
            SCOPED_TRACE(testing::Message() << n << " pixels at " << nOffset);
            const auto uCount = static_cast<std::size_t>(n);
            const Bytes packed = support::seededValues<unsigned char>(4 * uCount, static_cast<unsigned>(n));
            GuardedRow<unsigned char> source(packed, 7 - nOffset);
            const Bytes untouched(uCount, 99);
            std::vector<std::unique_ptr<GuardedRow<unsigned char>>> rgb;
            for (int nLane = 0; nLane < 3; ++nLane) {
                rgb.push_back(std::make_unique<GuardedRow<unsigned char>>(untouched, nOffset));
            }
            extract_rgb(rgb[2]->data(), rgb[1]->data(), rgb[0]->data(), n, source.data());
            for (const auto& [pfn, nLane] : aExtracts) {
                Bytes expected;
                for (int i = 0; i < n; ++i) {
                    expected.push_back(packed[static_cast<std::size_t>(4 * i + nLane)]);
                }
                GuardedRow<unsigned char> single(untouched, nOffset);
                pfn(single.data(), n, source.data());
                ASSERT_EQ(single.values(), expected) << nLane;
                auto& rAll = *rgb[static_cast<std::size_t>(nLane)];
                ASSERT_EQ(rAll.values(), n < 8 ? untouched : expected) << nLane;
                ASSERT_TRUE(single.intact() && rAll.intact()) << nLane;
            }
            ASSERT_TRUE(source.intact());
        }
    }
}

TEST(Unpack, RowsAtEveryLengthAndAlignmentInEverySet)
{
    for (const InstructionSet* pSet : supportedInstructionSets()) {
        SCOPED_TRACE(pSet->m_pszName);
        forceInstructionSet(*pSet);
        expectRowsAtEveryLengthAndAlignment();
    }
}

} // namespace
} // namespace kestrova::test
