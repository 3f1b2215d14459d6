// Pixel arrays: small images worked out by hand, with guards behind what is written.
#include "kestrova_numerics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

constexpr uint8_t sk_ucGuard = 0xA5;

} // namespace

TEST(ImageArrays, PixelByPixel)
{
    const Bytes a = {10, 250, 7, 7, 255, 0};
    const Bytes b = {250, 10, 7, 8, 0, 255};
    Bytes out(7, sk_ucGuard);
    LYRImageDifference(a.data(), b.data(), out.data(), 2, 3);
    EXPECT_THAT(out, ElementsAre(240, 240, 0, 1, 255, 255, sk_ucGuard));
    LYRImageSubtract(a.data(), b.data(), out.data(), 3, 2);
    EXPECT_THAT(out, ElementsAre(0, 240, 0, 0, 255, 0, sk_ucGuard));
    LYRImageSubtract(b.data(), a.data(), out.data(), 3, 0);
    LYRImageSobelMMX(out.data(), out.data(), 2, 3);
    LYRMemsetMMX(out.data() + 5, 0x1FF, 1);
    LYRMemsetMMX(out.data(), 0, -1);
    EXPECT_THAT(out, ElementsAre(0, 240, 0, 0, 255, 255, sk_ucGuard));

    const Words words = {99, 100, 101, 0, 0xFFFF};
    Words kept(5);
    LYRImage16ThresholdHighValue(words.data(), 100, kept.data(), 1, 5);
    EXPECT_THAT(kept, ElementsAre(0, 100, 101, 0, 0xFFFF));
    LYRImage16ThresholdLowValue(words.data(), 100, kept.data(), 5, 1);
    EXPECT_THAT(kept, ElementsAre(99, 100, 0, 0, 0));

    float aOverlap[] = {1, 2, 4, 8, 16}; // out lies one before b: each value is read before it is written
    const float aOnes[] = {1, 1, 1, 1};
    LYRFloatImageSubtractAndMultiply(aOnes, aOverlap, 2, 2, aOverlap + 1, 0.5f);
    EXPECT_THAT(aOverlap, ElementsAre(1, 0, 0.5, 1.5, 3.5));
}

TEST(ImageArrays, SumsStartAtZero)
{
    const Bytes a = {10, 250, 7};
    const Bytes b = {250, 10, 8};
    for (const auto sad : {LYRImageSAD, LYRImageSADMMX}) {
        unsigned int uSum = 77;
        sad(a.data(), b.data(), &uSum, 1, 3);
        EXPECT_EQ(uSum, 481u);
        sad(a.data(), b.data(), &uSum, -1, 3);
        EXPECT_EQ(uSum, 0u);
    }
    unsigned int uSum = 77;
    LYRImagePixelSum(a.data(), &uSum, 3, 1);
    EXPECT_EQ(uSum, 267u);
}

TEST(ImageArrays, TheFirstBrightestPixel)
{
    const Words image = {1, 3, 9, 2, 9, 8, 10, 0};
    unsigned int uRow = 7;
    unsigned int uCol = 7;
    uint16_t usValue = 7;
    LYRImage16FindBrightestPixel(image.data(), 3, 2, 5, &uRow, &uCol, &usValue); // rows begin at pixels 0, 2 and 5
    EXPECT_TRUE(uRow == 2 && uCol == 1 && usValue == 10);
    LYRImage16FindBrightestPixel(image.data() + 1, 2, 2, 6, &uRow, &uCol, &usValue);
    EXPECT_TRUE(uRow == 0 && uCol == 1 && usValue == 9) << "the first of equals";
    LYRImage16FindBrightestPixel(image.data() + 7, 1, 1, 2, &uRow, &uCol, &usValue);
    EXPECT_TRUE(uRow == 0 && uCol == 0 && usValue == 0);
}

TEST(ImageSizes, HalvesPackTheirRowsAndMayOverlap)
{
    const Bytes even = {1, 2, 250, 251, 0, 3, 4, 252, 254, 0, 9, 9, 1, 0, 0, 9, 9, 1, 1, 0};
    Bytes out(5, sk_ucGuard);
    LYRImageHalfSize(even.data(), 4, 4, 5, out.data());
    EXPECT_THAT(out, ElementsAre(2, 251, 9, 0, sk_ucGuard));
    LYRImageHalfSizeFast(even.data(), 4, 4, 5, out.data());
    EXPECT_THAT(out, ElementsAre(1, 250, 9, 1, sk_ucGuard));

    Bytes odd(25);
    for (int i = 0; i < 25; ++i) {
        odd[i] = static_cast<uint8_t>(i);
    }
    Bytes packed(9, sk_ucGuard);
    LYRImageHalfSizeFast(odd.data(), 5, 5, 5, packed.data()); // rows begin at 0, 2 and 5
    EXPECT_THAT(packed, ElementsAre(0, 2, 10, 12, 14, 20, 22, 24, sk_ucGuard));
}

TEST(ImageSizes, TwoThirdsOfWholeBlocks)
{
    const float aImage[] = {16, 32, 48, -1, 64, 80, 96, -1, 112, 128, 144, -1, -1, -1, -1, -1};
    std::vector<float> out(5, -7);
    LYRFloatImageBilinearSubsample(aImage, 4, 4, out.data());
    EXPECT_THAT(out, ElementsAre(32, 56, 104, 128, -7)); // 0.5625 * 16 + 0.1875 * (64 + 32) + 0.0625 * 80
    const std::vector<float> flat(81, 0.003f);
    std::vector<float> same(36);
    LYRFloatImageBilinearSubsample(flat.data(), 9, 9, same.data());
    EXPECT_THAT(same, Each(0.003f)) << "exactly: the weights sum to 1 before rounding";
    std::vector<float> ramp(54);
    for (int i = 0; i < 54; ++i) {
        ramp[i] = static_cast<float>(i % 9);
    }
    std::vector<float> smaller(24);
    LYRFloatImageBilinearSubsample(ramp.data(), 6, 9, smaller.data());
    for (int i = 0; i < 24; ++i) {
        EXPECT_EQ(smaller[i], 0.25f + 1.5f * static_cast<float>(i % 6));
    }
}

TEST(HoughTransform, EveryPixelVotesForTheRingAroundIt)
{
    constexpr int nRows = 13;
    constexpr int nCols = 12;
    constexpr int nPitch = 14;
    for (const int nRadius : {0, 1, 2, 5, 6, 7}) {
        Bytes image(nRows * nCols, 0);
        image[6 * nCols + 5] = 200;
        image[6 * nCols + 6] = 100;
        Words expected(nRows * nPitch + 1, 0);
        expected.back() = 0xABCD;
        for (const int nCol : {5, 6}) { // a pixel less than the radius from any side does not vote
            const bool bVotes = nRadius > 0 && nRadius <= 6 && nCol >= nRadius && nCol < nCols - nRadius;
            for (int y = 1 - nRadius; bVotes && y < nRadius; ++y) {
                const int nReach = static_cast<int>(std::sqrt(nRadius * nRadius - y * y));
                for (const int nSign : {-1, 1}) {
                    expected[(6 + nSign * nReach) * nPitch + nCol + y] += image[6 * nCols + nCol];
                    if (y == 0) {
                        expected[6 * nPitch + nCol + nSign * nRadius] += image[6 * nCols + nCol];
                    }
                }
            }
        }
        Words accumulator(expected.size(), 0xABCD);
        LYRImageHoughTransform(image.data(), accumulator.data(), nRows, nCols, nCols, 2 * nPitch, nRadius);
        EXPECT_THAT(accumulator, ElementsAreArray(expected)) << nRadius;
    }
}
