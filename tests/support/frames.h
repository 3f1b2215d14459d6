// Random frames, settings and regions for tests that hold a correlator to a model of it.
#pragma once

#include "context/StereoContext.h"
#include "kernels/processor.h"
#include "stereo/twoCameraStereo.h"
#include "support/rows.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace support {

using Bytes = kestrova::Image<unsigned char>;
using Words = kestrova::Image<unsigned short>;
using kestrova::StereoContext;

/** The images of a frame, in memory without any slack, so that a read past a last row is found by the sanitizer. */
struct Frame
{
    std::vector<unsigned char> m_aPixels[3];
    Bytes m_aViews[3];
};

// Noise, faint noise (ties everywhere, next to no texture), and black on white against white on black, whose sums
// wrap in large masks. Shifted, the others are the first with a little noise for the fractions.
enum Texture : unsigned
{
    Noise,
    Faint,
    BlackAndWhite,
    ShiftedNoise,
    ShiftedFaint,
    Textures
};

/** Shifted, image 1 lies uStep pixels further for each disparity, a row's length for a camera along rows; image 2 one.
 */
inline Frame makeFrame(std::mt19937& rRandom, const StereoContext& r, Texture eTexture, int nShift,
                       std::size_t uStep = 1)
{
    Frame frame;
    for (unsigned i = 0; i < 3; ++i) {
        std::vector<unsigned char>& rPixels = frame.m_aPixels[i];
        rPixels.resize(static_cast<std::size_t>(r.m_nRows) * static_cast<std::size_t>(r.m_nCols));
        std::generate(rPixels.begin(), rPixels.end(), [&] {
            const auto u = static_cast<unsigned>(rRandom());
            const unsigned uPixel = eTexture % 3 == Faint       ? 127 + u % 3
                                    : eTexture == BlackAndWhite ? (u % 16 == 0) != (i == 0) ? 255U : 0U
                                                                : u;
            return static_cast<unsigned char>(uPixel);
        });
        const std::size_t uShift = static_cast<std::size_t>(nShift) * (i == 1 ? uStep : 1);
        for (std::size_t n = uShift; i > 0 && eTexture >= ShiftedNoise && n < rPixels.size(); ++n) {
            const int nPixel = frame.m_aPixels[0][n - uShift];
            rPixels[n] = static_cast<unsigned char>((nPixel * 3 + rPixels[n] + 2) / 4);
        }
        frame.m_aViews[i] = Bytes(r.m_nRows, r.m_nCols, rPixels.data());
    }
    return frame;
}

template<typename T>
void expectSame(const kestrova::Image<T>& rExpected, const kestrova::Image<T>& rActual)
{
    const auto expected = support::pixelsOf(rExpected), actual = support::pixelsOf(rActual);
    const auto nAt = std::mismatch(expected.begin(), expected.end(), actual.begin()).first - expected.begin();
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(nAt))
        << "at " << nAt / rExpected.nCols() << "," << nAt % rExpected.nCols() << " expected "
        << +expected[static_cast<std::size_t>(nAt)] << " got " << +actual[static_cast<std::size_t>(nAt)];
}

/** Every region gives the result of the model, and the frame then has its bytes. */
template<typename Model, typename Correlate>
void expectAsModel(StereoContext& r, bool bSSE2, Model model, Correlate correlate)
{
    SCOPED_TRACE(bSSE2 ? "sse2" : "mmx");
    Bytes expected8(r.m_nRows, r.m_nCols);
    Words expected16(r.m_nRows, r.m_nCols);
    expected8.init(r.m_ucSubpixelValidationMapping);
    expected16.init(static_cast<unsigned short>(KestrovaDisparity16Invalid + r.m_ucSubpixelValidationMapping));
    clearDisparityImages(r);
    kestrova::enableSSE2IfAvailable(bSSE2);
    for (int i = 0; i < r.m_nROICount; ++i) {
        const KestrovaROI& rRegion = r.m_aROIs[static_cast<std::size_t>(i)];
        const KestrovaError eExpected = model.run(rRegion, expected8, expected16);
        ASSERT_EQ(eExpected, correlate(rRegion)) << "region " << i;
    }
    kestrova::enableSSE2IfAvailable(true);
    expectSame(expected8, r.m_disparityImage);
    expectSame(expected16, r.m_disparityImage16);
}

template<typename T, std::size_t N>
T pick(std::mt19937& rRandom, const T (&aValues)[N])
{
    return aValues[rRandom() % N];
}

inline int between(std::mt19937& rRandom, int nLow, int nHigh)
{
    return nLow + static_cast<int>(rRandom() % static_cast<unsigned>(nHigh - nLow + 1));
}

inline void randomSettings(std::mt19937& rRandom, StereoContext& r)
{
    r.m_bEdgeCorrelation = rRandom() % 4 != 0;
    r.m_nEdgeMaskSize = pick(rRandom, {3, 7});
    r.m_nMinDisparity = pick(rRandom, {0, 0, 1, 5, 13});
    r.m_nMaxDisparity = r.m_nMinDisparity + pick(rRandom, {1, 2, 3, 4, 6, 7, 8, 14, 15, 16, 23, 32, 39});
    r.m_nDisparityOffset = pick(rRandom, {0, 0, 3, 30});
    r.m_nCols = r.m_nMaxDisparity + r.m_nStereoMaskSize + between(rRandom, 0, 35);
    r.m_nRows = r.m_nStereoMaskSize + between(rRandom, 4, 24);
    r.m_bDisparityMappingOn = rRandom() % 4 == 0;
    r.m_nDisparityMappingMin = pick(rRandom, {0, 10});
    r.m_nDisparityMappingMax = pick(rRandom, {32, 255});
    r.m_dTextureValidationThreshold = pick(rRandom, {0.0, 0.5, 3.7, 40.0, 128.0});
    r.m_dUniquenessValidationThreshold = pick(rRandom, {0.0, 0.3, 0.5, 0.9, 2.5, 10.0});
    for (bool* pSwitch : {&r.m_bSubpixelInterpolation, &r.m_bTextureValidation, &r.m_bUniquenessValidation,
                          &r.m_bBackForthValidation}) {
        *pSwitch = rRandom() % 2 == 0;
    }
    // The usual codes, or anything: below the labels, among them, between them and the codes.
    const bool bUsual = rRandom() % 3 != 0;
    for (std::uint8_t* pCode : {&r.m_ucTextureValidationMapping, &r.m_ucUniquenessValidationMapping,
                                &r.m_ucBackForthValidationMapping, &r.m_ucSubpixelValidationMapping}) {
        *pCode = bUsual ? *pCode : static_cast<std::uint8_t>(pick(rRandom, {0, 3, 17, 200, 240, 241, 249, 250, 255}));
    }
}

// The whole frame, or a few regions that may lie partly or wholly outside, overlap, or leave little to search.
inline void randomRegions(std::mt19937& rRandom, StereoContext& r)
{
    r.m_nROICount = pick(rRandom, {1, 1, 2, 3});
    for (int i = 0; i < r.m_nROICount; ++i) {
        r.m_aROIs[static_cast<std::size_t>(i)] = {between(rRandom, -3, r.m_nRows), between(rRandom, -3, r.m_nCols),
                                                  between(rRandom, 0, r.m_nRows), between(rRandom, 1, r.m_nCols)};
    }
    if (rRandom() % 2 == 0) {
        r.m_aROIs[0] = {0, 0, r.m_nRows, r.m_nCols};
    }
}

} // namespace support
