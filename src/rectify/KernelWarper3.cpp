#include "rectify/KernelWarper3.h"

#include <algorithm>
#include <vector>

namespace kestrova {

KernelWarper3::KernelWarper3() = default;
KernelWarper3::KernelWarper3(const KernelWarper3&) = default;
KernelWarper3::~KernelWarper3() = default;

// ---- tables ----

namespace {

/** From the floor pixel to the nearest: a fraction of a half and above stands before another pixel of the source. */
void roundPositions(Image<int>& rPositions, const Image<unsigned char>& rRowFraction,
                    const Image<unsigned char>& rColFraction, int nStride)
{
    for (int nRow = 0; nRow < rPositions.nRows(); ++nRow) {
        for (int nCol = 0; nCol < rPositions.nCols(); ++nCol) {
            rPositions[nRow][nCol] +=
                (rRowFraction[nRow][nCol] >= 64 ? nStride : 0) + (rColFraction[nRow][nCol] >= 64 ? 1 : 0);
        }
    }
}

} // namespace

void KernelWarper3::buildWarper3Maps(const WarpMapFunc& rMap, int nSrcRows, int nSrcCols, int nStride, int nDstRows,
                                     int nDstCols, int nRowOffset, int nColOffset, Image<int>& rPositions,
                                     Image<unsigned char>& rRowFraction, Image<unsigned char>& rColFraction)
{
    Warper3::buildWarper3Maps(rMap, nSrcRows, nSrcCols, nStride, nDstRows, nDstCols, nRowOffset, nColOffset, rPositions,
                              rRowFraction, rColFraction);
    roundPositions(rPositions, rRowFraction, rColFraction, nStride);
}

void KernelWarper3::buildTables(const WarpMapFunc& rMap, const WarperKey& rKey, KernelType eKernelType)
{
    Warper3::buildTables(rMap, rKey, eKernelType);
    roundPositions(m_map, m_rowFraction, m_colFraction, m_key.m_nStride);
    m_nKernelSize = rKey.m_nKernelSize;
    m_nKernelHalfSize = (rKey.m_nKernelSize - 1) / 2;
}

void KernelWarper3::initRange(int nHalfSize)
{
    Warper::initRange(); // the rows of the nearest pixels, without what the windows read besides
    initRowRange(nHalfSize);
    initColRange(nHalfSize);
}

void KernelWarper3::initRowRange(int nHalfSize)
{
    const int nRows = m_map.nRows();
    const Row<int> lowest = m_rowRange[0];
    const Row<int> highest = m_rowRange[1];
    m_nFirstKernelRow = 0;
    while (m_nFirstKernelRow < nRows && lowest[m_nFirstKernelRow] < nHalfSize) {
        ++m_nFirstKernelRow;
    }
    m_nFirstKernelRow = m_nFirstKernelRow < nRows ? m_nFirstKernelRow : -1;
    m_nLastKernelRow = nRows - 1;
    while (m_nLastKernelRow >= 0 && highest[m_nLastKernelRow] + nHalfSize >= m_key.m_nSourceRows) {
        --m_nLastKernelRow;
    }
    m_nLastKernelRow = m_nLastKernelRow >= 0 ? m_nLastKernelRow : nRows;
}

void KernelWarper3::initColRange(int nHalfSize)
{
    m_nFirstKernelCol = -1;
    m_nLastKernelCol = m_map.nCols();
    std::vector<int> lowest(static_cast<std::size_t>(m_map.nCols()), m_key.m_nSourceCols);
    std::vector<int> highest(lowest.size(), 0);
    for (int nRow = 0; nRow < m_map.nRows(); ++nRow) {
        const Row<int> row = m_map[nRow];
        for (std::size_t uCol = 0; uCol < lowest.size(); ++uCol) {
            const int nSrcCol = row[static_cast<int>(uCol)] % m_key.m_nStride;
            lowest[uCol] = std::min(lowest[uCol], nSrcCol);
            highest[uCol] = std::max(highest[uCol], nSrcCol);
        }
    }
    const auto first = std::find_if(lowest.begin(), lowest.end(), [&](int n) { return n >= nHalfSize; });
    if (first != lowest.end()) {
        m_nFirstKernelCol = static_cast<int>(first - lowest.begin());
    }
    const auto last =
        std::find_if(highest.rbegin(), highest.rend(), [&](int n) { return n + nHalfSize < m_key.m_nSourceCols; });
    if (last != highest.rend()) {
        m_nLastKernelCol = static_cast<int>(highest.rend() - last) - 1;
    }
}

void KernelWarper3::initKernelMap()
{
    m_kernelMap = Image<unsigned short>(m_map.size());
    // First and last rows and columns keep the windows inside for maps that run steadily across the source. A map may
    // turn around or jump, and a source may be smaller than a window, so every pixel is looked at once, here.
    const auto fits = [this](int nSrc, int nSize) {
        return nSrc >= m_nKernelHalfSize && nSrc - m_nKernelHalfSize + m_nKernelSize <= nSize;
    };
    for (int nRow = 0; nRow < m_map.nRows(); ++nRow) {
        for (int nCol = 0; nCol < m_map.nCols(); ++nCol) {
            const int nEntry = m_map[nRow][nCol];
            const bool bFits = fits(nEntry / m_key.m_nStride, m_key.m_nSourceRows) &&
                               fits(nEntry % m_key.m_nStride, m_key.m_nSourceCols);
            // 128ths to 32nds.
            const int nPhases =
                m_rowFraction[nRow][nCol] / 4 * InterpKernels::sk_nPhases + m_colFraction[nRow][nCol] / 4;
            m_kernelMap[nRow][nCol] = bFits ? static_cast<unsigned short>(nPhases) : sk_uNoKernel;
        }
    }
}

// ---- one pixel ----
// The sum runs in double, row by row from the top left; its order decides the last bit and with it the rounding.

namespace {

unsigned char toPixel(double dSum)
{
    if (dSum > 255.0) { // negative lobes make both ends real
        return 255;
    }
    return dSum < 0.0 ? static_cast<unsigned char>(0) : static_cast<unsigned char>(dSum + 0.5);
}

template<int nSize>
unsigned char applyKernel(const double* pKernel, const unsigned char* pWindow, int nStride)
{
    double dSum = 0.0;
    for (int i = 0; i < nSize; ++i, pKernel += nSize, pWindow += nStride) {
        for (int j = 0; j < nSize; ++j) {
            dSum += pWindow[j] * pKernel[j];
        }
    }
    return toPixel(dSum);
}

template<int nSize>
Pixel8x4 applyKernel(const double* pKernel, const Pixel8x4* pWindow, int nStride)
{
    double adSum[3] = {0.0, 0.0, 0.0};
    for (int i = 0; i < nSize; ++i, pKernel += nSize, pWindow += nStride) {
        for (int j = 0; j < nSize; ++j) {
            adSum[0] += pWindow[j].m_ucBlue * pKernel[j];
            adSum[1] += pWindow[j].m_ucGreen * pKernel[j];
            adSum[2] += pWindow[j].m_ucRed * pKernel[j];
        }
    }
    return {toPixel(adSum[0]), toPixel(adSum[1]), toPixel(adSum[2]), 0};
}

/** What the pixels of one row read. */
template<typename T>
struct KernelRow
{
    T* m_pDst;
    const T* m_pSrc;
    const int* m_pEntry;
    const unsigned short* m_pKernelMap;
    const double* m_pKernels;
    int m_nStride;
    int m_nHalfSize;

