// Columns of the sum table in every instruction set against the plain one, which the correlators' models hold.
#include "kernels/InstructionSet.h"
#include "support/rows.h"

#include <gtest/gtest.h>

namespace kestrova::test {
namespace {

using support::GuardedRow;
using support::seededValues;

/** Sizes of a search, the same for every set. */
struct Search
{
    explicit Search(unsigned uSeed) : m_uSeed(uSeed), m_random(uSeed)
    {
        m_nMask = pick(1, 12);
        m_nWidth = m_nMask + pick(0, 60);
        m_nSearchWidth = m_nWidth + pick(0, 50); // may end before the last disparity
        m_nGroups = 2 * pick(1, 6);              // whole groups of eight
    }
    int pick(int nFrom, int nTo) { return std::uniform_int_distribution(nFrom, nTo)(m_random); }

    unsigned m_uSeed;
    std::mt19937 m_random;
    int m_nMask, m_nWidth, m_nSearchWidth, m_nGroups;
};

template<typename T>
std::vector<T> row(int nCount, unsigned uSeed)
{
    return seededValues<T>(static_cast<std::size_t>(nCount), uSeed);
}

/** Two rows added, and after each what is found in the sums: all that a form leaves. */
std::vector<unsigned> results(const ColumnForm& rForm, Search search, bool bTexture, bool bSSE2)
{
    const int W = search.m_nWidth, nLanes = 4 * search.m_nGroups;
    const int nCount = W + 1 - search.m_nMask;
    GuardedRow<std::uint16_t> table(std::vector<std::uint16_t>(static_cast<std::size_t>(W * nLanes + 8), 3), 0);
    std::vector<std::uint8_t> rings[2];
    for (auto& rRing : rings) {
        rRing.resize(static_cast<std::size_t>((W + search.m_nMask) * nLanes));
    }
    const auto labels = row<std::uint8_t>(nLanes, search.m_uSeed);
    const unsigned uTexture = static_cast<unsigned>(search.pick(0, 90000));
    const unsigned uUniqueness = search.m_uSeed % 3 == 0 ? 0 : static_cast<unsigned>(search.pick(1, 70000));
    std::vector<unsigned> all;
    for (const unsigned uRow : {0U, 1U}) {
        GuardedRow<std::uint8_t> reference(row<std::uint8_t>(W, 7 * search.m_uSeed + uRow), 3);
        GuardedRow<std::uint8_t> other(row<std::uint8_t>(search.m_nSearchWidth, 9 * search.m_uSeed + uRow), 5);
        all.push_back((bTexture ? rForm.mongo_val_row : rForm.mongo_row)(
            {reference.data(), other.data(), rings[1 - uRow].data(), rings[uRow].data(), table.data(), W,
             search.m_nSearchWidth, search.m_nMask, search.m_nGroups},
            uRow == 0));
        GuardedRow<std::uint8_t> winners(std::vector<std::uint8_t>(static_cast<std::size_t>(nCount)), 0);
        const int nGroups = search.m_nGroups / (bSSE2 ? 2 : 1);
        rForm.mincorr_row(winners.data(), table.data(), labels.data(), nCount, nGroups, bSSE2);
        GuardedRow<std::uint8_t> validated(winners.values(), 1);
        rForm.mincorr_val_row(validated.data(), table.data(), labels.data(), nCount, nGroups, uTexture, uUniqueness,
                              bSSE2);
        std::vector<std::uint16_t> best(static_cast<std::size_t>(W + sk_nMostInverse + 2 * sk_nInverseSlack));
        std::vector<std::uint16_t> inverse(best.size());
        rForm.findInverse({table.data(), nCount, search.pick(1, nLanes), nLanes, best.data(), inverse.data()});
        for (const auto& rBytes : {winners.values(), validated.values()}) {
            all.insert(all.end(), rBytes.begin(), rBytes.end());
        }
        all.insert(all.end(), inverse.begin(), inverse.begin() + nCount);
        const auto sums = table.values();
        all.insert(all.end(), sums.begin(), sums.end() - 8);
        EXPECT_TRUE(table.intact() && winners.intact() && validated.intact());
    }
    return all;
}

TEST(Columns, GiveThePlainResultsInEverySet)
{
    for (unsigned uSeed = 0; uSeed < 400 && !HasFailure(); ++uSeed) {
        const bool bTexture = uSeed % 2 != 0, bSSE2 = uSeed / 2 % 2 != 0;
        const auto plain = results(g_columnsPlain, Search(uSeed), bTexture, bSSE2);
        for (const InstructionSet* pSet : supportedInstructionSets()) {
            ASSERT_EQ(results(*pSet->m_pColumns, Search(uSeed), bTexture, bSSE2), plain)
                << pSet->m_pszName << ", seed " << uSeed;
        }
    }
}

} // namespace
} // namespace kestrova::test
