#include "surfaces/KesSegmentContext.h"

#include "kernels/InstructionSet.h"
#include "kestrova.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

namespace kestrova {

std::atomic<unsigned> g_nPeakTableSize{0};
std::atomic<unsigned> g_nLastTableSize{0};

namespace {

constexpr unsigned sk_nTableStep = 1000;
constexpr std::uint16_t sk_uHighestDisparity = KestrovaDisparity16Invalid - 1;

/** Rounded to a whole number; anything beyond the widest difference of two pixels connects all of them. */
int threshold(double dDifference)
{
    constexpr double sk_dWidest = 65536;
    const double dRounded = dDifference + 0.5;
    return dRounded < sk_dWidest ? static_cast<int>(std::max(dRounded, -1.0)) : static_cast<int>(sk_dWidest);
}

template<typename T>
bool areClose(T a, T b, const SurfaceRange<T>& rRange)
{
    return std::abs(a - b) <= rRange.m_nThreshold;
}

template<typename T>
bool takesPart(T value, const SurfaceRange<T>& rRange)
{
    return rRange.m_min <= value && value <= rRange.m_max;
}

void clear(Image<unsigned int>& rLabels, int nRow, int nBegin, int nEnd)
{
    std::fill_n(&rLabels[nRow][0] + nBegin, nEnd - nBegin, 0U);
}

/** Row 0 of the 8-bit form: the left neighbour decides alone. */
template<typename T>
void labelFirstRow(const Image<T>& rImage, Image<unsigned int>& rLabels, const SurfaceRange<T>& rRange,
                   SurfaceTables& rTables)
{
    const T* const pRow = &rImage[0][0];
    unsigned* const pLabels = &rLabels[0][0];
    rTables.makeRoom(rImage.nCols());
    for (int i = 0; i < rImage.nCols(); ++i) {
        pLabels[i] = 0;
        if (takesPart(pRow[i], rRange)) {
            const bool bClose = i > 0 && areClose(pRow[i], pRow[i - 1], rRange);
            pLabels[i] = rTables.label(bClose ? pLabels[i - 1] : rTables.none(), rTables.none());
            rTables.count(pLabels[i], 1);
        }
    }
}

/** Its column 0: the upper neighbour does. The labels count, but no pixel gets to keep one. */
template<typename T>
void countFirstColumn(const Image<T>& rImage, unsigned nCornerLabel, const SurfaceRange<T>& rRange,
                      SurfaceTables& rTables)
{
    rTables.makeRoom(rImage.nRows());
    unsigned nAbove = nCornerLabel;
    for (int nRow = 1; nRow < rImage.nRows(); ++nRow) {
        const T value = rImage[nRow][0];
        if (!takesPart(value, rRange)) {
            nAbove = 0;
            continue;
        }
        const bool bClose = areClose(value, T{rImage[nRow - 1][0]}, rRange);
        nAbove = rTables.label(rTables.none(), bClose ? nAbove : rTables.none());
        rTables.count(nAbove, 1);
    }
}

/** Labels a row pixel by pixel, the reference of all forms. Pixels that do not take part keep their label 0. */
template<typename T>
void labelPixels(const Image<T>& rImage, Image<unsigned int>& rLabels, int nRow, const ImageROI& rInner,
                 const SurfaceRange<T>& rRange, SurfaceTables& rTables)
{
    const T* const pRow = &rImage[nRow][0];
    const T* const pUp = &rImage[nRow - 1][0];
    unsigned* const pLabels = &rLabels[nRow][0];
    const unsigned* const pUpLabels = &rLabels[nRow - 1][0];
    rTables.makeRoom(rInner.m_nCols);
    clear(rLabels, nRow, 0, rLabels.nCols());
    for (int i = rInner.m_nColOffset; i < rInner.m_nColOffset + rInner.m_nCols; ++i) {
        if (takesPart(pRow[i], rRange)) {
            const unsigned nLeft = areClose(pRow[i], pRow[i - 1], rRange) ? pLabels[i - 1] : rTables.none();
            const unsigned nUp = areClose(pRow[i], pUp[i], rRange) ? pUpLabels[i] : rTables.none();
            pLabels[i] = rTables.label(nLeft, nUp);
            rTables.count(pLabels[i], 1);
        }
    }
}

/** Pixels of a row whose label is still marked in the table. */
template<typename T>
void rejectPixels(Image<T>& rImage, const Image<unsigned int>& rLabels, int nRow, const ImageROI& rInner,
                  const unsigned* pnTable, T invalid)
{
    T* const pRow = &rImage[nRow][0];
    const unsigned* const pLabels = &rLabels[nRow][0];
    for (int i = rInner.m_nColOffset; i < rInner.m_nColOffset + rInner.m_nCols; ++i) {
        pRow[i] = pnTable[pLabels[i]] != 0 ? invalid : pRow[i];
    }
}

} // namespace

KesSegmentContext::KesSegmentContext()
    : m_labelTable(sk_nTableStep, sk_nTableStep), m_sizeTable(sk_nTableStep, sk_nTableStep)
{}

template<typename T>
void KesSegmentContext::label(const Image<T>& rImage, Image<unsigned int>& rLabels, const ImageROI& rInner,
                              const SurfaceRange<T>& rRange, SurfaceTables& rTables)
{
    m_bByRuns = !instructionSet().m_bReference;
    if (rInner.m_nRows == 0 || rInner.m_nCols == 0) {
        m_runs.begin(0, nullptr);
    } else if (m_bByRuns) {
        labelByRuns(rImage, rLabels, rInner, rRange, rTables);
    } else {
        for (int nRow = rInner.m_nRowOffset; nRow < rInner.m_nRowOffset + rInner.m_nRows; ++nRow) {
            labelPixels(rImage, rLabels, nRow, rInner, rRange, rTables);
        }
    }
}

template<typename T>
void KesSegmentContext::labelByRuns(const Image<T>& rImage, Image<unsigned int>& rLabels, const ImageROI& rInner,
                                    const SurfaceRange<T>& rRange, SurfaceTables& rTables)
{
    const int nBegin = rInner.m_nColOffset, nEnd = nBegin + rInner.m_nCols;
    m_runs.begin(rInner.m_nCols, &rLabels[rInner.m_nRowOffset - 1][0] + nBegin);
    for (int nRow = rInner.m_nRowOffset; nRow < rInner.m_nRowOffset + rInner.m_nRows; ++nRow) {
        surfaceBits(m_runs.bits(), &rImage[nRow][0], &rImage[nRow - 1][0], nBegin, nEnd, rRange);
        const unsigned* const pLabels = m_runs.labelRow(rTables);
        clear(rLabels, nRow, 0, nBegin);
        std::copy_n(pLabels, rInner.m_nCols, &rLabels[nRow][0] + nBegin);
        clear(rLabels, nRow, nEnd, rLabels.nCols());
    }
}

unsigned KesSegmentContext::compress(SurfaceTables& rTables, unsigned uMinSize)
{
    rTables.close();
    m_nRegionCount = compressLabels(m_labelTable, m_sizeTable, uMinSize);
    return m_nRegionCount;
}

template<typename T>
void KesSegmentContext::rejectMarked(Image<T>& rImage, const Image<unsigned int>& rLabels, const ImageROI& rInner,
                                     T invalid)
{
    if (m_bByRuns) {
        m_runs.forEachMarked(m_labelTable.data(), [&](int nRow, int nBegin, int nEnd) {
            T* const pRow = &rImage[rInner.m_nRowOffset + nRow][0] + rInner.m_nColOffset;
            std::fill(pRow + nBegin, pRow + nEnd, invalid);
        });
        return;
    }
    for (int nRow = rInner.m_nRowOffset; nRow < rInner.m_nRowOffset + rInner.m_nRows; ++nRow) {
        rejectPixels(rImage, rLabels, nRow, rInner, m_labelTable.data(), invalid);
    }
}

unsigned KesSegmentContext::SegmentIntoRegions(Image<unsigned char>& rImage, Image<unsigned int>& rLabels,
                                               double dDifference, std::uint8_t ucMinValue, std::uint8_t ucMaxValue,
                                               unsigned uMinSize, std::uint8_t ucInvalid)
{
    const int nRows = rImage.nCols() > 0 ? rImage.nRows() : 0;
    const SurfaceRange<unsigned char> range{ucMinValue, ucMaxValue, threshold(dDifference)};
    const ImageROI inner{1, 1, std::max(0, nRows - 1), std::max(0, rImage.nCols() - 1)};
    SurfaceTables tables(m_labelTable, m_sizeTable);
    if (nRows > 0) {
        labelFirstRow(rImage, rLabels, range, tables);
        countFirstColumn(rImage, rLabels[0][0], range, tables);
    }
    for (int nRow = 1; nRow < nRows && inner.m_nCols == 0; ++nRow) {
        clear(rLabels, nRow, 0, 1);
    }
    label(rImage, rLabels, inner, range, tables);
    compress(tables, uMinSize);
    if (nRows > 0) {
        rejectPixels(rImage, rLabels, 0, {0, 0, 1, rImage.nCols()}, m_labelTable.data(), ucInvalid);
    }
    rejectMarked<unsigned char>(rImage, rLabels, inner, ucInvalid);
    return m_nRegionCount;
}

unsigned KesSegmentContext::SegmentIntoRegions(Image<unsigned short>& rImage, Image<unsigned int>& rLabels,
                                               double dDifference, unsigned uMinSize, std::uint16_t uInvalid,
                                               unsigned uBorder)
{
    const auto uHalf = std::max<unsigned>(1, uBorder % 2 + uBorder / 2);
    const int nMargin = static_cast<int>(std::min<unsigned>(uHalf, std::numeric_limits<int>::max() / 2));
    const int nCols = std::max(0, rImage.nCols() - 2 * nMargin);
    const ImageROI inner{nMargin, nMargin, nCols > 0 ? std::max(0, rImage.nRows() - 2 * nMargin) : 0, nCols};
    SurfaceTables tables(m_labelTable, m_sizeTable);
    for (int nRow = 0; nRow < rImage.nRows(); ++nRow) { // the others are set as they are labelled
        if (nRow < nMargin || nRow >= nMargin + inner.m_nRows) {
            clear(rLabels, nRow, 0, rLabels.nCols());
        }
    }
    label(rImage, rLabels, inner, {0, sk_uHighestDisparity, threshold(dDifference * 256.0)}, tables);
    compress(tables, uMinSize);
    rejectMarked<unsigned short>(rImage, rLabels, inner, uInvalid);
    return m_nRegionCount;
}

std::size_t KesSegmentContext::bytes() const
{
    return (std::size_t{m_labelTable.capacity()} + m_sizeTable.capacity()) * sizeof(unsigned) + m_runs.bytes();
}

unsigned KesSegmentContext::compressLabels(KesUIntVector& rTable, KesUIntVector& rSizes, unsigned uMinSize)
{
    const unsigned nLabels = rTable.size();
    g_nLastTableSize.store(nLabels, std::memory_order_relaxed);
    if (nLabels > g_nPeakTableSize.load(std::memory_order_relaxed)) {
        g_nPeakTableSize.store(nLabels, std::memory_order_relaxed);
    }
    unsigned* const pnTable = rTable.data();
    unsigned* const pnSizes = rSizes.data();
    for (unsigned i = 1; i < nLabels; ++i) {
        const unsigned nRoot = pnTable[pnTable[i]]; // entries below are done
        const unsigned nSize = std::exchange(pnSizes[i], 0);
        pnTable[i] = nRoot;
        pnSizes[nRoot] += nSize; // a root gets its own back
    }
    unsigned nMarked = 0;
    for (unsigned i = 1; i < nLabels; ++i) {
        const bool bMarked = pnSizes[pnTable[i]] < uMinSize;
        pnTable[i] = bMarked ? pnTable[i] : 0;
        nMarked += bMarked ? 1 : 0;
    }
    return nMarked;
}

} // namespace kestrova
