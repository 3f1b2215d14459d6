// Naive models of the kernels whose results depend on where a pixel lies. They work by addresses: a pixel belongs to a
// body when the aligned block around it lies wholly in the row.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace models {

template<typename T>
bool inWholeBlock(const T* pRow, int i, int n, int nBlockBytes, int nShortest)
{
    const auto uBlock = reinterpret_cast<std::uintptr_t>(pRow + i) / static_cast<unsigned>(nBlockBytes);
    const auto uFirst = uBlock * static_cast<unsigned>(nBlockBytes);
    const auto uRow = reinterpret_cast<std::uintptr_t>(pRow);
    return n >= nShortest && uFirst >= uRow && uFirst + static_cast<unsigned>(nBlockBytes) <= uRow + sizeof(T) * n;
}

/** Lanes 4 to 7 of a body group of eight, whose label constants are 0. */
inline bool inHighLane(const std::uint16_t* pBest, int i, int n, bool bSSE2)
{
    return bSSE2 && inWholeBlock(pBest, i, n, 16, 8) && reinterpret_cast<std::uintptr_t>(pBest + i) % 16 >= 8;
}

inline std::uint8_t difference(const std::uint8_t*, int, int, int nDifference)
{
    return static_cast<std::uint8_t>(nDifference);
}

inline std::uint8_t accumulated(const std::uint8_t* pAcc, int i, int n, int nDifference)
{
    const int nSum = pAcc[i] + nDifference;
    return static_cast<std::uint8_t>(inWholeBlock(pAcc, i, n, 16, 16) && nSum > 255 ? 255 : nSum % 256);
}

inline std::uint8_t averaged(const std::uint8_t* pAcc, int i, int n, int nDifference)
{
    const int nSum = pAcc[i] + nDifference;
    return static_cast<std::uint8_t>((inWholeBlock(pAcc, i, n, 8, 8) && nSum > 255 ? 255 : nSum) / 2);
}

/** One pixel of the minimum; the neighbours are kept when pBefore is given. Rows other than best are values at i. */
inline void keepMinimum(std::uint16_t* pBest, int i, int n, bool bSSE2, std::uint8_t& rLabel, std::uint16_t* pBefore,
                        std::uint16_t* pAfter, std::uint16_t uLast, std::uint16_t uScore, std::uint8_t ucNew)
{
    const bool bHigh = inHighLane(pBest, i, n, bSSE2);
    const bool bImproves = uScore < pBest[i];
    if (bImproves) {
        pBest[i] = uScore;
        rLabel = bHigh ? 0 : ucNew;
    }
    if (pBefore != nullptr && bImproves) {
        *pBefore = uLast;
    }
    if (pAfter != nullptr && (bHigh ? rLabel == 0 : !bImproves && rLabel + 1 == ucNew)) {
        *pAfter = uScore;
    }
}

} // namespace models
