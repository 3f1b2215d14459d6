#include "stereo/KesSegmentContext.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <limits>

namespace kestrova {

std::atomic<unsigned> g_nPeakTableSize{0};
std::atomic<unsigned> g_nLastTableSize{0};

namespace {

constexpr unsigned sk_nTableStep = 1000;
constexpr std::uint16_t sk_uHighestDisparity = 0xFEFF; // codes begin behind it

/** Rounded to a whole number; anything beyond the widest difference of two pixels connects all of them. */
int threshold(double dDifference)
{
    constexpr double sk_dWidest = 65536;
    const double dRounded = dDifference + 0.5;
    return dRounded < sk_dWidest ? static_cast<int>(std::max(dRounded, -1.0)) : static_cast<int>(sk_dWidest);
}

/** Bits 0 to n. */
std::uint64_t upTo(unsigned n)
{
    return ~std::uint64_t{0} >> (63 - n);
}

/** One step to the right within the row; the bit that leaves goes into the next word. */
std::uint64_t stepped(std::uint64_t uBits, std::uint64_t& ruCarry)
{
    const std::uint64_t uStepped = uBits << 1 | ruCarry;
    ruCarry = uBits >> 63;
    return uStepped;
}

template<typename Use>
void forEachBit(std::uint64_t uBits, Use&& rUse)
{
    for (; uBits != 0; uBits &= uBits - 1) {
        rUse(static_cast<unsigned>(std::countr_zero(uBits)));
    }
}

template<typename T>
SurfaceBits* bitsOfRow(std::vector<SurfaceBits>& rBits, const Image<T>& rImage, int nRow, int nBegin, int nEnd,
                       const SurfaceRange<T>& rRange)
{
    const T* const pRow = &rImage[nRow][0];
    surfaceBits(rBits.data(), pRow, nRow > 0 ? &rImage[nRow - 1][0] : pRow, nBegin, nEnd, rRange);
    return rBits.data();
}

} // namespace

/** The tables while labels are given out. Room is made row by row, so that single pixels need not ask. */
class KesSegmentContext::Pass
{
public:
    Pass(KesSegmentContext& rContext, int nRowPixels)
        : m_rTable(rContext.m_labelTable), m_rSizes(rContext.m_sizeTable), m_rRuns(rContext.m_runs),
          m_rBits(rContext.m_bits), m_rUpper(rContext.m_upperRow), m_nWords(surfaceWords(nRowPixels))
    {
        m_rTable.clear();
        m_rSizes.clear();
        m_rRuns.clear();
        m_rBits.resize(static_cast<std::size_t>(m_nWords));
        m_rUpper.assign(static_cast<std::size_t>(m_nWords), {});
        makeRoom(1);
        m_pnTable[0] = m_pnSizes[0] = 0;
        m_nNext = 1;
    }

    /** So many labels more can be opened from here on. */
    void makeRoom(int nLabels)
    {
        const unsigned nNeeded = m_nNext + static_cast<unsigned>(nLabels);
        if (nNeeded > m_rTable.capacity()) {
            const unsigned nRoom = std::max(nNeeded, 2 * m_rTable.capacity()); // copying stays linear in the labels
            close();
            m_rTable.resize(nRoom);
            m_rSizes.resize(nRoom);
        }
        m_pnTable = m_rTable.data();
        m_pnSizes = m_rSizes.data();
    }

    /** Tells the tables how much of them is in use. */
    void close()
    {
        m_rTable.use(m_nNext);
        m_rSizes.use(m_nNext);
    }

    [[nodiscard]] std::vector<SurfaceBits>& bits() { return m_rBits; }

    /** Cuts a row, whose bits are set, into runs from column nBegin on, and labels them. */
    void labelRow(int nRow, int nBegin, int nPixels)
    {
        makeRoom(nPixels);
        RowState row{m_nUpperRuns, m_rRuns.size(), m_rRuns.size(), 0, 0, 0};
        m_nUpperRuns = m_rRuns.size();
        for (int n = 0; n < m_nWords; ++n) {
            labelWord(row, m_rBits[static_cast<std::size_t>(n)], m_rUpper[static_cast<std::size_t>(n)], nRow,
                      nBegin + 64 * n);
        }
        if (row.m_nOpen < m_rRuns.size()) {
            m_rRuns.back().m_nEnd = nBegin + nPixels;
        }
        for (std::size_t n = m_nUpperRuns; n < m_rRuns.size(); ++n) {
            m_pnSizes[m_rRuns[n].m_nLabel] += static_cast<unsigned>(m_rRuns[n].m_nEnd - m_rRuns[n].m_nBegin);
        }
    }

