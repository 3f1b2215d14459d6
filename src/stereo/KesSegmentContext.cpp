#include "stereo/KesSegmentContext.h"

#include <algorithm>
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

template<typename T>
bool areClose(T a, T b, int nThreshold)
{
    return std::abs(a - b) <= nThreshold;
}

template<typename T>
void clearLabels(Image<T>& rLabels, int nRow)
{
    std::fill_n(&rLabels[nRow][0], rLabels.nCols(), T{0});
}

template<typename T>
struct Range
{
    T m_min, m_max;

    [[nodiscard]] bool has(T value) const { return m_min <= value && value <= m_max; }
};

/** Pixels of a rectangle whose label is still marked in the table get the reject code. */
template<typename T>
void rejectMarked(Image<T>& rImage, const Image<unsigned int>& rLabels, const ImageROI& rROI, const unsigned* pnTable,
                  T invalid)
{
    for (int nRow = rROI.m_nRowOffset; nRow < rROI.m_nRowOffset + rROI.m_nRows; ++nRow) {
        T* const pRow = &rImage[nRow][0];
        const unsigned* const pLabels = &rLabels[nRow][0];
        for (int i = rROI.m_nColOffset; i < rROI.m_nColOffset + rROI.m_nCols; ++i) {
            pRow[i] = pnTable[pLabels[i]] != 0 ? invalid : pRow[i];
        }
    }
}

} // namespace