    void nearest(int nFrom, int nTo) const
    {
        for (int i = nFrom; i < nTo; ++i) {
            m_pDst[i] = m_pSrc[m_pEntry[i]];
        }
    }

    template<int nSize>
    void kernels(int nFrom, int nTo) const
    {
        const std::ptrdiff_t nToWindow = std::ptrdiff_t{m_nStride + 1} * m_nHalfSize;
        for (int i = nFrom; i < nTo; ++i) {
            const T* const pCentre = m_pSrc + m_pEntry[i];
            m_pDst[i] =
                m_pKernelMap[i] == KernelWarper3::sk_uNoKernel
                    ? *pCentre
                    : applyKernel<nSize>(m_pKernels + m_pKernelMap[i] * nSize * nSize, pCentre - nToWindow, m_nStride);
        }
    }
};

} // namespace

// ---- rows and images ----

template<typename T>
void KernelWarper3::kernelWarp(T* pDst, const T* pSrc, int nRow, int nCol, int nWidth) const
{
    const KernelRow<T> row{
        pDst, pSrc, &m_map[nRow][nCol], &m_kernelMap[nRow][nCol], m_pKernels, m_key.m_nStride, m_nKernelHalfSize};
    const int nLeft = std::clamp(m_nFirstKernelCol - nCol, 0, nWidth);
    const int nMiddle = std::clamp(m_nLastKernelCol - nCol + 1, nLeft, nWidth);
    row.nearest(0, nLeft);
    if (m_nKernelSize == 3) {
        row.template kernels<3>(nLeft, nMiddle);
    } else {
        row.template kernels<5>(nLeft, nMiddle);
    }
    row.nearest(nMiddle, nWidth);
}

template<typename T>
void KernelWarper3::warpImage(Image<T>& rDst, const Image<T>& rSrc) const
{
    const int nOffset = rDst.offset().m_nRows;
    const int nCol = rDst.offset().m_nCols;
    const int nRows = rDst.nRows();
    const int nFirst = std::min(m_nFirstKernelRow - nOffset, nRows);
    // The row just behind the view belongs to the kernel rows too, where frame and tables have it.
    const int nEnd = nOffset + nRows < std::min(rDst.maxSize().m_nRows, m_map.nRows()) ? nRows : nRows - 1;
    const int nLast = std::min(m_nLastKernelRow - nOffset, nEnd);
    for (int nRow = 0; nRow < std::max(nRows, nLast + 1); ++nRow) {
        T* const pRow = &rDst[nRow][0];
        if (nRow >= nFirst && nRow <= nLast) {
            warp(pRow, rSrc.data(), nOffset + nRow, nCol, rDst.nCols());
        } else {
            Warper::warp(pRow, rSrc.data(), nOffset + nRow, nCol, rDst.nCols());
        }
    }
}

void KernelWarper3::warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc) const
{
    warpImage(rDst, rSrc);
}

void KernelWarper3::warp(Image<unsigned short>& rDst, const Image<unsigned short>& rSrc) const
{
    warpImage(rDst, rSrc);
}

void KernelWarper3::warp(Image<Pixel8x4>& rDst, const Image<Pixel8x4>& rSrc) const
{
    warpImage(rDst, rSrc);
}

void KernelWarper3::warp(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const
{
    kernelWarp(pDst, pSrc, nRow, nCol, nWidth);
}

void KernelWarper3::warp(Pixel8x4* pDst, const Pixel8x4* pSrc, int nRow, int nCol, int nWidth) const
{
    kernelWarp(pDst, pSrc, nRow, nCol, nWidth);
}

} // namespace kestrova
