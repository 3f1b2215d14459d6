// Views of the context's images, and caller's memory as their storage.
#include "kestrova.h"
#include "support/StereoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using namespace kestrova::test;

constexpr auto sk_eOk = KestrovaErrorOk;
constexpr auto sk_eCamera = KestrovaErrorInvalidCamera;
constexpr auto sk_eRequest = KestrovaErrorInvalidRequest;

std::string withColour(Shape eShape)
{
    CalibrationText text(eShape);
    text.cameras.push_back({100, "0 0 0", "COLOR"});
    return text.text();
}

TEST(Images, ErrorsComeInOrder)
{
    struct Case
    {
        const char* pszText;
        int nType;
        int nCamera;
        bool bStereo, bSubpixel, bEdge;
        KestrovaError eGet, eGet16, eSet, eSet16;
    };
    const Case aCases[] = {
        {"pair", 0, 0, true, false, true, sk_eOk, sk_eRequest, sk_eOk, sk_eOk},
        {"pair", 0, 1, true, true, true, sk_eRequest, sk_eOk, sk_eOk, sk_eOk},
        {"pair", 0, 3, true, false, true, sk_eRequest, sk_eRequest, sk_eCamera, sk_eCamera},
        {"pair", 0, 2, true, false, true, sk_eCamera, sk_eRequest, sk_eCamera, sk_eCamera}, // no such camera
        {"L", 0, 2, true, false, true, sk_eRequest, sk_eRequest, sk_eCamera, sk_eCamera},   // but not this image
        {"pair", 1, 3, true, true, true, sk_eOk, sk_eRequest, sk_eRequest, sk_eCamera},     // no source size yet
        {"pair", 3, 3, true, true, true, sk_eOk, sk_eRequest, sk_eOk, sk_eCamera},
        {"pair", 3, 3, true, true, false, sk_eRequest, sk_eRequest, sk_eOk, sk_eCamera},
        {"pair", 4, 1, true, true, true, sk_eRequest, sk_eRequest, sk_eRequest, sk_eCamera},
        {"pair", -1, 2, true, true, true, sk_eCamera, sk_eRequest, sk_eCamera, sk_eCamera},
        {"pair", 2, 4, true, true, true, sk_eCamera, sk_eRequest, sk_eCamera, sk_eCamera},
        {"colour", 2, 4, true, true, true, sk_eOk, sk_eRequest, sk_eOk, sk_eCamera},
        {"colour", 0, 4, true, false, true, sk_eRequest, sk_eRequest, sk_eCamera, sk_eCamera},
    };
    for (const Case& rCase : aCases) {
        const std::string text = rCase.pszText;
        const Handle handle = text == "colour" ? openText(withColour(Shape::Horizontal))
                                               : open(text == "L" ? Shape::L : Shape::Horizontal);
        EXPECT_EQ(kestrovaSetDoStereo(handle.get(), rCase.bStereo), sk_eOk);
        EXPECT_EQ(kestrovaSetSubpixelInterpolation(handle.get(), rCase.bSubpixel), sk_eOk);
        EXPECT_EQ(kestrovaSetEdgeCorrelation(handle.get(), rCase.bEdge), sk_eOk);
        const auto eType = static_cast<KestrovaImageType>(rCase.nType);
        const auto eType16 = static_cast<KestrovaImage16Type>(rCase.nType);
        const auto eCamera = static_cast<KestrovaCamera>(rCase.nCamera);
        unsigned char ucCanary = 0;
        unsigned short usCanary = 0;
        KestrovaImage image{9, 9, 9, &ucCanary};
        KestrovaImage16 image16{9, 9, 9, &usCanary};
        const auto name = testing::Message() << text << ' ' << rCase.nType << ' ' << rCase.nCamera;
        EXPECT_EQ(kestrovaGetImage(handle.get(), eType, eCamera, &image), rCase.eGet) << name;
        EXPECT_EQ(kestrovaGetImage16(handle.get(), eType16, eCamera, &image16), rCase.eGet16) << name;
        // Nothing was made yet: a success describes an empty image, a failure leaves the record.
        EXPECT_EQ(image.nrows == 0 && image.rowinc == 0 && image.data == nullptr, rCase.eGet == sk_eOk) << name;
        EXPECT_EQ(image16.data == nullptr, rCase.eGet16 == sk_eOk) << name;
        EXPECT_EQ(kestrovaUnsetImageBuffer(handle.get(), eType, eCamera), rCase.eSet) << name;
        EXPECT_EQ(kestrovaUnsetImage16Buffer(handle.get(), eType16, eCamera), rCase.eSet16) << name;
    }
    KestrovaImage image{};
    KestrovaImage16 image16{};
    EXPECT_EQ(kestrovaGetImage(nullptr, KestrovaImgRaw, KestrovaCamRight, &image), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaGetImage16(nullptr, KestrovaImg16Disparity, KestrovaCamRight, &image16),
              KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaSetImageBuffer(nullptr, nullptr, KestrovaImgRaw, KestrovaCamRight), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaSetImage16Buffer(nullptr, nullptr, KestrovaImg16Disparity, KestrovaCamRight),
              KestrovaErrorInvalidContext);
}

