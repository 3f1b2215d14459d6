// Views of the context's images, and caller's memory as their storage.
#include "support/StereoFrame.h"

namespace {

using namespace kestrova::test;

constexpr auto sk_eOk = KestrovaErrorOk;
constexpr auto sk_eCamera = KestrovaErrorInvalidCamera;
constexpr auto sk_eRequest = KestrovaErrorInvalidRequest;

Handle openColour()
{
    CalibrationText text(Shape::Horizontal);
    text.cameras.push_back({100, "0 0 0", "COLOR"});
    return openText(text.text());
}

TEST(Images, ErrorsComeInOrder)
{
    const struct
    {
        char cSet; // pair, L, or pair with colour
        int nType, nCamera;
        bool bStereo, bSubpixel, bEdge;
        KestrovaError eGet, eGet16, eSet, eSet16;
    } aCases[] = {
        {'2', 0, 0, true, false, true, sk_eOk, sk_eRequest, sk_eOk, sk_eOk},
        {'2', 0, 1, true, true, true, sk_eRequest, sk_eOk, sk_eOk, sk_eOk},
        {'2', 0, 3, true, false, true, sk_eRequest, sk_eRequest, sk_eCamera, sk_eCamera},
        {'2', 0, 2, true, false, true, sk_eCamera, sk_eRequest, sk_eCamera, sk_eCamera},  // no such camera
        {'L', 0, 2, true, false, true, sk_eRequest, sk_eRequest, sk_eCamera, sk_eCamera}, // but not this image
        {'2', 1, 3, true, true, true, sk_eOk, sk_eRequest, sk_eRequest, sk_eCamera},      // no source size yet
        {'2', 3, 3, true, true, true, sk_eOk, sk_eRequest, sk_eOk, sk_eCamera},
        {'2', 3, 3, true, true, false, sk_eRequest, sk_eRequest, sk_eOk, sk_eCamera},
        {'2', 4, 1, true, true, true, sk_eRequest, sk_eRequest, sk_eRequest, sk_eCamera},
        {'2', -1, 2, true, true, true, sk_eCamera, sk_eRequest, sk_eCamera, sk_eCamera},
        {'2', 2, 4, true, true, true, sk_eCamera, sk_eRequest, sk_eCamera, sk_eCamera},
        {'C', 2, 4, true, true, true, sk_eOk, sk_eRequest, sk_eOk, sk_eCamera},
        {'C', 0, 4, true, false, true, sk_eRequest, sk_eRequest, sk_eCamera, sk_eCamera},
    };
    unsigned char ucCanary = 0;
    unsigned short usCanary = 0;
    for (const auto& rCase : aCases) {
        SCOPED_TRACE(&rCase - aCases);
        const Handle c = rCase.cSet == 'C' ? openColour() : open(rCase.cSet == 'L' ? Shape::L : Shape::Horizontal);
        expectOk({kestrovaSetDoStereo(c, rCase.bStereo), kestrovaSetSubpixelInterpolation(c, rCase.bSubpixel),
                  kestrovaSetEdgeCorrelation(c, rCase.bEdge)});
        const auto eType = static_cast<KestrovaImageType>(rCase.nType);
        const auto eType16 = static_cast<KestrovaImage16Type>(rCase.nType);
        const auto eCamera = static_cast<KestrovaCamera>(rCase.nCamera);
        KestrovaImage image{9, 9, 9, &ucCanary};
        KestrovaImage16 image16{9, 9, 9, &usCanary};
        EXPECT_EQ(kestrovaGetImage(c, eType, eCamera, &image), rCase.eGet);
        EXPECT_EQ(kestrovaGetImage16(c, eType16, eCamera, &image16), rCase.eGet16);
        // Nothing was made yet: a success describes an empty image, a failure leaves the record.
        EXPECT_EQ(image.nrows == 0 && image.rowinc == 0 && image.data == nullptr, rCase.eGet == sk_eOk);
        EXPECT_EQ(image16.data == nullptr, rCase.eGet16 == sk_eOk);
        EXPECT_EQ(kestrovaUnsetImageBuffer(c, eType, eCamera), rCase.eSet);
        EXPECT_EQ(kestrovaUnsetImage16Buffer(c, eType16, eCamera), rCase.eSet16);
    }
    KestrovaImage image{};
    KestrovaImage16 image16{};
    for (const KestrovaError eError :
         {kestrovaGetImage(nullptr, KestrovaImgRaw, KestrovaCamRight, &image),
          kestrovaGetImage16(nullptr, KestrovaImg16Disparity, KestrovaCamRight, &image16),
          kestrovaSetImageBuffer(nullptr, nullptr, KestrovaImgRaw, KestrovaCamRight),
          kestrovaSetImage16Buffer(nullptr, nullptr, KestrovaImg16Disparity, KestrovaCamRight)}) {
        EXPECT_EQ(eError, KestrovaErrorInvalidContext);
    }
}

TEST(Images, RawImagesSkipTheErrorOfTheLastRun)
{
    const Handle handle = open(Shape::Horizontal);
    KestrovaImage image{9, 9, 9, nullptr};
    KestrovaImage16 image16{9, 9, 9, nullptr};
    EXPECT_EQ(kestrovaStereo(handle), sk_eRequest); // nothing was preprocessed
    EXPECT_EQ(kestrovaGetImage(handle, KestrovaImgRectified, KestrovaCamRight, &image), sk_eRequest);
    EXPECT_EQ(kestrovaGetImage16(handle, KestrovaImg16Disparity, KestrovaCamRight, &image16), sk_eRequest);
    EXPECT_TRUE(image.nrows == 9 && image16.nrows == 9);
    expectOk({kestrovaGetImage(handle, KestrovaImgRaw, KestrovaCamRight, &image)});
    EXPECT_EQ(image.nrows, 0);
}

TEST(Images, OfTwoCamerasOfThreeTheOnesConfiguredAreUsed)
{
    const Handle c = open(Shape::L);
    StereoFrame frame(60, 80, 5, 0, Shape::L);
    KestrovaInput input = frame.packed();
    expectOk({kestrovaSetResolution(c, 60, 80), kestrovaSetDisparity(c, 0, 12),
              kestrovaSetCameraConfiguration(c, KestrovaCfg2CameraHorizontal), kestrovaPreprocess(c, &input),
              kestrovaStereo(c)}); // cameras 0 and 2, as images 0 and 1
    const auto pixels = disparity16(c);
    const auto isShift = [](int n) { return std::abs(n - 5 * 256) < 48; };
    EXPECT_GT(std::count_if(pixels.begin(), pixels.end(), isShift), 60 * 80 / 2);
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
    std::vector<std::vector<std::uint8_t>> results;
    std::vector<std::uint16_t> result16;
    std::vector<std::vector<std::uint8_t>> buffers(std::size(aImages), std::vector<std::uint8_t>(nRows * nCols + 1, 7));
    std::vector<std::uint16_t> buffer16(nRows * nCols + 1, 7);
    for (const bool bLent : {false, true}) {
        const Handle c = open(Shape::Horizontal);
        expectOk({kestrovaSetResolution(c, nRows, nCols), kestrovaSetSourceResolution(c, nRows, nCols),
                  kestrovaSetDisparity(c, 0, 12)});
        for (std::size_t i = 0; bLent && i < std::size(aImages); ++i) {
            expectOk({kestrovaSetImageBuffer(c, buffers[i].data(), aImages[i].first, aImages[i].second),
                      kestrovaSetImage16Buffer(c, buffer16.data(), KestrovaImg16Disparity, KestrovaCamRight)});
        }
        expectOk({kestrovaPreprocess(c, &input), kestrovaStereo(c)});
        result16 = bLent ? result16 : disparity16(c);
        EXPECT_EQ(disparity16(c), result16);
        EXPECT_TRUE(!bLent || std::equal(result16.begin(), result16.end(), buffer16.begin()));
        expectOk({kestrovaSetSubpixelInterpolation(c, 0), kestrovaStereo(c)});
        for (std::size_t i = 0; i < std::size(aImages); ++i) {
            KestrovaImage record{};
            expectOk({kestrovaGetImage(c, aImages[i].first, aImages[i].second, &record)});
            EXPECT_EQ(record.rowinc, bLent ? nCols : 64); // no gaps, or rows on 32 bytes
            if (!bLent) {
                results.push_back(pixelsOf(record));
            }
            EXPECT_EQ(pixelsOf(record), results[i]) << i;
        }
        // Of another size, or unset, the context has storage of its own again and leaves the buffer alone.
        expectOk({kestrovaUnsetImageBuffer(c, KestrovaImgDisparity, KestrovaCamRight), kestrovaSetResolution(c, 30, 40),
                  kestrovaPreprocess(c, &input), kestrovaStereo(c)});
        for (const KestrovaImageType eType : {KestrovaImgDisparity, KestrovaImgRectified, KestrovaImgEdge}) {
            KestrovaImage record{};
            expectOk({kestrovaGetImage(c, eType, KestrovaCamRight, &record)});
            EXPECT_TRUE(record.nrows == 30 && record.rowinc == 64);
        }
    }
    EXPECT_EQ(buffer16.back(), 7); // what follows the last pixel
    for (std::size_t i = 0; i < std::size(aImages); ++i) {
        results[i].push_back(7);
        EXPECT_EQ(buffers[i], results[i]) << i;
    }
}

/** A lent raw image ends with the planes that replace it: packed frames after that have storage of the library's. */
TEST(Images, BuffersThatPlanesReplacedAreLeftAlone)
{
    StereoFrame frame(33, 44, 5);
    KestrovaInput planes = frame.planes();
    KestrovaInput packed = frame.packed();
    for (const bool bFurrow : {false, true}) {
        const Handle c = open(Shape::Horizontal);
        std::vector<std::uint8_t> lent(33 * 44, 7);
        expectOk({kestrovaSetResolution(c, 33, 44), kestrovaSetSourceResolution(c, 33, 44),
                  kestrovaSetStereoQuality(c, bFurrow ? KestrovaStereoEnhanced : KestrovaStereoStandard),
                  kestrovaSetImageBuffer(c, lent.data(), KestrovaImgRaw, KestrovaCamLeft),
                  kestrovaPreprocess(c, &packed)});
        EXPECT_EQ(lent, frame.plane(1));
        expectOk({kestrovaPreprocess(c, &planes)});
        std::fill(lent.begin(), lent.end(), std::uint8_t{7}); // as if it had been freed
        expectOk({kestrovaPreprocess(c, &packed), kestrovaPreprocess(c, &planes), kestrovaPreprocess(c, &packed)});
        EXPECT_EQ(lent, std::vector<std::uint8_t>(lent.size(), 7));
        EXPECT_EQ(image(c, KestrovaImgRaw, KestrovaCamLeft), frame.plane(1));
    }
}

/** A plane that no camera in use needs may be missing. There is no raw image then, whoever asks for one. */
TEST(Images, MissingPlanesMakeEmptyRawImages)
{
    const Handle c = open(Shape::L);
    StereoFrame frame(60, 80, 5, 4, Shape::L);
    expectOk({kestrovaSetResolution(c, 60, 80), kestrovaSetDisparity(c, 0, 12),
              kestrovaSetCameraConfiguration(c, KestrovaCfg2CameraHorizontal)});
    const TempFile file("", ".pgm");
    for (const bool bAfterPacked : {false, true}) {
        KestrovaInput packed = frame.packed();
        KestrovaInput planes = frame.planes();
        planes.pPlane1 = nullptr;
        if (bAfterPacked) {
            expectOk({kestrovaPreprocess(c, &packed)});
        }
        expectOk({kestrovaPreprocess(c, &planes), kestrovaStereo(c)});
        KestrovaImage record{9, 9, 9, nullptr};
        expectOk({kestrovaGetImage(c, KestrovaImgRaw, KestrovaCamTop, &record)});
        EXPECT_TRUE(record.nrows == 0 && record.ncols == 0 && record.rowinc == 0 && record.data == nullptr);
        EXPECT_EQ(image(c, KestrovaImgRaw, KestrovaCamLeft).size(), 60U * 80U);
        kestrovaSaveImageExtra(c, KestrovaImgRaw, KestrovaCamTop, file.path()); // whatever it says, it reads nothing
        KestrovaColorImage colour{};
        EXPECT_EQ(kestrovaRectifyColorImage(c, KestrovaCamRight, &planes, &colour), sk_eRequest);
    }
    // And is there again when a frame brings it.
    KestrovaInput packed = frame.packed();
    expectOk({kestrovaSetCameraConfiguration(c, KestrovaCfg3CameraL), kestrovaPreprocess(c, &packed)});
    EXPECT_EQ(image(c, KestrovaImgRaw, KestrovaCamTop).size(), 60U * 80U);
}

} // namespace
