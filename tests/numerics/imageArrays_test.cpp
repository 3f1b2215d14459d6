// Pixel arrays: small images worked out by hand, with guards behind what is written.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

using testing::Each;
using testing::ElementsAre;

namespace {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

} // namespace

TEST(ImageArrays, PixelByPixel)
{
    const Bytes a = {10, 250, 7, 7, 255, 0};
    const Bytes b = {250, 10, 7, 8, 0, 255};
    Bytes out(7, 77);
    LYRImageDifference(a.data(), b.data(), out.data(), 2, 3);
    EXPECT_THAT(out, ElementsAre(240, 240, 0, 1, 255, 255, 77));
    LYRImageSubtract(a.data(), b.data(), out.data(), 3, 2);
    LYRImageSubtract(b.data(), a.data(), out.data(), 3, 0);
    LYRImageSobelMMX(out.data(), out.data(), 2, 3);
    LYRMemsetMMX(out.data() + 5, 0x1FF, 1);
    LYRMemsetMMX(out.data(), 0, -1);
    EXPECT_THAT(out, ElementsAre(0, 240, 0, 0, 255, 255, 77));

    unsigned int auSums[] = {77, 77, 77, 77};
    LYRImageSAD(a.data(), b.data(), auSums, 1, 4);
    LYRImageSADMMX(a.data(), b.data(), auSums + 1, 2, 2);
    LYRImageSAD(a.data(), b.data(), auSums + 2, -1, 3);
    LYRImagePixelSum(a.data(), auSums + 3, 3, 2);
    EXPECT_THAT(auSums, ElementsAre(481, 481, 0, 529));

    const Words words = {99, 100, 101, 0, 0xFFFF};
    Words kept(5);
    LYRImage16ThresholdHighValue(words.data(), 100, kept.data(), 1, 5);
    EXPECT_THAT(kept, ElementsAre(0, 100, 101, 0, 0xFFFF));
    LYRImage16ThresholdLowValue(words.data(), 100, kept.data(), 5, 1);
    EXPECT_THAT(kept, ElementsAre(99, 100, 0, 0, 0));

    float aOverlap[] = {1, 2, 4, 8, 16}; // out lies one behind b: each value is read before it is written
    LYRFloatImageSubtractAndMultiply(std::array{1.f, 1.f, 1.f, 1.f}.data(), aOverlap, 2, 2, aOverlap + 1, 0.5f);
    EXPECT_THAT(aOverlap, ElementsAre(1, 0, 0.5, 1.5, 3.5));
}

TEST(ImageArrays, TheFirstBrightestPixel)
{
    const Words image = {1, 3, 9, 2, 9, 8, 10, 0};
    const auto brightest = [&](int nStart, int nRows, int nCols, int nRowBytes) {
        unsigned int auPlace[] = {7, 7};
        uint16_t usValue = 7;
        LYRImage16FindBrightestPixel(image.data() + nStart, nRows, nCols, nRowBytes, auPlace, auPlace + 1, &usValue);
        return std::array<unsigned, 3>{auPlace[0], auPlace[1], usValue};
    };
    EXPECT_THAT(brightest(0, 3, 2, 5), ElementsAre(2, 1, 10)) << "rows begin at pixels 0, 2 and 5";
    EXPECT_THAT(brightest(1, 2, 2, 6), ElementsAre(0, 1, 9)) << "the first of equals";
    EXPECT_THAT(brightest(7, 1, 1, 2), ElementsAre(0, 0, 0));
}

TEST(ImageSizes, HalvesPackTheirRowsAndMayOverlap)
{
    const Bytes even = {1, 2, 250, 251, 0, 3, 4, 252, 254, 0, 9, 9, 1, 0, 0, 9, 9, 1, 1, 0};
    Bytes out(9, 77);
    LYRImageHalfSize(even.data(), 4, 4, 5, out.data());
    EXPECT_THAT(out, ElementsAre(2, 251, 9, 0, 77, 77, 77, 77, 77));
    LYRImageHalfSizeFast(even.data(), 4, 5, 5, out.data()); // 3 pixels each, rows begin at 0 and 2
    EXPECT_THAT(out, ElementsAre(1, 250, 9, 1, 0, 77, 77, 77, 77));
    LYRImageHalfSizeFast(even.data(), 5, 3, 4, out.data()); // 2 pixels each, rows begin at 0, 1 and 3
    EXPECT_THAT(out, ElementsAre(1, 254, 9, 9, 1, 77, 77, 77, 77));
    for (int nRows = 1; nRows < 8; ++nRows) { // the size that is told, and no pixel more
        for (int nCols = 1; nCols < 8; ++nCols) {
            const Bytes in(64, 5);
            const auto uNeeded = static_cast<std::size_t>((nRows - 1) / 2 * nCols / 2 + (nCols + 1) / 2);
            Bytes small(uNeeded + 1, 77), wanted(uNeeded + 1, 5);
            wanted.back() = 77;
            LYRImageHalfSize(in.data(), nRows, nCols, 7, small.data());
            EXPECT_EQ(small, wanted) << nRows << ' ' << nCols;
        }
    }
}

TEST(ImageSizes, TwoThirdsOfWholeBlocks)
{
    const float aImage[] = {16, 32, 48, -1, 64, 80, 96, -1, 112, 128, 144, -1, -1, -1, -1, -1};
    std::vector<float> out(25, -7);
    LYRFloatImageBilinearSubsample(aImage, 4, 4, out.data());
    out.resize(5);
    EXPECT_THAT(out, ElementsAre(32, 56, 104, 128, -7)); // 0.5625 * 16 + 0.1875 * (64 + 32) + 0.0625 * 80
    std::vector<float> ramp(54);
    out.resize(24);
    std::iota(ramp.begin(), ramp.end(), 0.0f);
    LYRFloatImageBilinearSubsample(ramp.data(), 6, 9, out.data());
    EXPECT_TRUE(out[0] == 2.5f && out[5] == 10 && out[11] == 23.5f && out[23] == 50.5f);
    std::fill(ramp.begin(), ramp.end(), 0.003f);
    LYRFloatImageBilinearSubsample(ramp.data(), 6, 9, out.data());
    EXPECT_THAT(out, Each(0.003f)) << "exactly: the weights sum to 1 before rounding";
}

TEST(HoughTransform, EveryPixelVotesForTheRingAroundIt)
{
    constexpr int nPitch = 9;
    const std::vector<int> aRings[] = {{}, {-9, -1, 1, 9}, {-18, -10, -8, -2, 2, 8, 10, 18}, {}};
    for (int nRadius = 0; nRadius < 4; ++nRadius) {
        Bytes image(6 * 7, 0);
        image[2 * 7 + 3] = 200; // both have just room for radius 2, and none for 3
        image[3 * 7 + 3] = 100;
        Words expected(6 * nPitch + 1, 0);
        Words accumulator(expected.size(), 0xABCD);
        for (const int nOffset : aRings[nRadius]) {
            expected[2 * nPitch + 3 + nOffset] += uint16_t{200};
            expected[3 * nPitch + 3 + nOffset] += uint16_t{100};
        }
        expected.back() = 0xABCD;
        LYRImageHoughTransform(image.data(), accumulator.data(), 6, 7, 7, 2 * nPitch, nRadius);
        EXPECT_EQ(accumulator, expected) << nRadius;
    }
}
