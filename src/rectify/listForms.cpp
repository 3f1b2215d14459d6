#include "rectify/listForms.h"

#include "rectify/Camera.h"
#include "rectify/lowpass.h"
#include "rectify/unpack.h"
#include "rectify/unpackLowpass.h"

namespace kestrova {

namespace {

/** Three raw planes or temporaries of one size. */
struct ThreePlanes
{
    Image<unsigned char> m_red;
    Image<unsigned char> m_green;
    Image<unsigned char> m_blue;

    explicit ThreePlanes(const ImageDim& rSize)
        : m_red(blackScratch<unsigned char>(rSize)), m_green(blackScratch<unsigned char>(rSize)),
          m_blue(blackScratch<unsigned char>(rSize))
    {}
};

} // namespace

bool lowpassRectify(Image<unsigned char>& rDst, Camera& rCamera, const Image<unsigned char>& rSrc, unsigned uMaskRows,
                    unsigned uMaskCols, int nRowOffset, int nColOffset, KernelType eKernelType, int nKernelSize)
{
    return lowpassRectify(rDst, rCamera, rSrc,
                          {uMaskRows, uMaskCols, nRowOffset, nColOffset, eKernelType, nKernelSize});
}

bool unpackLowpassRectify(Image<unsigned char>& rA, Camera& rCameraA, Image<unsigned char>& rB, Camera& rCameraB,
                          Image<unsigned char>& rC, Camera& rCameraC, const Image<Pixel8x4>& rSrc, unsigned uMaskRows,
                          unsigned uMaskCols, int nRowOffset, int nColOffset, KernelType eKernelType, int nKernelSize)
{
    return unpackLowpassRectify({{{rA, rCameraA}, {rB, rCameraB}, {rC, rCameraC}}}, rSrc,
                                {uMaskRows, uMaskCols, nRowOffset, nColOffset, eKernelType, nKernelSize});
}

void unpackLowpassRectify(Image<unsigned char>& rA, const Camera& rCameraA, Image<unsigned char>& rB,
                          const Camera& rCameraB, Image<unsigned char>& rC, const Camera& rCameraC,
                          const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols)
{
    unpackLowpassRectify(rA, *rCameraA.currentWarper(), static_cast<float>(rCameraA.gain()), rB,
                         *rCameraB.currentWarper(), static_cast<float>(rCameraB.gain()), rC, *rCameraC.currentWarper(),
                         static_cast<float>(rCameraC.gain()), rSrc, uMaskRows, uMaskCols);
}

void unpackLowpassRectify(Image<unsigned char>& rA, const Warper& rWarperA, float fGainA, Image<unsigned char>& rB,
                          const Warper& rWarperB, float fGainB, Image<unsigned char>& rC, const Warper& rWarperC,
                          float fGainC, const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols)
{
    ThreePlanes raw(rSrc.size());
    unpackLowpassRectify(rA, rWarperA, fGainA, raw.m_red, rB, rWarperB, fGainB, raw.m_green, rC, rWarperC, fGainC,
                         raw.m_blue, rSrc, uMaskRows, uMaskCols);
}

void unpackLowpassRectify(Image<unsigned char>& rA, const Warper& rWarperA, float fGainA, Image<unsigned char>& rARaw,
                          Image<unsigned char>& rB, const Warper& rWarperB, float fGainB, Image<unsigned char>& rBRaw,
                          Image<unsigned char>& rC, const Warper& rWarperC, float fGainC, Image<unsigned char>& rCRaw,
                          const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols)
{
    ThreePlanes tmp(rSrc.size());
    unpackLowpassRectify(rA, rWarperA, fGainA, rARaw, tmp.m_red, rB, rWarperB, fGainB, rBRaw, tmp.m_green, rC, rWarperC,
                         fGainC, rCRaw, tmp.m_blue, rSrc, uMaskRows, uMaskCols);
}

void unpackLowpassRectify(Image<unsigned char>& rA, const Warper& rWarperA, float fGainA, Image<unsigned char>& rARaw,
                          Image<unsigned char>& rATmp, Image<unsigned char>& rB, const Warper& rWarperB, float fGainB,
                          Image<unsigned char>& rBRaw, Image<unsigned char>& rBTmp, Image<unsigned char>& rC,
                          const Warper& rWarperC, float fGainC, Image<unsigned char>& rCRaw,
                          Image<unsigned char>& rCTmp, const Image<Pixel8x4>& rSrc, unsigned uMaskRows,
                          unsigned uMaskCols)
{
    unpackRGB(rARaw, rBRaw, rCRaw, rSrc);
    lowpassRectify(rA, rWarperA, double{fGainA}, rARaw, uMaskRows, uMaskCols, rATmp);
    lowpassRectify(rB, rWarperB, double{fGainB}, rBRaw, uMaskRows, uMaskCols, rBTmp);
    lowpassRectify(rC, rWarperC, double{fGainC}, rCRaw, uMaskRows, uMaskCols, rCTmp);
}

} // namespace kestrova
