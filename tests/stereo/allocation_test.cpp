// What the whole-frame stages take from the allocator.
#include "context/StereoContext.h"
#include "kernels/InstructionSet.h"
#include "stereo/generalStereo.h"
#include "stereo/surfaceValidation.h"
#include "support/Faults.h"
#include "support/StereoFrame.h"
#include "support/frames.h"

using namespace kestrova;
using namespace support;
using kestrova::test::allocations;

namespace {

// Working memory belongs to the thread: once frames of a size have been, more of them allocate nothing.
TEST(GeneralStereo, AllocatesNothingOnceSizesAreSettled)
{
    if (instructionSet().m_bReference) {
        GTEST_SKIP() << "the reference ways allocate as they go";
    }
    for (const bool b16 : {false, true}) {
        for (const auto& [nSize, nMax] : {std::pair{90, 28}, {60, 28}, {60, 4}}) {
            std::mt19937 random(1);
            StereoContext r;
            r.m_nRows = r.m_nCols = nSize;
            r.m_nMaxDisparity = nMax;
            r.m_bSubpixelInterpolation = b16;
            const Frame frame = makeFrame(random, r, Noise, 0);
            clearDisparityImages(r);
            const unsigned nBefore = allocations();
            EXPECT_EQ(KestrovaErrorOk, generalStereo(r, {0, 0, nSize, nSize}, frame.m_aViews, 3));
            EXPECT_LE(allocations() - nBefore, nSize == 90 && !b16 ? 1U : 0U); // the first is the largest
        }
    }
}

// Nor for a frame, once sizes are settled.
TEST(TwoCameraStereo, AllocatesForTheFirstFrameOnly)
{
    if (instructionSet().m_bReference) {
        GTEST_SKIP() << "the reference ways allocate as they go";
    }
    for (const bool bChecks : {false, true}) {
        std::mt19937 random(1);
        StereoContext r;
        r.m_nRows = r.m_nCols = 90;
        r.m_nMaxDisparity = 31;
        r.m_bSubpixelInterpolation = r.m_bBackForthValidation = bChecks;
        const Frame frame = makeFrame(random, r, Noise, 0);
        clearDisparityImages(r);
        twoCameraStereo(r, {0, 0, 90, 90}, frame.m_aViews);
        const unsigned nBefore = allocations();
        clearDisparityImages(r);
        twoCameraStereo(r, {0, 0, 90, 90}, frame.m_aViews);
        EXPECT_EQ(nBefore, allocations());
    }
}

// No two pixels of these frames connect. The tables grow once, and frames of the same size allocate nothing more.
TEST(ValidateSurfaces, ManagesAMillionLabelsAndThenAllocatesNothing)
{
    for (const bool b16 : {false, true}) {
        StereoContext r;
        r.m_bSubpixelInterpolation = b16;
        r.m_nMaxDisparity = 240;
        r.m_disparityImage = Bytes(1000, 1000);
        r.m_disparityImage16 = Words(1000, 1000);
        for (int nFrame = 0; nFrame < 3; ++nFrame) {
            for (int i = 0; i < 1000000; ++i) {
                const int nValue = (i / 1000 + i) % 2 == 0 ? 10 : 100;
                r.m_disparityImage[i / 1000][i % 1000] = static_cast<unsigned char>(nValue);
                r.m_disparityImage16[i / 1000][i % 1000] = static_cast<unsigned short>(nValue * 256);
            }
            const unsigned nBefore = allocations();
            EXPECT_TRUE(validateSurfaces(&r));
            EXPECT_EQ(nFrame > 0, allocations() == nBefore);
            // The margin of a 16-bit image, and column 0 of an 8-bit one below its corner, stay as they are.
            const auto bytes = pixelsOf(r.m_disparityImage);
            const auto words = pixelsOf(r.m_disparityImage16);
            EXPECT_EQ(b16 ? 0 : 1000000 - 999, std::count(bytes.begin(), bytes.end(), 252));
            EXPECT_EQ(b16 ? 994 * 994 : 0, std::count(words.begin(), words.end(), 0xFFFC));
            EXPECT_EQ(b16 ? 994U * 994U : 1000000U, r.m_segmentContext.regionCount());
        }
        EXPECT_EQ(r.m_segmentContext.regionCount() + 1, g_nLastTableSize);
        EXPECT_EQ(1000001U, g_nPeakTableSize);
    }
}

// Of the two tables the first has grown when memory for the second is refused: the frame after that must not trust it.
TEST(ValidateSurfaces, BothTablesHoldTheLabelsAfterARefusedGrowth)
{
    bool bGranted = false;
    for (int nRefused = 1; !bGranted; ++nRefused) {
        StereoContext r;
        r.m_bSubpixelInterpolation = false;
        r.m_nMaxDisparity = 240;
        r.m_disparityImage = Bytes(50, 50);
        for (int i = 0; i < 50 * 50; ++i) { // each pixel a surface, and no size to reject it for
            r.m_disparityImage[i / 50][i % 50] = (i / 50 + i) % 2 == 0 ? 10 : 100;
        }
        r.m_nSurfaceValidationSize = 0;
        try {
            const kestrova::test::Refusal refusal(kestrova::test::Fault::Allocation, nRefused);
            bGranted = validateSurfaces(&r);
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(validateSurfaces(&r)); // once more, with all the memory it wants
        }
        const KesUIntVector& rSizes = r.m_segmentContext.sizeTable();
        EXPECT_TRUE(rSizes.size() == 2501 && rSizes.capacity() > 2501) << nRefused << ", " << rSizes.capacity();
    }
}

// Planes and packed frames, from memory as a camera driver gives it; the first frames settle sizes and warpers.
TEST(Preprocess, AllocatesNothingOnceSizesAreSettled)
{
    if (instructionSet().m_bReference) {
        GTEST_SKIP() << "the reference ways allocate as they go";
    }
    const kestrova::test::Handle handle = kestrova::test::open(kestrova::test::Shape::Horizontal);
    kestrova::test::StereoFrame frame(96, 128, 3, 5);
    ASSERT_EQ(kestrovaSetResolution(handle.get(), 48, 64), KestrovaErrorOk);
    for (const bool bPacked : {false, true}) {
        for (const int nLowpass : {0, 1}) {
            kestrovaSetLowpass(handle.get(), nLowpass);
            KestrovaInput input = bPacked ? frame.packed() : frame.planes();
            for (int nFrame = 0; nFrame < 4; ++nFrame) {
                const unsigned nBefore = allocations();
                ASSERT_EQ(kestrovaPreprocess(handle.get(), &input), KestrovaErrorOk);
                EXPECT_TRUE(nFrame == 0 || allocations() == nBefore) << bPacked << nLowpass << nFrame;
            }
        }
    }
}

} // namespace