TEST(Images, RawImagesSkipTheErrorOfTheLastRun)
{
    const Handle handle = open(Shape::Horizontal);
    KestrovaImage image{9, 9, 9, nullptr};
    KestrovaImage16 image16{9, 9, 9, nullptr};
    EXPECT_EQ(kestrovaStereo(handle.get()), sk_eRequest); // nothing was preprocessed
    EXPECT_EQ(kestrovaGetImage(handle.get(), KestrovaImgRectified, KestrovaCamRight, &image), sk_eRequest);
    EXPECT_EQ(kestrovaGetImage16(handle.get(), KestrovaImg16Disparity, KestrovaCamRight, &image16), sk_eRequest);
    EXPECT_EQ(image.nrows, 9);
    EXPECT_EQ(image16.nrows, 9);
    EXPECT_EQ(kestrovaGetImage(handle.get(), KestrovaImgRaw, KestrovaCamRight, &image), sk_eOk);
    EXPECT_EQ(image.nrows, 0);
}

/** Lends memory for every image of a run and expects the bytes of an unlent run in it, rows without gaps. */
TEST(Images, CallersBuffersReceiveEveryImage)
{
    constexpr int nRows = 33;
    constexpr int nCols = 44;
    StereoFrame frame(nRows, nCols, 5);
    KestrovaInput input = frame.packed();
    const std::pair<KestrovaImageType, KestrovaCamera> aImages[] = {
        {KestrovaImgRectified, KestrovaCamRight}, {KestrovaImgRectified, KestrovaCamLeft},
        {KestrovaImgEdge, KestrovaCamRight},      {KestrovaImgEdge, KestrovaCamLeft},
        {KestrovaImgRaw, KestrovaCamRight},       {KestrovaImgDisparity, KestrovaCamReference}};
    std::vector<std::vector<std::uint8_t>> results[2];
    std::vector<std::uint16_t> result16[2];
    std::vector<std::vector<std::uint8_t>> buffers(std::size(aImages), std::vector<std::uint8_t>(nRows * nCols + 1, 7));
    std::vector<std::uint16_t> buffer16(nRows * nCols + 1, 7);
    for (const bool bLent : {false, true}) {
        const Handle handle = open(Shape::Horizontal);
        KestrovaContext c = handle.get();
        EXPECT_EQ(kestrovaSetResolution(c, nRows, nCols), sk_eOk);
        EXPECT_EQ(kestrovaSetSourceResolution(c, nRows, nCols), sk_eOk);
        EXPECT_EQ(kestrovaSetDisparity(c, 0, 12), sk_eOk);
        for (std::size_t i = 0; bLent && i < std::size(aImages); ++i) {
            EXPECT_EQ(kestrovaSetImageBuffer(c, buffers[i].data(), aImages[i].first, aImages[i].second), sk_eOk);
        }
        if (bLent) {
            EXPECT_EQ(kestrovaSetImage16Buffer(c, buffer16.data(), KestrovaImg16Disparity, KestrovaCamRight), sk_eOk);
        }
        EXPECT_EQ(kestrovaPreprocess(c, &input), sk_eOk);
        EXPECT_EQ(kestrovaStereo(c), sk_eOk);
        result16[bLent] = disparity16(c);
        EXPECT_TRUE(!bLent || std::equal(result16[1].begin(), result16[1].end(), buffer16.begin()));
        EXPECT_EQ(kestrovaSetSubpixelInterpolation(c, 0), sk_eOk);
        EXPECT_EQ(kestrovaStereo(c), sk_eOk);
        for (const auto& [eType, eCamera] : aImages) {
            KestrovaImage record{};
            EXPECT_EQ(kestrovaGetImage(c, eType, eCamera, &record), sk_eOk);
            EXPECT_EQ(record.rowinc, bLent ? nCols : 64); // no gaps, or rows on 32 bytes
            results[bLent].push_back(pixelsOf(record));
        }
        // Of another size, or unset, the context has storage of its own again and leaves the buffer alone.
        EXPECT_EQ(kestrovaUnsetImageBuffer(c, KestrovaImgDisparity, KestrovaCamRight), sk_eOk);
        EXPECT_EQ(kestrovaSetResolution(c, 30, 40), sk_eOk);
        EXPECT_EQ(kestrovaPreprocess(c, &input), sk_eOk);
        EXPECT_EQ(kestrovaStereo(c), sk_eOk);
        for (const KestrovaImageType eType : {KestrovaImgDisparity, KestrovaImgRectified, KestrovaImgEdge}) {
            KestrovaImage record{};
            EXPECT_EQ(kestrovaGetImage(c, eType, KestrovaCamRight, &record), sk_eOk);
            EXPECT_TRUE(record.nrows == 30 && record.rowinc == 64);
        }
    }
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(result16[0], result16[1]);
    for (std::size_t i = 0; i < std::size(aImages); ++i) {
        results[0][i].push_back(7); // what follows the last pixel
        EXPECT_EQ(buffers[i], results[0][i]) << i;
    }
    EXPECT_EQ(buffer16.back(), 7);
}

} // namespace
