#include "kernels/processor.h"
#include "models.h"
#include "rectify/lowpass.h"
#include "rectify/unpackLowpass.h"

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
                ASSERT_TRUE(lowpassRectify(dst, *pCamera, src.image(), {c.uMaskRows, c.uMaskCols, 0, 37, eType, 5}));
                ASSERT_EQ(pixelsOf(dst), expected(c, src.image(), *pCamera, false))
                    << &c - sk_aCases << " kernel " << eType << " sse2 " << bSSE2;
            }
        }
    }
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

} // namespace
} // namespace kestrova::test
