#include "rectify/Warper3.h"

#include "kernels/InstructionSet.h"
#include "rectify/warpSample.h"

namespace kestrova {

Warper3::Warper3() = default;
Warper3::Warper3(const Warper3&) = default;
Warper3::~Warper3() = default;

namespace {

struct TableEntry
{
    int m_nIndex;
    unsigned char m_ucFraction; // in 128ths, 0 to 127
};

TableEntry split(float fPosition)
{
    if (fPosition < 0) { // the only position of an axis of one pixel
        return {0, 0};
    }
    const float fFloor = std::floor(fPosition);
    return {static_cast<int>(fFloor), static_cast<unsigned char>(std::floor(128.0F * (fPosition - fFloor)))};
}

void fillTables(const WarpMapFunc& rMap, const WarperKey& rKey, Image<int>& rPositions,
                Image<unsigned char>& rRowFraction, Image<unsigned char>& rColFraction)
{
    const SourcePoint limit{lastBlendPosition(rKey.m_nSourceRows), lastBlendPosition(rKey.m_nSourceCols)};
    sampleDestination(rMap, rKey, limit, [&](int nRow, int nCol, SourcePoint point) {
        const TableEntry row = split(point.m_fRow);
        const TableEntry col = split(point.m_fCol);
        rPositions[nRow][nCol] = row.m_nIndex * rKey.m_nStride + col.m_nIndex;
        rRowFraction[nRow][nCol] = row.m_ucFraction;
        rColFraction[nRow][nCol] = col.m_ucFraction;
    });
}

} // namespace

void Warper3::buildWarper3Maps(const WarpMapFunc& rMap, int nSrcRows, int nSrcCols, int nStride, int nDstRows,
                               int nDstCols, int nRowOffset, int nColOffset, Image<int>& rPositions,
                               Image<unsigned char>& rRowFraction, Image<unsigned char>& rColFraction)
{
    fillTables(rMap,
               {nDstRows, nDstCols, nSrcRows, nSrcCols, nStride, subpixelOffset(nRowOffset), subpixelOffset(nColOffset),
                KernelBilinear, 0},
               rPositions, rRowFraction, rColFraction);
}

void Warper3::buildTables(const WarpMapFunc& rMap, const WarperKey& rKey, KernelType eKernelType)
{
    setKey(rKey, eKernelType);
    m_rowFraction = Image<unsigned char>(rKey.m_nDestinationRows, rKey.m_nDestinationCols);
    m_colFraction = Image<unsigned char>(rKey.m_nDestinationRows, rKey.m_nDestinationCols);
    fillTables(rMap, m_key, m_map, m_rowFraction, m_colFraction);
}

void Warper3::build(const WarpMapFunc& rMap, const WarperKey& rKey)
{
    buildTables(rMap, rKey, KernelBilinear);
    initRange();
    m_windows.build(m_map, m_key);
}

void Warper3::initRange()
{
    Warper::initRange();
    Row<int> highest = m_rowRange[1];
    for (int nRow = 0; nRow < highest.nCols(); ++nRow) {
        ++highest[nRow]; // the row below is read as well
    }
}

std::unique_ptr<Warper> Warper3::clone() const
{
    return std::unique_ptr<Warper>(new Warper3(*this));
}

// ---- the blend: four neighbours with weights that add up to 2^14, truncated ----
// On an axis of one pixel the step to the neighbour is 0: its weight is 0, but it would be read outside the source.

namespace {

struct Blend
{
    int m_nRowStep;
    int m_nColStep;

    explicit Blend(const WarperKey& rKey)
        : m_nRowStep(rKey.m_nSourceRows > 1 ? rKey.m_nStride : 0), m_nColStep(rKey.m_nSourceCols > 1 ? 1 : 0)
    {}