/** The tables while labels are given out. Room is made row by row, so that single pixels need not ask. */
class KesSegmentContext::Pass
{
public:
    explicit Pass(KesSegmentContext& rContext) : m_rTable(rContext.m_labelTable), m_rSizes(rContext.m_sizeTable)
    {
        m_rTable.clear();
        m_rSizes.clear();
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

    /** What a pixel that is not close to its neighbour takes from it. */
    [[nodiscard]] unsigned none() const { return m_nNext; }

    /** The label of a pixel with these offers of its neighbours; counts the pixel. */
    unsigned label(unsigned nLeft, unsigned nUp)
    {
        if (nLeft == nUp) {
            return nLeft == m_nNext ? open() : counted(nLeft);
        }
        if (nUp == m_nNext) {
            return counted(nLeft);
        }
        return counted(nLeft == m_nNext ? nUp : merged(nLeft, nUp));
    }

    /** Labels pixels nBegin to nEnd - 1 of a row that has left neighbours; pixels out of range keep their label 0. */
    template<typename T>
    void labelRow(const Image<T>& rImage, Image<unsigned int>& rLabels, int nRow, int nBegin, int nEnd,
                  const Range<T>& rRange, int nThreshold)
    {
        const T* const pRow = &rImage[nRow][0];
        const T* const pUp = &rImage[nRow - 1][0];
        unsigned* const pLabels = &rLabels[nRow][0];
        const unsigned* const pUpLabels = &rLabels[nRow - 1][0];
        for (int i = nBegin; i < nEnd; ++i) {
            if (rRange.has(pRow[i])) {
                const unsigned nLeft = areClose(pRow[i], pRow[i - 1], nThreshold) ? pLabels[i - 1] : none();
                const unsigned nUp = areClose(pRow[i], pUp[i], nThreshold) ? pUpLabels[i] : none();
                pLabels[i] = label(nLeft, nUp);
            }
        }
    }

    /** Here the left neighbour decides alone. */
    template<typename T>
    void labelFirstRow(const Image<T>& rImage, Image<unsigned int>& rLabels, const Range<T>& rRange, int nThreshold)
    {
        const T* const pRow = &rImage[0][0];
        unsigned* const pLabels = &rLabels[0][0];
        clearLabels(rLabels, 0);
        for (int i = 0; i < rImage.nCols(); ++i) {
            if (rRange.has(pRow[i])) {
                const bool bClose = i > 0 && areClose(pRow[i], pRow[i - 1], nThreshold);
                const unsigned nLeft = bClose ? pLabels[i - 1] : none();
                pLabels[i] = label(nLeft, nLeft);
            }
        }
    }

    /** Here the upper one does. The labels count, but no pixel gets to keep one. */
    template<typename T>
    void countFirstColumn(const Image<T>& rImage, unsigned nCornerLabel, const Range<T>& rRange, int nThreshold)
    {
        unsigned nAbove = nCornerLabel;
        for (int nRow = 1; nRow < rImage.nRows(); ++nRow) {
            const T value = rImage[nRow][0];
            const unsigned nUp = areClose(value, rImage[nRow - 1][0], nThreshold) ? nAbove : none();
            nAbove = rRange.has(value) ? label(nUp, nUp) : 0;
        }
    }

private:
    unsigned open()
    {
        m_pnTable[m_nNext] = m_nNext;
        m_pnSizes[m_nNext] = 1;
        return m_nNext++;
    }

    unsigned counted(unsigned n)
    {
        ++m_pnSizes[n];
        return n;
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
    unsigned* m_pnTable = nullptr; // borrowed from the tables until room is made again
    unsigned* m_pnSizes = nullptr;
    unsigned m_nNext = 0;
};

KesSegmentContext::KesSegmentContext()
    : m_labelTable(sk_nTableStep, sk_nTableStep), m_sizeTable(sk_nTableStep, sk_nTableStep)
{}

unsigned KesSegmentContext::SegmentIntoRegions(Image<unsigned char>& rImage, Image<unsigned int>& rLabels,
                                               double dDifference, std::uint8_t ucMinValue, std::uint8_t ucMaxValue,
                                               unsigned uMinSize, std::uint8_t ucInvalid)
{
    const int nRows = rImage.nCols() > 0 ? rImage.nRows() : 0;
    const int nCols = rImage.nCols();
    const int nThreshold = threshold(dDifference);
    const Range<unsigned char> range{ucMinValue, ucMaxValue};
    Pass pass(*this);
    if (nRows > 0) {
        pass.makeRoom(nCols);
        pass.labelFirstRow(rImage, rLabels, range, nThreshold);
        pass.makeRoom(nRows);
        pass.countFirstColumn(rImage, rLabels[0][0], range, nThreshold);
    }
    for (int nRow = 1; nRow < nRows; ++nRow) {
        pass.makeRoom(nCols);
        clearLabels(rLabels, nRow); // column 0 with it: to its neighbours it is background
        pass.labelRow(rImage, rLabels, nRow, 1, nCols, range, nThreshold);
    }
    pass.close();
    m_nRegionCount = compressLabels(m_labelTable, m_sizeTable, uMinSize);
    rejectMarked(rImage, rLabels, {0, 0, nRows, nCols}, m_labelTable.data(), ucInvalid);
    return m_nRegionCount;
}

unsigned KesSegmentContext::SegmentIntoRegions(Image<unsigned short>& rImage, Image<unsigned int>& rLabels,
                                               double dDifference, unsigned uMinSize, std::uint16_t uInvalid,
                                               unsigned uBorder)
{
    const auto uHalf = std::max<unsigned>(1, uBorder % 2 + uBorder / 2);
    const int nMargin = static_cast<int>(std::min<unsigned>(uHalf, std::numeric_limits<int>::max() / 2));
    const ImageROI inner = {nMargin, nMargin, std::max(0, rImage.nRows() - 2 * nMargin),
                            std::max(0, rImage.nCols() - 2 * nMargin)};
    const int nThreshold = threshold(dDifference * 256.0);
    const int nEnd = inner.m_nRows > 0 ? nMargin + inner.m_nRows : 0;
    Pass pass(*this);
    for (int nRow = 0; nRow < rImage.nRows(); ++nRow) {
        clearLabels(rLabels, nRow);
        if (nRow >= nMargin && nRow < nEnd) {
            pass.makeRoom(inner.m_nCols);
            pass.labelRow<unsigned short>(rImage, rLabels, nRow, nMargin, nMargin + inner.m_nCols,
                                          {0, sk_uHighestDisparity}, nThreshold);
        }
    }
    pass.close();
    m_nRegionCount = compressLabels(m_labelTable, m_sizeTable, uMinSize);
    rejectMarked(rImage, rLabels, inner, m_labelTable.data(), uInvalid);
    return m_nRegionCount;
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
