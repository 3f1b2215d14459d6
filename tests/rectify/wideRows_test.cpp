// Every form of the preprocessing rows against the plain one: sizes, alignments, masks and contents at random.
#include "kernels/InstructionSet.h"
#include "models.h"
#include "rectify/Warper3.h"
#include "rectify/boxFilters.h"
#include "rectify/lowpass.h"
#include "rectify/unpack.h"

namespace kestrova::test {
namespace {

class WideRows : public testing::TestWithParam<const InstructionSet*>
{
protected:
    void TearDown() override { forceInstructionSet(*supportedInstructionSets().back()); }

    int random(int nFrom, int nTo) { return std::uniform_int_distribution(nFrom, nTo)(m_random); }
    ImageDim randomSize(int nLeast, int nMost) { return {random(nLeast, 12), random(nLeast, nMost)}; }

    /** What run leaves in a part of an image, and around it, must not depend on the form. */
    template<typename Run>
    void expectPlainResult(const ImageDim& rSize, int nRowOffset, int nColOffset, Run run)
    {
        Image<unsigned char> aImages[2] = {Image<unsigned char>(20, 320), Image<unsigned char>(20, 320)};
        for (auto& rImage : aImages) {
            rImage.init(77);
            forceInstructionSet(&rImage == aImages ? *supportedInstructionSets().front() : *GetParam());
            auto view = rImage.region(nRowOffset, nColOffset, rSize);
            run(view);
        }
        ASSERT_EQ(pixelsOf(aImages[1]), pixelsOf(aImages[0]))
            << rSize.m_nRows << " x " << rSize.m_nCols << " at " << nColOffset;
    }

    std::mt19937 m_random{5};
};

TEST_P(WideRows, WarpsThatShrinkTiltAndLeaveTheSource)
{
    for (int i = 0; i < 150; ++i) {
        const ImageDim src = randomSize(1, i % 3 == 0 ? 20 : 200);
        const LentImage<unsigned char> source(src.m_nRows, src.m_nCols, src.m_nCols + random(0, 40),
                                              static_cast<unsigned>(i));
        const auto fTilt = static_cast<float>(random(-3, 3)) / 5;
        const auto fScale = static_cast<float>(random(-4, 5)) / 4;
        BilinearWarper3 warper;
        const FunctionMap map([=](float fRow, float fCol) {
            return std::pair(0.5F + 1.2F * (fRow - 0.5F) + fTilt * fCol, 0.5F + fScale * (fCol - 0.5F));
        });
        warper.build(map, src.m_nRows, src.m_nCols, source.image().rowDistance(), 20, 320, 0, 0, 0);
        const int nCol = random(0, 70);
        expectPlainResult({random(1, 12), random(1, 250)}, random(0, 8), nCol,
                          [&](Image<unsigned char>& rView) { warper.warp(rView, source.image()); });
    }
}

TEST_P(WideRows, AveragesThatSaturateAndWrap)
{
    for (int i = 0; i < 150; ++i) {
        const ImageDim src = randomSize(1, 150);
        const LentImage<unsigned char> source(src.m_nRows, src.m_nCols, src.m_nCols + random(0, 9),
                                              static_cast<unsigned>(i));
        const ImageDim mask = {random(1, std::min(src.m_nRows, 6)), random(1, std::min(src.m_nCols, 18))};
        const auto pCamera = camera(random(3, 14) * 0.4);
        // Twice each, so that what a frame leaves in the camera meets the next one.
        for (int nFrame = 0; nFrame < 2; ++nFrame) {
            expectPlainResult({12, 90}, 0, 0, [&](Image<unsigned char>& rView) {
                ASSERT_TRUE(lowpassRectify(rView, *pCamera, source.image(),
                                           {static_cast<unsigned>(mask.m_nRows), static_cast<unsigned>(mask.m_nCols), 0,
                                            0, i % 4 == 0 ? KernelNearest : KernelBilinear, 5}));
            });
        }
    }
}

TEST_P(WideRows, EdgesAtEveryLengthAndAlignment)
{
    for (int n = 1; n < 180; ++n) {
        const ImageDim mask = {random(1, 8), random(1, 17)};
        const ImageDim dst = {random(1, 4), n};
        const LentImage<unsigned char> source(dst.m_nRows + mask.m_nRows - 1, n + mask.m_nCols - 1,
                                              n + mask.m_nCols + 3, static_cast<unsigned>(n));
        for (const double dGain : {1.0, 5.0}) {
            expectPlainResult(dst, 0, random(0, 70), [&](Image<unsigned char>& rView) {
                boxEdgeFilter(rView, source.image(), static_cast<unsigned>(mask.m_nRows),
                              static_cast<unsigned>(mask.m_nCols), dGain);
            });
        }
    }
}

TEST_P(WideRows, ChannelsOfEveryLengthAndAlignment)
{
    for (int n = 1; n < 180; ++n) {
        const ImageDim size = {2, n};
        const LentImage<Pixel8x4> packed(2, n, n + random(0, 5), static_cast<unsigned>(n));
        expectPlainResult({8, n}, 0, random(0, 70), [&](Image<unsigned char>& rView) {
            Image<unsigned char> aPlanes[4] = {rView.region(0, 0, size), rView.region(2, 0, size),
                                               rView.region(4, 0, size), rView.region(6, 0, size)};
            unpackRGB(aPlanes[0], aPlanes[1], aPlanes[2], packed.image());
            Image<unsigned char>* const apOne[3] = {&aPlanes[3], &aPlanes[3], &aPlanes[3]};
            const bool abNeeded[3] = {n % 3 == 0, n % 3 == 1, n % 3 == 2};
            unpack32Bit(abNeeded, apOne, packed.image());
        });
    }
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(WideRows);
INSTANTIATE_TEST_SUITE_P(Forms, WideRows, testing::ValuesIn(supportedInstructionSets().subspan(1)),
                         [](const auto& rInfo) { return rInfo.param->m_pszName; });

} // namespace
} // namespace kestrova::test
