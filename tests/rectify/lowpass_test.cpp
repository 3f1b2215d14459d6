#include "models.h"
#include "rectify/lowpass.h"
#include "rectify/unpackLowpass.h"
#include "stereo/processor.h"

namespace kestrova::test {
namespace {

struct Case
{
    ImageDim src;
    int nPadding;
    ImageDim dst;
    unsigned uMaskRows, uMaskCols; // 0 is automatic
    double dGain;
    int nWantedRows, nWantedCols; // the mask in force
};

// Widths on and off multiples of 32, where the border cursor of the bilinear form keeps step or drifts.
const Case sk_aCases[] = {
    {{48, 64}, 0, {24, 32}, 0, 0, 1.0, 2, 2},  {{48, 64}, 7, {48, 64}, 0, 0, 1.0, 1, 1},
    {{48, 64}, 0, {48, 64}, 0, 0, 1.25, 1, 1}, {{49, 65}, 3, {24, 32}, 0, 0, 1.0, 3, 3},
    {{45, 60}, 0, {15, 20}, 0, 0, 1.7, 3, 3},  {{31, 96}, 1, {40, 50}, 4, 5, 2.5, 4, 5},
    {{31, 97}, 0, {40, 50}, 6, 4, 0.9, 6, 4},  {{30, 37}, 5, {12, 16}, 1, 7, 1.0, 1, 7},
    {{30, 37}, 0, {12, 16}, 7, 1, 1.9, 7, 1},  {{12, 9}, 0, {12, 16}, 3, 3, 3.0, 3, 3},
    {{12, 9}, 0, {12, 16}, 3, 6, 1.2, 3, 6},   {{9, 33}, 2, {9, 12}, 9, 2, 1.0, 9, 2},
    {{5, 6}, 0, {3, 4}, 6, 2, 1.0, 6, 2},
};

/** The model's result for a case; masks that do not fit give black. */
Bytes expected(const Case& c, const Image<unsigned char>& rSrc, const Camera& rCamera, bool bPacked)
{
    if (c.nWantedRows > c.src.m_nRows) {
        return Bytes(static_cast<std::size_t>(c.dst.m_nRows * c.dst.m_nCols));
    }
    const FunctionMap map(bentMap);
    return modelLowpass(rSrc, *rCamera.currentWarper(), map, c.dGain, c.nWantedRows, c.nWantedCols, bPacked);
}

TEST(Lowpass, MatchesTheModelForEveryMaskGainAndStride)
{
    for (const Case& c : sk_aCases) {
        for (const KernelType eType : {KernelNearest, KernelBilinear, static_cast<KernelType>(9)}) {
            for (const bool bSSE2 : {false, true}) {
                enableSSE2IfAvailable(bSSE2);
                LentImage<unsigned char> src(c.src.m_nRows, c.src.m_nCols, c.src.m_nCols + c.nPadding, 11);
                const auto pCamera = camera(c.dGain);
                Image<unsigned char> dst(c.dst);
                ASSERT_TRUE(lowpassRectify(dst, *pCamera, src.image(), c.uMaskRows, c.uMaskCols, 0, 37, eType, 5));
                ASSERT_EQ(pixelsOf(dst), expected(c, src.image(), *pCamera, false))
                    << &c - sk_aCases << " kernel " << eType << " sse2 " << bSSE2;
            }
        }
    }
}

TEST(Lowpass, SlicesAndMissingWarpers)
{
    const auto pCamera = camera();
    const Image<unsigned char> src = seededImage<unsigned char>(40, 64, 5);
    Image<unsigned char> whole(30, 45);
    for (const KernelType eType : {KernelNearest, KernelBilinear}) {
        for (const double dGain : {1.0, 1.5}) {
            const Warper& rWarper = *pCamera->getWarper(30, 45, 40, 64, 64, 0, 0, eType, 5);
            rectify(whole, rWarper, dGain, src);
            Image<unsigned char> slice(Image<unsigned char>(30, 45), {20, 5, 10, 40}, true);
            rectify(slice, rWarper, dGain, src);
            EXPECT_EQ(pixelsOf(slice), pixelsOf(whole.region(20, 5, 10, 40))) << eType << ' ' << dGain;
        }
    }
    const auto before = pixelsOf(whole);
    pCamera->deleteWarpMapFuncs();
    EXPECT_FALSE(lowpassRectify(whole, *pCamera, src, 1, 1, 0, 0, KernelBilinear, 5));
    EXPECT_EQ(pixelsOf(whole), before);
}

/** One lane of a packed image. */
Image<unsigned char> laneOf(const Image<Pixel8x4>& rPacked, std::uint8_t Pixel8x4::*pLane)
{
    Image<unsigned char> lane(rPacked.size());
    for (int i = 0; i < rPacked.nRows() * rPacked.nCols(); ++i) {
        lane[i / rPacked.nCols()][i % rPacked.nCols()] = rPacked[i / rPacked.nCols()][i % rPacked.nCols()].*pLane;
    }
    return lane;
}

TEST(UnpackLowpass, PackedMatchesTheModelLaneByLane)
{
    for (const Case& c : sk_aCases) {
        LentImage<Pixel8x4> src(c.src.m_nRows, c.src.m_nCols, c.src.m_nCols + c.nPadding, 13);
        const auto pCamera = camera(c.dGain);
        Image<Pixel8x4> dst(c.dst);
        ASSERT_TRUE(unpackLowpassRectify(dst, *pCamera, src.image(), c.uMaskRows, c.uMaskCols));
        for (const auto pLane : {&Pixel8x4::m_ucBlue, &Pixel8x4::m_ucGreen, &Pixel8x4::m_ucRed}) {
            ASSERT_EQ(pixelsOf(laneOf(dst, pLane)), expected(c, laneOf(src.image(), pLane), *pCamera, true))
                << &c - sk_aCases;
        }
        const auto fourth = pixelsOf(laneOf(dst, &Pixel8x4::m_ucFourth));
        ASSERT_EQ(fourth, Bytes(fourth.size())) << &c - sk_aCases;
    }
}

TEST(UnpackLowpass, PlaneFormsAgreeWithUnpackingByHand)
{
    const LentImage<Pixel8x4> packed(48, 70, 71, 17);
    const Image<unsigned char> aRaw[3] = {laneOf(packed.image(), &Pixel8x4::m_ucRed),
                                          laneOf(packed.image(), &Pixel8x4::m_ucGreen),
                                          laneOf(packed.image(), &Pixel8x4::m_ucBlue)};
    const std::unique_ptr<Camera> apCameras[3] = {camera(1.0), camera(1.5), camera(0.5)};
    Image<unsigned char> aOut[3] = {Image<unsigned char>(24, 32), Image<unsigned char>(24, 32),
                                    Image<unsigned char>(24, 32)};
    const auto planes = [&] { return std::vector{pixelsOf(aOut[0]), pixelsOf(aOut[1]), pixelsOf(aOut[2])}; };
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(lowpassRectify(aOut[i], *apCameras[i], aRaw[i], 0, 0, 5, 6, KernelBilinear, 5));
    }
    const auto expected = planes();
    for (const bool bCurrent : {false, true}) {
        for (Image<unsigned char>& rOut : aOut) {
            rOut.init(0);
        }
        if (bCurrent) {
            unpackLowpassRectify(aOut[0], *apCameras[0], aOut[1], *apCameras[1], aOut[2], *apCameras[2], packed.image(),
                                 0U, 0U);
        } else {
            EXPECT_TRUE(unpackLowpassRectify(aOut[0], *apCameras[0], aOut[1], *apCameras[1], aOut[2], *apCameras[2],
                                             packed.image(), 0, 0, 5, 6, KernelBilinear, 5));
        }
        EXPECT_EQ(planes(), expected) << bCurrent;
    }
}

} // namespace
} // namespace kestrova::test
