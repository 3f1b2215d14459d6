#include "run/slices.h"

#include "run/Task.h"

#include <gtest/gtest.h>
#include <limits>

namespace kestrova {
namespace {

constexpr int sk_nMax = std::numeric_limits<int>::max();

TEST(Slices, CutFrameAndRegions)
{
    const struct
    {
        const char* pszName;
        int nRows;
        unsigned nThreads;
        std::vector<KestrovaROI> regions;
        std::vector<std::vector<std::pair<int, int>>> expected; // first row and height, by slice
    } aCases[] = {
        {"the last one takes the rest", 10, 3, {}, {{{0, 3}}, {{3, 3}}, {{6, 4}}}},
        {"more threads than rows", 2, 4, {}, {{{0, 1}}, {{1, 1}}, {}, {}}},
        {"a region of the whole frame skips the middle", 40, 4, {{0, 2, 40, 5}}, {{{0, 10}}, {}, {}, {{30, 10}}}},
        {"across one border", 40, 4, {{5, 2, 10, 5}}, {{{5, 5}}, {{10, 5}}, {}, {}}},
        {"ends on a border", 40, 4, {{5, 2, 5, 5}}, {{{5, 5}}, {}, {}, {}}},
        {"order kept", 40, 2, {{18, 2, 4, 5}, {3, 2, 2, 5}}, {{{18, 2}, {3, 2}}, {{20, 2}}}},
        {"no height, negative height, outside", 40, 2, {{3, 2, 0, 5}, {3, 2, -4, 5}, {40, 2, 4, 5}}, {{}, {}}},
        {"above the frame", 40, 2, {{-5, 2, 9, 5}, {-5, 2, 60, 5}}, {{{0, 4}}, {}}},
        {"past the frame", 40, 2, {{30, 2, sk_nMax, 5}}, {{}, {{30, 10}}}},
        {"a sum beyond the integers", 40, 2, {{39, 2, sk_nMax, 5}, {sk_nMax, 2, sk_nMax, 5}}, {{}, {{39, 1}}}},
    };
    for (const auto& rCase : aCases) {
        StereoContext main;
        main.m_nRows = rCase.nRows;
        main.m_nCols = 50;
        main.m_nROICount = static_cast<int>(rCase.regions.size());
        std::copy(rCase.regions.begin(), rCase.regions.end(), main.m_aROIs.begin());
        std::vector<StereoContext> contexts(rCase.nThreads);
        ExecutorPool::Task::initThreadContexts(contexts.data(), rCase.nThreads, main);
        const std::pair columns = rCase.regions.empty() ? std::pair(0, 50) : std::pair(2, 5);
        for (std::size_t nSlice = 0; nSlice < contexts.size(); ++nSlice) {
            std::vector<std::pair<int, int>> rows;
            for (int nROI = 0; nROI < contexts[nSlice].m_nROICount; ++nROI) {
                const KestrovaROI& rROI = contexts[nSlice].m_aROIs[static_cast<std::size_t>(nROI)];
                rows.emplace_back(rROI.m_nRowOffset, rROI.m_nRows);
                EXPECT_EQ(std::pair(rROI.m_nColOffset, rROI.m_nCols), columns);
            }
            EXPECT_EQ(rows, rCase.expected[nSlice]) << rCase.pszName << ", slice " << nSlice;
        }
    }
}

} // namespace
} // namespace kestrova