    template<typename T, typename Lane>
    unsigned char operator()(const T* pSrc, int nRowFraction, int nColFraction, Lane lane) const
    {
        const auto across = [&](const T* p) {
            return lane(p[0]) * (128 - nColFraction) + lane(p[m_nColStep]) * nColFraction;
        };
        const int nSum = (128 - nRowFraction) * across(pSrc) + nRowFraction * across(pSrc + m_nRowStep);
        return static_cast<unsigned char>(nSum >> 14);
    }
};

} // namespace

void Warper3::blendPixels(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const
{
    const Blend blend(m_key);
    const int* pEntry = &m_map[nRow][nCol];
    const unsigned char* pRowFraction = &m_rowFraction[nRow][nCol];
    const unsigned char* pColFraction = &m_colFraction[nRow][nCol];
    int i = 0;
    if (const PixelForm& rForm = *instructionSet().m_pPixels; blend.m_nColStep == 1 && rForm.blend != nullptr) {
        i = rForm.blend(pDst, {pSrc, blend.m_nRowStep, pEntry, pRowFraction, pColFraction}, nWidth);
    }
    for (; i < nWidth; ++i) {
        pDst[i] = blend(pSrc + pEntry[i], pRowFraction[i], pColFraction[i], [](int n) { return n; });
    }
}

void Warper3::warp(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const
{
    const WideRowsForm* const pForm = instructionSet().m_pWideRows;
    if (pForm == nullptr || pForm->m_nBlendStep == 0 || !m_windows.isBuilt()) {
        blendPixels(pDst, pSrc, nRow, nCol, nWidth);
        return;
    }
    const WindowRow row{m_windows.bases(nRow), m_windows.indices(nRow), &m_rowFraction[nRow][0],
                        &m_colFraction[nRow][0], m_key.m_nStride};
    // Windows go by columns of the table: a view that begins between two of them has pixels in front.
    const int nStep = pForm->m_nBlendStep;
    const int nEnd = nCol + nWidth;
    const auto blendTo = [&](int nFrom, int nTo) {
        blendPixels(pDst + (nFrom - nCol), pSrc, nRow, nFrom, nTo - nFrom);
        return nTo;
    };
    int i = blendTo(nCol, std::min((nCol + nStep - 1) / nStep * nStep, nEnd));
    while (i < nEnd) {
        i = pForm->blendWindows(pDst + (i - nCol), pSrc, row, i, nEnd);
        i = blendTo(i, std::min(i + nStep, nEnd));
    }
}

void Warper3::warp(Pixel8x4* pDst, const Pixel8x4* pSrc, int nRow, int nCol, int nWidth) const
{
    const Blend blend(m_key);
    const int* pEntry = &m_map[nRow][nCol];
    const unsigned char* pRowFraction = &m_rowFraction[nRow][nCol];
    const unsigned char* pColFraction = &m_colFraction[nRow][nCol];
    for (int i = 0; i < nWidth; ++i) {
        const auto channel = [&](std::uint8_t Pixel8x4::*pLane) {
            return blend(pSrc + pEntry[i], pRowFraction[i], pColFraction[i],
                         [pLane](const Pixel8x4& rPixel) { return int{rPixel.*pLane}; });
        };
        pDst[i] = {channel(&Pixel8x4::m_ucBlue), channel(&Pixel8x4::m_ucGreen), channel(&Pixel8x4::m_ucRed), 0};
    }
}

BilinearWarper3::BilinearWarper3() = default;
BilinearWarper3::BilinearWarper3(const BilinearWarper3&) = default;
BilinearWarper3::~BilinearWarper3() = default;

void BilinearWarper3::build(const WarpMapFunc& rMap, const WarperKey& rKey)
{
    buildTables(rMap, rKey, KernelBilinear);
    init();
}

void BilinearWarper3::init()
{
    initRange();
    m_windows.build(m_map, m_key);
}

std::unique_ptr<Warper> BilinearWarper3::clone() const
{
    return std::unique_ptr<Warper>(new BilinearWarper3(*this));
}

} // namespace kestrova
