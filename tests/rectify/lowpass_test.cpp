#include "models.h"
#include "rectify/lowpass.h"
#include "rectify/unpack.h"
#include "rectify/unpackLowpass.h"
#include "stereo/processor.h"

namespace kestrova::test {
namespace {

struct Case
{
    ImageDim src;
    int nPadding;
    ImageDim dst;
    int nMaskRows, nMaskCols; // 0 is automatic
    double dGain;
    int nWantedRows, nWantedCols; // the mask in force
};

// Widths on and off multiples of 32, where the border cursor of the bilinear form keeps step or drifts.
const Case sk_aCases[] = {
    {{48, 64}, 0, {24, 32}, 0, 0, 1.0, 2, 2},  {{48, 64}, 7, {48, 64}, 0, 0, 1.0, 1, 1},
    {{48, 64}, 0, {48, 64}, 0, 0, 1.25, 1, 1}, {{49, 65}, 3, {24, 32}, 0, 0, 1.0, 3, 3},
    {{45, 60}, 0, {15, 20}, 0, 0, 1.7, 3, 3},  {{31, 96}, 1, {40, 50}, 4, 5, 2.5, 4, 5},
    {{31, 97}, 0, {40, 50}, 5, 4, 0.3, 5, 4},  {{30, 37}, 5, {12, 16}, 1, 7, 1.0, 1, 7},
    {{30, 37}, 0, {12, 16}, 7, 1, 1.9, 7, 1},  {{12, 9}, 0, {12, 16}, 3, 3, 3.0, 3, 3},
    {{12, 9}, 0, {12, 16}, 3, 6, 1.2, 3, 6},   {{9, 33}, 2, {9, 12}, 9, 2, 1.0, 9, 2},
    {{5, 6}, 0, {3, 4}, 6, 2, 1.0, 6, 2},
};

class Lowpass : public testing::TestWithParam<bool>
{
protected:
    void SetUp() override { enableSSE2IfAvailable(GetParam()); }
    void TearDown() override { enableSSE2IfAvailable(true); }
};

TEST_P(Lowpass, MatchesTheModelForEveryMaskGainAndStride)
{
    const FunctionMap map(bentMap);
    for (const Case& c : sk_aCases) {
        for (const KernelType eType : {KernelNearest, KernelBilinear, static_cast<KernelType>(9)}) {
            LentImage<unsigned char> src(c.src.m_nRows, c.src.m_nCols, c.src.m_nCols + c.nPadding, 11);
            const auto pCamera = camera(c.dGain);
            Image<unsigned char> dst(c.dst);
            ASSERT_TRUE(lowpassRectify(dst, *pCamera, src.image(), static_cast<unsigned>(c.nMaskRows),
                                       static_cast<unsigned>(c.nMaskCols), 0, 37, eType, 5));
            const std::vector<unsigned char> expected =
                c.nWantedRows > c.src.m_nRows
                    ? std::vector<unsigned char>(static_cast<std::size_t>(c.dst.m_nRows * c.dst.m_nCols))
                    : modelLowpass(src.image(), *pCamera->currentWarper(), map, c.dGain, c.nWantedRows, c.nWantedCols);
            ASSERT_EQ(pixelsOf(dst), expected) << &c - sk_aCases << " kernel " << eType;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, Lowpass, testing::Bool(),
                         [](const auto& rInfo) { return rInfo.param ? "sse2" : "mmx"; });

TEST(Lowpass, SlicesAndMissingWarpers)
{
    const auto pCamera = camera(1.5);
    const Image<unsigned char> src = seededImage<unsigned char>(40, 64, 5);
    const Warper& rWarper = *pCamera->getWarper(30, 45, 40, 64, 64, 0, 0, KernelBilinear, 5);
    Image<unsigned char> whole(30, 45);
    rectify(whole, rWarper, 1.5, src);
    Image<unsigned char> slice(Image<unsigned char>(30, 45), {20, 5, 10, 40}, true);
    rectify(slice, rWarper, 1.5, src);
    EXPECT_EQ(pixelsOf(slice), pixelsOf(whole.region(20, 5, 10, 40)));

    const auto before = pixelsOf(whole);
    EXPECT_FALSE(lowpassRectify(whole, *pCamera, src, 1, 1, 0, 0, KernelGauss, 5));
    EXPECT_EQ(pixelsOf(whole), before);
}

/** Lane by lane: a packed frame is three grey ones, except that every pixel has four places in a group of its row. */
TEST(UnpackLowpass, PackedMatchesTheModel)
{
    const FunctionMap map(bentMap);
    for (const Case& c : sk_aCases) {
        LentImage<Pixel8x4> src(c.src.m_nRows, c.src.m_nCols, c.src.m_nCols + c.nPadding, 13);
        const auto pCamera = camera(c.dGain);
        Image<Pixel8x4> dst(c.dst);
        ASSERT_TRUE(unpackLowpassRectify(dst, *pCamera, src.image(), static_cast<unsigned>(c.nMaskRows),
                                         static_cast<unsigned>(c.nMaskCols)));
        const int nOut = c.src.m_nCols + 1 - c.nWantedCols;
        const bool bPlain = c.nWantedRows * c.nWantedCols == 1 && c.dGain == 1.0;
        const auto average = [&](int nRow, int nCol, std::uint8_t Pixel8x4::*pLane, int nLane) -> int {
            const int nTop = nRow - c.nWantedRows / 2;
            const int nLeft = nCol - c.nWantedCols / 2;
            // Rows shorter than nearly twice the mask are not summed at all.
            const bool bReached = nTop >= 0 && nLeft >= 0 && nTop + c.nWantedRows <= c.src.m_nRows && nLeft < nOut &&
                                  nOut >= c.nWantedCols;
            if (!bReached || bPlain) {
                return bPlain ? src.image()[nRow][nCol].*pLane : 0;
            }
            int nSum = 0;
            for (int i = 0; i < c.nWantedRows * c.nWantedCols; ++i) {
                nSum += src.image()[nTop + i / c.nWantedCols][nLeft + i % c.nWantedCols].*pLane;
            }
            return modelPack(4 * nLeft + nLane, 4 * nOut, nSum, c.dGain, c.nWantedRows * c.nWantedCols);
        };
        for (int r = 0; r < c.dst.m_nRows; ++r) {
            for (int nCol = 0; nCol < c.dst.m_nCols; ++nCol) {
                const Entry e = modelEntry(pCamera->currentWarper()->key(), map, r, nCol, true);
                const auto lane = [&](std::uint8_t Pixel8x4::*pLane, int nLane) {
                    return int{modelPixel(e, [&](int i, int j) { return average(i, j, pLane, nLane); })};
                };
                const Pixel8x4 p = dst[r][nCol];
                ASSERT_EQ(p.m_ucBlue, lane(&Pixel8x4::m_ucBlue, 0)) << &c - sk_aCases << " at " << r << ' ' << nCol;
                ASSERT_EQ(p.m_ucRed, lane(&Pixel8x4::m_ucRed, 2)) << &c - sk_aCases << " at " << r << ' ' << nCol;
                ASSERT_EQ(p.m_ucFourth, 0);
            }
        }
    }
}

TEST(UnpackLowpass, PlaneFormsAgreeWithUnpackingByHand)
{
    const LentImage<Pixel8x4> packed(48, 70, 71, 17);
    Image<unsigned char> aRaw[3] = {Image<unsigned char>(48, 70), Image<unsigned char>(48, 70),
                                    Image<unsigned char>(48, 70)};
    unpackRGB(aRaw[0], aRaw[1], aRaw[2], packed.image());
    const std::unique_ptr<Camera> apCameras[3] = {camera(1.0), camera(1.5), camera(0.5, sameMap)};
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
