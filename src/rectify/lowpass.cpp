#include "rectify/lowpass.h"

#include "rectify/BoxAverage.h"
#include "rectify/Camera.h"
#include "rectify/fixedPoint.h"

namespace kestrova {

unsigned resolveMask(unsigned uMask, int nSource, int nDestination)
{
    if (uMask != 0 || nDestination < 1) {
        return uMask;
    }
    const auto uDestination = static_cast<unsigned>(nDestination); // unsigned: the sum of two sizes always fits
    return (static_cast<unsigned>(nSource) + uDestination - 1) / uDestination;
}

template<typename T>
Image<T> blackScratch(const ImageDim& rSize)
{
    FastScratchMemory scratch;
    Image<T> image(rSize, scratch);
    image.init(T{});
    return image;
}

template Image<unsigned char> blackScratch(const ImageDim& rSize);
template Image<Pixel8x4> blackScratch(const ImageDim& rSize);
template Image<Pixel16x4> blackScratch(const ImageDim& rSize);

namespace {

bool isPlainCopy(unsigned uMaskRows, unsigned uMaskCols, double dGain)
{
    return uMaskRows <= 1 && uMaskCols <= 1 && dGain == 1.0;
}

/** The sums of a box where no wide form takes them by columns: of this thread, kept for frames of the same size. */
struct KeptSums
{
    Image<unsigned short> m_row;
    BoxFilter m_box;

    void begin(const ImageDim& rSize, unsigned uMaskRows, unsigned uMaskCols)
    {
        if (m_row.size() != rSize) {
            m_row = Image<unsigned short>::constImage(rSize, 0);
        }
        m_box.reset(m_row, uMaskRows, uMaskCols);
    }
};

thread_local KeptSums t_sums;

} // namespace

void lowpassRectify(Image<unsigned char>& rDst, const Warper& rWarper, double dGain, const Image<unsigned char>& rSrc,
                    unsigned uMaskRows, unsigned uMaskCols, Image<unsigned char>& rTmp)
{
    uMaskRows = resolveMask(uMaskRows, rSrc.nRows(), rDst.nRows());
    uMaskCols = resolveMask(uMaskCols, rSrc.nCols(), rDst.nCols());
    if (isPlainCopy(uMaskRows, uMaskCols, dGain)) {
        rWarper.warp(rDst, rSrc);
        return;
    }
    if (uMaskRows > static_cast<unsigned>(rSrc.nRows()) || uMaskCols > static_cast<unsigned>(rSrc.nCols())) {
        rTmp.init(0);
        rWarper.warp(rDst, rTmp);
        return;
    }
    const auto nMaskRows = static_cast<int>(uMaskRows);
    const auto nMaskCols = static_cast<int>(uMaskCols);
    Image<unsigned char> interior(rTmp, rTmp.mask({nMaskRows, nMaskCols}), false);
    t_sums.begin(interior.size(), uMaskRows, uMaskCols);
    const int nScale = averageScale(dGain, uMaskRows, uMaskCols);
    const BoxPass pass{rTmp, interior, t_sums.m_row, t_sums.m_box, nScale, nMaskRows, nMaskCols};
    if (rWarper.key().m_eKernelType == KernelBilinear) {
        rWarper.warp(rDst, rSrc, pass);
        return;
    }
    BoxAverage average(pass, rSrc);
    for (int nRow = 0; nRow < rSrc.nRows(); ++nRow) {
        average.writeRow(average.addRow());
    }
    rTmp.border(0, nMaskRows / 2, nMaskCols / 2, (nMaskRows - 1) / 2, (nMaskCols - 1) / 2);
    rWarper.warp(rDst, rTmp);
}

bool lowpassRectify(Image<unsigned char>& rDst, Camera& rCamera, const Image<unsigned char>& rSrc,
                    const Rectification& rHow)
{
    const unsigned uMaskRows = resolveMask(rHow.m_uMaskRows, rSrc.nRows(), rDst.nRows());
    const unsigned uMaskCols = resolveMask(rHow.m_uMaskCols, rSrc.nCols(), rDst.nCols());
    const bool bPlain = isPlainCopy(uMaskRows, uMaskCols, rCamera.gain());
    const ImageDim mask{static_cast<int>(uMaskRows), static_cast<int>(uMaskCols)};
    Image<unsigned char> tmp = bPlain ? rSrc : rCamera.lowpassScratch(rSrc.size(), mask);
    const Warper* const pWarper =
        rCamera.getWarper({rDst.nRows(), rDst.nCols(), rSrc.nRows(), rSrc.nCols(), tmp.rowDistance(), rHow.m_nRowOffset,
                           rHow.m_nColOffset, rHow.m_eKernelType, rHow.m_nKernelSize});
    if (pWarper == nullptr) {
        return false;
    }
    lowpassRectify(rDst, *pWarper, rCamera.gain(), rSrc, uMaskRows, uMaskCols, tmp);
    return true;
}

void rectify(Image<unsigned char>& rDst, const Warper& rWarper, double dGain, const Image<unsigned char>& rSrc)
{
    Image<unsigned char> tmp = blackScratch<unsigned char>(rSrc.size());
    lowpassRectify(rDst, rWarper, dGain, rSrc, 1, 1, tmp);
}

} // namespace kestrova