    /** Here the upper pixel decides alone. The labels count, but no pixel gets to keep one. */
    template<typename T>
    void countFirstColumn(const Image<T>& rImage, unsigned nCornerLabel, const SurfaceRange<T>& rRange)
    {
        makeRoom(rImage.nRows());
        unsigned nAbove = nCornerLabel;
        for (int nRow = 1; nRow < rImage.nRows(); ++nRow) {
            const T value = rImage[nRow][0];
            if (value < rRange.m_min || value > rRange.m_max) {
                nAbove = 0;
                continue;
            }
            nAbove = std::abs(value - rImage[nRow - 1][0]) <= rRange.m_nThreshold ? nAbove : open();
            ++m_pnSizes[nAbove];
        }
    }

private:
    /** Where the scan of a row stands: runs that the words so far have begun, and what goes from word to word. */
    struct RowState
    {
        std::size_t m_nUpper; // runs of the row above begun so far
        std::size_t m_nRuns;  // of this one
        std::size_t m_nOpen;  // the first run without an end
        std::uint64_t m_uValidCarry;
        std::uint64_t m_uUpCarry;
        std::uint64_t m_uHiddenCarry;
    };

    void labelWord(RowState& rRow, const SurfaceBits& rBits, UpperRow& rUpper, int nRow, int nColumn)
    {
        const std::uint64_t uLeftValid = stepped(rBits.m_uValid, rRow.m_uValidCarry);
        const std::uint64_t uStarts = rBits.m_uValid & ~(rBits.m_uLeft & uLeftValid);
        const std::uint64_t uUp = rBits.m_uUp & rUpper.m_uValid;
        const std::uint64_t uHidden = rBits.m_uUp & ~rUpper.m_uValid; // close to a pixel without a label: background
        // What two neighbours say that belong to one run, above too, need not be heard twice.
        const std::uint64_t uSame = ~uStarts & ~rUpper.m_uStarts;
        const std::uint64_t uHeard = uUp & ~(stepped(uUp, rRow.m_uUpCarry) & uSame);
        const std::uint64_t uBackground =
            (uHidden & ~(stepped(uHidden, rRow.m_uHiddenCarry) & ~uStarts)) | (uStarts & rBits.m_uLeft);
        forEachBit(uStarts, [&](unsigned n) {
            const std::uint64_t uBit = std::uint64_t{1} << n;
            unsigned nLabel = 0;
            if ((uBackground & uBit) == 0) {
                nLabel = (uHeard & uBit) != 0 ? upperLabel(rRow, rUpper, n) : open();
            }
            m_rRuns.push_back({nRow, nColumn + static_cast<int>(n), 0, nLabel});
        });
        forEachBit(uLeftValid & (~rBits.m_uValid | uStarts),
                   [&](unsigned n) { m_rRuns[rRow.m_nOpen++].m_nEnd = nColumn + static_cast<int>(n); });
        const auto join = [&](unsigned n, unsigned nOther) {
            const auto nRank = static_cast<std::size_t>(std::popcount(uStarts & upTo(n)));
            unsigned& rLabel = m_rRuns[rRow.m_nRuns + nRank - 1].m_nLabel;
            rLabel = rLabel == nOther ? rLabel : merged(rLabel, nOther);
        };
        forEachBit(uHeard, [&](unsigned n) { join(n, upperLabel(rRow, rUpper, n)); });
        forEachBit(uBackground, [&](unsigned n) { join(n, 0); });
        rRow.m_nRuns = m_rRuns.size();
        rRow.m_nUpper += static_cast<std::size_t>(std::popcount(rUpper.m_uStarts));
        rUpper = {rBits.m_uValid, uStarts};
    }

    [[nodiscard]] unsigned upperLabel(const RowState& rRow, const UpperRow& rUpper, unsigned n) const
    {
        const auto nRank = static_cast<std::size_t>(std::popcount(rUpper.m_uStarts & upTo(n)));
        return m_rRuns[rRow.m_nUpper + nRank - 1].m_nLabel;
    }

    unsigned open()
    {
        m_pnTable[m_nNext] = m_nNext;
        m_pnSizes[m_nNext] = 0;
        return m_nNext++;
    }

    [[nodiscard]] unsigned root(unsigned n) const
    {
        while (m_pnTable[n] != n) {
            n = m_pnTable[n];
        }
        return n;
    }

    // Roots point downward only, so one pass from label 1 up resolves them all.
    unsigned merged(unsigned a, unsigned b)
    {
        const unsigned nRootA = root(a), nRootB = root(b);
        m_pnTable[std::max(nRootA, nRootB)] = std::min(nRootA, nRootB);
        return std::min(nRootA, nRootB);
    }

