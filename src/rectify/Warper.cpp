#include "rectify/Warper.h"

#include "rectify/BoxAverage.h"
#include "rectify/warpSample.h"
#include <limits>

namespace kestrova {

Warper::Warper() = default;
Warper::Warper(const Warper&) = default;
Warper::~Warper() = default;

void Warper::setKey(const WarperKey& rKey, KernelType eKernelType)
{
    m_key = rKey;
    m_key.m_eKernelType = eKernelType;
    m_key.m_nSubpixelRowOffset = subpixelOffset(rKey.m_nSubpixelRowOffset);
    m_key.m_nSubpixelColOffset = subpixelOffset(rKey.m_nSubpixelColOffset);
    m_map = Image<int>(rKey.m_nDestinationRows, rKey.m_nDestinationCols);
    m_rowRange = Image<int>(2, rKey.m_nDestinationRows);
}

void Warper::build(const WarpMapFunc& rMap, const WarperKey& rKey)
{
    setKey(rKey, KernelNearest);
    const SourcePoint limit{static_cast<float>(rKey.m_nSourceRows - 1), static_cast<float>(rKey.m_nSourceCols - 1)};
    sampleDestination(rMap, m_key, limit, [&](int nRow, int nCol, SourcePoint point) {
        // In double: just below one half, single precision would round the sum up to the next pixel.
        const int nSrcRow = static_cast<int>(std::floor(point.m_fRow + 0.5));
        const int nSrcCol = static_cast<int>(std::floor(point.m_fCol + 0.5));
        m_map[nRow][nCol] = nSrcRow * rKey.m_nStride + nSrcCol;
    });
    initRange();
}

void Warper::initRange()
{
    Row<int> lowest = m_rowRange[0];
    Row<int> highest = m_rowRange[1];
    for (int nRow = 0; nRow < m_map.nRows(); ++nRow) {
        lowest[nRow] = std::numeric_limits<int>::max();
        highest[nRow] = 0;
        for (int nCol = 0; nCol < m_map.nCols(); ++nCol) {
            const int nSrcRow = m_map[nRow][nCol] / m_key.m_nStride;
            lowest[nRow] = std::min(lowest[nRow], nSrcRow);
            highest[nRow] = std::max(highest[nRow], nSrcRow);
        }
    }
}

std::unique_ptr<Warper> Warper::clone() const
{
    return std::unique_ptr<Warper>(new Warper(*this));
}

namespace {

/** Fills tmp from the source, row by row, as far ahead as the warp needs it. */
class LowpassFeed
{
public:
    LowpassFeed(const Image<unsigned char>& rSrc, const BoxPass& r)
        : m_average(r, rSrc), m_nSrcRows(rSrc.nRows()), m_nTop(r.m_nMaskRows / 2), m_nBottom((r.m_nMaskRows - 1) / 2),
          m_nLead(r.m_nMaskRows - 1 - r.m_nMaskRows / 2), m_nLeft(r.m_nMaskCols / 2), m_nRight((r.m_nMaskCols - 1) / 2),
          m_size(r.m_rTmp.size()), m_pCursor(r.m_rTmp.data())
    {}

    /** Filters until row nLast of tmp stands, or the source ends. */
    void fillTo(int nLast)
    {
        while (m_nNext - m_nLead <= nLast && m_nNext < m_nSrcRows) {
            const int nDone = m_average.addRow();
            blackenBorder();
            ++m_nNext;
            m_average.writeRow(nDone);
        }
    }

private:
    // The cursor steps by columns where rows are a stride apart; see the declaration of the fused warp.
    void blackenBorder()
    {
        const int nCols = m_size.m_nCols;
        if (m_nNext < m_nTop || m_nNext >= m_size.m_nRows - m_nBottom) {
            Image<unsigned char>::init(m_pCursor, 0, nCols);
        } else {
            Image<unsigned char>::init(m_pCursor, 0, m_nLeft);
            Image<unsigned char>::init(m_pCursor + nCols - m_nRight, 0, m_nRight);
        }
        m_pCursor += nCols;
    }

    BoxAverage m_average;
    int m_nSrcRows;
    int m_nTop;
    int m_nBottom;
    int m_nLead; // source rows that the box needs below the row it is for
    int m_nLeft;
    int m_nRight;
    ImageDim m_size;
    unsigned char* m_pCursor;
    int m_nNext = 0; // source row
};

template<typename T>
void warpImage(const Warper& rWarper, Image<T>& rDst, const Image<T>& rSrc)
{
    const ImageDim offset = rDst.offset();
    for (int nRow = 0; nRow < rDst.nRows(); ++nRow) {
        rWarper.warp(&rDst[nRow][0], rSrc.data(), offset.m_nRows + nRow, offset.m_nCols, rDst.nCols());
    }
}

template<typename T>
void warpNearest(const Image<int>& rMap, T* pDst, const T* pSrc, int nRow, int nCol, int nWidth)
{
    const int* pEntry = &rMap[nRow][nCol];
    for (int i = 0; i < nWidth; ++i) {
        pDst[i] = pSrc[pEntry[i]];
    }
}

} // namespace

void Warper::warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, Image<unsigned char>& rTmp,
                  Image<unsigned char>& rTmpInterior, Image<unsigned short>& rSums, BoxFilter& rBox, int nScale,
                  int nMaskRows, int nMaskCols) const
{
    warp(rDst, rSrc, {rTmp, rTmpInterior, rSums, rBox, nScale, nMaskRows, nMaskCols});
}

void Warper::warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, const BoxPass& rPass) const
{
    LowpassFeed feed(rSrc, rPass);
    const Row<const int> highest = m_rowRange[1];
    const ImageDim offset = rDst.offset();
    for (int nRow = 0; nRow < rDst.nRows(); ++nRow) {
        const int nTableRow = offset.m_nRows + nRow;
        feed.fillTo(highest[nTableRow]);
        warp(&rDst[nRow][0], rPass.m_rTmp.data(), nTableRow, offset.m_nCols, rDst.nCols());
    }
}

void Warper::warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc) const
{
    warpImage(*this, rDst, rSrc);
}

void Warper::warp(Image<unsigned short>& rDst, const Image<unsigned short>& rSrc) const
{
    warpImage(*this, rDst, rSrc);
}

void Warper::warp(Image<Pixel8x4>& rDst, const Image<Pixel8x4>& rSrc) const
{
    warpImage(*this, rDst, rSrc);
}

void Warper::warp(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const
{
    warpNearest(m_map, pDst, pSrc, nRow, nCol, nWidth);
}

void Warper::warp(unsigned short* pDst, const unsigned short* pSrc, int nRow, int nCol, int nWidth) const
{
    warpNearest(m_map, pDst, pSrc, nRow, nCol, nWidth);
}

void Warper::warp(Pixel8x4* pDst, const Pixel8x4* pSrc, int nRow, int nCol, int nWidth) const
{
    warpNearest(m_map, pDst, pSrc, nRow, nCol, nWidth);
}

} // namespace kestrova