    KesUIntVector& m_rTable;
    KesUIntVector& m_rSizes;
    std::vector<Run>& m_rRuns;
    std::vector<SurfaceBits>& m_rBits;
    std::vector<UpperRow>& m_rUpper;
    int m_nWords;
    std::size_t m_nUpperRuns = 0;  // the first run of the row above
    unsigned* m_pnTable = nullptr; // borrowed from the tables until room is made again
    unsigned* m_pnSizes = nullptr;
    unsigned m_nNext = 0;
};

KesSegmentContext::KesSegmentContext()
    : m_labelTable(sk_nTableStep, sk_nTableStep), m_sizeTable(sk_nTableStep, sk_nTableStep)
{}

template<typename T>
unsigned KesSegmentContext::reject(Pass& rPass, Image<T>& rImage, unsigned uMinSize, T invalid)
{
    rPass.close();
    m_nRegionCount = compressLabels(m_labelTable, m_sizeTable, uMinSize);
    for (const Run& rRun : m_runs) {
        if (m_labelTable[rRun.m_nLabel] != 0) {
            std::fill(&rImage[rRun.m_nRow][rRun.m_nBegin], &rImage[rRun.m_nRow][0] + rRun.m_nEnd, invalid);
        }
    }
    return m_nRegionCount;
}

unsigned KesSegmentContext::SegmentIntoRegions(Image<unsigned char>& rImage, double dDifference,
                                               std::uint8_t ucMinValue, std::uint8_t ucMaxValue, unsigned uMinSize,
                                               std::uint8_t ucInvalid)
{
    const int nRows = rImage.nCols() > 0 ? rImage.nRows() : 0;
    const SurfaceRange<std::uint8_t> range{ucMinValue, ucMaxValue, threshold(dDifference)};
    Pass pass(*this, rImage.nCols());
    for (int nRow = 0; nRow < nRows; ++nRow) {
        SurfaceBits* const pBits = bitsOfRow(pass.bits(), rImage, nRow, 0, rImage.nCols(), range);
        if (nRow == 0) { // the left neighbour decides alone
            std::for_each_n(pBits, pass.bits().size(), [](SurfaceBits& rBits) { rBits.m_uUp = 0; });
        } else { // to its neighbours column 0 is background
            pBits->m_uValid &= ~std::uint64_t{1};
            pBits->m_uUp &= ~std::uint64_t{1};
        }
        pBits->m_uLeft &= ~std::uint64_t{1};
        pass.labelRow(nRow, 0, rImage.nCols());
        if (nRow == 0) {
            const bool bCorner = (pBits->m_uValid & 1) != 0;
            pass.countFirstColumn(rImage, bCorner ? m_runs[0].m_nLabel : 0, range);
        }
    }
    return reject<unsigned char>(pass, rImage, uMinSize, ucInvalid);
}

unsigned KesSegmentContext::SegmentIntoRegions(Image<unsigned short>& rImage, double dDifference, unsigned uMinSize,
                                               std::uint16_t uInvalid, unsigned uBorder)
{
    const auto uHalf = std::max<unsigned>(1, uBorder % 2 + uBorder / 2);
    const int nMargin = static_cast<int>(std::min<unsigned>(uHalf, std::numeric_limits<int>::max() / 2));
    const int nPixels = std::max(0, rImage.nCols() - 2 * nMargin);
    const int nEnd = nPixels > 0 ? rImage.nRows() - nMargin : 0;
    const SurfaceRange<std::uint16_t> range{0, sk_uHighestDisparity, threshold(dDifference * 256.0)};
    Pass pass(*this, nPixels);
    for (int nRow = nMargin; nRow < nEnd; ++nRow) {
        bitsOfRow(pass.bits(), rImage, nRow, nMargin, nMargin + nPixels, range);
        pass.labelRow(nRow, nMargin, nPixels);
    }
    return reject<unsigned short>(pass, rImage, uMinSize, uInvalid);
}

unsigned KesSegmentContext::compressLabels(KesUIntVector& rTable, KesUIntVector& rSizes, unsigned uMinSize)
{
    const unsigned nLabels = rTable.size();
    g_nLastTableSize.store(nLabels, std::memory_order_relaxed);
    if (nLabels > g_nPeakTableSize.load(std::memory_order_relaxed)) {
        g_nPeakTableSize.store(nLabels, std::memory_order_relaxed);
    }
    for (unsigned i = 1; i < nLabels; ++i) {
        if (rTable[i] != i) {
            rTable[i] = rTable[rTable[i]]; // a root: entries below are done
            rSizes[rTable[i]] += rSizes[i];
            rSizes[i] = 0;
        }
    }
    unsigned nMarked = 0;
    for (unsigned i = 1; i < nLabels; ++i) {
        if (rSizes[rTable[i]] < uMinSize) {
            ++nMarked;
        } else {
            rTable[i] = 0;
        }
    }
    return nMarked;
}

} // namespace kestrova
