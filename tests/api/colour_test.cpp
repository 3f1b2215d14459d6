// Rectified colour and single pixels, through the public functions.
#include "support/StereoFrame.h"

#include <cmath>

namespace {

using namespace kestrova::test;

constexpr int sk_nRows = 30;
constexpr int sk_nCols = 40;
constexpr std::size_t sk_uPixels = 30 * 40;

/** A set whose maps turn the image upside down, and a colour camera whose map mirrors it; at the quality Fast. */
Handle openSet(Shape eShape = Shape::Horizontal, bool bColour = true)
{
    CalibrationText text(eShape);
    text.set("CameraConfiguration", "2CameraHorizontal");
    const MapText upsideDown{.row = [](double dRow, double) { return 1 - dRow; }};
    const MapText mirrored{.col = [](double, double dCol) { return 1 - dCol; }};
    for (CameraText& rCamera : text.cameras) {
        rCamera.forward = rCamera.inverse = upsideDown;
    }
    if (bColour) {
        text.cameras.push_back({100, "0 0 0", "COLOR", 1.0, "", mirrored, mirrored});
    }
    Handle handle = openText(text.text());
    expectOk({kestrovaSetResolution(handle, sk_nRows, sk_nCols), kestrovaSetRectImgQuality(handle, KestrovaRectFast)});
    return handle;
}

constexpr int sk_nPad = 5;

/** Both results against the frame; the packed one is bilinear, whose weights stop short of the last whole pixel. */
void expectColour(StereoFrame& rFrame, int nPad, KestrovaCamera eCamera, const KestrovaColorImage& rPlanes,
                  const KestrovaPackedColorImage* pPacked = nullptr)
{
    ASSERT_TRUE(rPlanes.nrows == sk_nRows && rPlanes.ncols == sk_nCols);
    ASSERT_TRUE(pPacked == nullptr || (pPacked->nrows == sk_nRows && pPacked->ncols == sk_nCols));
    const bool bMirrored = eCamera == KestrovaCamColor;
    for (int i = 0; i < 3 * sk_nRows * sk_nCols; ++i) {
        const int r = i / 3 / sk_nCols, c = i / 3 % sk_nCols;
        const int nRaw = (bMirrored ? r : sk_nRows - 1 - r) * (sk_nCols + nPad) + (bMirrored ? sk_nCols - 1 - c : c);
        const int nWanted = rFrame.plane(static_cast<std::size_t>(i % 3))[static_cast<std::size_t>(nRaw)];
        const std::uint8_t* const apPlanes[] = {rPlanes.red, rPlanes.green, rPlanes.blue};
        ASSERT_EQ(apPlanes[i % 3][r * rPlanes.rowinc + c], nWanted) << eCamera << ' ' << i;
        if (pPacked != nullptr) {
            const std::uint8_t* const pPixel = &pPacked->data[r * (pPacked->rowinc / 4) + c].m_ucBlue;
            ASSERT_NEAR(pPixel[2 - i % 3], nWanted, 4) << eCamera << ' ' << i;
            ASSERT_EQ(pPixel[3], 0);
        }
    }
}

TEST(Colour, GoesThroughTheMapsOfTheCameraThatIsNamed)
{
    const Handle h = openSet();
    KestrovaColorImage planes{};
    KestrovaPackedColorImage packed{};
    std::vector<std::uint8_t> lent(3 * sk_uPixels);
    std::vector<Pixel8x4> lentPacked(sk_uPixels);
    unsigned char* const p = lent.data();
    StereoFrame plain(sk_nRows, sk_nCols, 3, 0, Shape::L);
    StereoFrame padded(sk_nRows, sk_nCols, 4, sk_nPad, Shape::L);
    KestrovaInput plainPlanes = plain.planes();
    KestrovaInput plainPixels = plain.packed();
    KestrovaInput paddedPixels = padded.packed();
    for (const KestrovaCamera eCamera : {KestrovaCamRight, KestrovaCamLeft, KestrovaCamColor}) {
        expectOk({kestrovaRectifyPackedColorImage(h, eCamera, &paddedPixels, &packed),
                  kestrovaRectifyColorImage(h, eCamera, &paddedPixels, &planes)});
        expectColour(padded, sk_nPad, eCamera, planes, &packed);
        expectOk({kestrovaSetColorImageBuffer(h, eCamera, p, p + sk_uPixels, p + 2 * sk_uPixels),
                  kestrovaSetPackedColorImageBuffer(h, eCamera, lentPacked.data()),
                  kestrovaRectifyPackedColorImage(h, eCamera, &plainPixels, &packed),
                  kestrovaRectifyColorImage(h, eCamera, &plainPlanes, &planes)});
        expectColour(plain, 0, eCamera, planes, &packed);
        EXPECT_TRUE(planes.red == p && planes.blue == p + 2 * sk_uPixels && planes.rowinc == sk_nCols);
        EXPECT_TRUE(packed.data == lentPacked.data() && packed.rowinc == 4 * sk_nCols);
        expectOk({kestrovaUnsetColorImageBuffer(h, eCamera), kestrovaUnsetPackedColorImageBuffer(h, eCamera),
                  kestrovaRectifyColorImage(h, eCamera, &plainPlanes, &planes)});
        EXPECT_TRUE(planes.red != p && planes.red != nullptr);
    }
    // Colour camera and reference have one place, and copies begin without colour.
    const void* const pColour = planes.red;
    KestrovaContext copy = nullptr;
    expectOk({kestrovaRectifyColorImage(h, KestrovaCamRight, &plainPlanes, &planes), kestrovaCopyContext(h, &copy)});
    EXPECT_EQ(planes.red, pColour);
    expectOk({kestrovaRectifyColorImage(Handle(copy), KestrovaCamRight, &plainPlanes, &planes)});
    EXPECT_NE(planes.red, pColour);
}

TEST(Colour, PaddedPlanesComeFromTheLastPreprocess)
{
    const Handle handle = openSet(Shape::L);
    KestrovaColorImage planes{};
    StereoFrame frame(sk_nRows, sk_nCols, 3, sk_nPad, Shape::L);
    KestrovaInput input = frame.planes();
    EXPECT_EQ(kestrovaRectifyColorImage(handle, KestrovaCamTop, &input, &planes), KestrovaErrorInvalidRequest);
    expectOk({kestrovaPreprocess(handle, &input)});
    input = StereoFrame(sk_nRows, sk_nCols, 3, sk_nPad, Shape::L).planes(); // these are gone, and are not read
    expectOk({kestrovaRectifyColorImage(handle, KestrovaCamTop, &input, &planes)});
    expectColour(frame, sk_nPad, KestrovaCamTop, planes);

    // Planes go by camera there: right on blue and left on red change places.
    CalibrationText exchanged(Shape::L);
    std::swap(exchanged.cameras[0].channel, exchanged.cameras[2].channel);
    const Handle other = openText(exchanged.text());
    expectOk({kestrovaSetResolution(other, sk_nRows, sk_nCols), kestrovaSetRectImgQuality(other, KestrovaRectFast)});
    input = frame.planes();
    expectOk({kestrovaPreprocess(other, &input), kestrovaRectifyColorImage(other, KestrovaCamRight, &input, &planes)});
    EXPECT_TRUE(planes.red[0] == frame.plane(2)[0] && planes.green[0] == frame.plane(1)[0] &&
                planes.blue[0] == frame.plane(0)[0]);
}

TEST(Colour, ErrorsComeInOrder)
{
    unsigned char uc = 0;
    const struct
    {
        int nType, nRows, nRowInc;
        bool bPixels;
        KestrovaCamera eCamera;
        KestrovaError ePlanes, ePacked;
    } aCases[] = {
        {1, sk_nRows, 160, true, KestrovaCamTop, KestrovaErrorInvalidCamera, KestrovaErrorInvalidCamera},
        {1, sk_nRows, 160, true, KestrovaCamColor, KestrovaErrorInvalidCamera, KestrovaErrorInvalidCamera},
        {1, sk_nRows, 159, true, KestrovaCamTop, KestrovaErrorInvalidSetting, KestrovaErrorInvalidSetting},
        {2, sk_nRows, 40, true, KestrovaCamTop, KestrovaErrorInvalidCamera, KestrovaErrorNotImplemented},
        {2, 0, 40, true, KestrovaCamTop, KestrovaErrorInvalidSetting, KestrovaErrorInvalidSetting},
        {3, sk_nRows, 160, true, KestrovaCamTop, KestrovaErrorInvalidSetting, KestrovaErrorInvalidSetting},
        {1, sk_nRows, 160, false, KestrovaCamRight, KestrovaErrorInvalidParameter, KestrovaErrorInvalidParameter},
        {2, sk_nRows, 40, false, KestrovaCamRight, KestrovaErrorInvalidParameter, KestrovaErrorNotImplemented},
    };
    const Handle h = openSet(Shape::Horizontal, false);
    for (const auto& rCase : aCases) {
        void* const p = rCase.bPixels ? &uc : nullptr;
        KestrovaInput input{rCase.nType, 0, 0, rCase.nRows, sk_nCols, rCase.nRowInc, p, p, p};
        KestrovaColorImage planes{9, 9, 9, nullptr, nullptr, nullptr};
        KestrovaPackedColorImage packed{9, 9, 9, nullptr};
        const auto i = &rCase - aCases;
        EXPECT_EQ(kestrovaRectifyColorImage(h, rCase.eCamera, &input, &planes), rCase.ePlanes) << i;
        EXPECT_EQ(kestrovaRectifyPackedColorImage(h, rCase.eCamera, &input, &packed), rCase.ePacked) << i;
        EXPECT_TRUE(planes.nrows == 9 && packed.nrows == 9) << i;
    }
    EXPECT_EQ(kestrovaSetColorImageBuffer(h, KestrovaCamRight, &uc, nullptr, &uc), KestrovaErrorConflictingOptions);
    EXPECT_EQ(kestrovaSetColorImageBuffer(h, KestrovaCamTop, &uc, nullptr, &uc), KestrovaErrorInvalidCamera);
    EXPECT_EQ(kestrovaSetColorImageBuffer(h, KestrovaCamColor, &uc, &uc, &uc), KestrovaErrorInvalidRequest);
}

TEST(Pixels, MapThroughTheNamedCameraOnceTheSourceSizeIsKnown)
{
    const Handle handle = openSet();
    const struct
    {
        decltype(&kestrovaRectifyPixel) pfn;
        KestrovaCamera eCamera;
        float fRow, fCol;
        KestrovaError eError;
        float fToRow, fToCol;
    } aCases[] = {
        {kestrovaRectifyPixel, KestrovaCamTop, 1, 2, KestrovaErrorInvalidSetting, 7, 7}, // the size comes first here
        {kestrovaUnrectifyPixel, KestrovaCamTop, 1, 2, KestrovaErrorInvalidCamera, 7, 7},
        {kestrovaUnrectifyPixel, KestrovaCamRight, 1, 2, KestrovaErrorInvalidSetting, 7, 7},
        {kestrovaRectifyPixel, KestrovaCamTop, 1, 2, KestrovaErrorInvalidCamera, 7, 7}, // from here on it is known
        {kestrovaRectifyPixel, KestrovaCamLeft, 0.5F, 20.5F, KestrovaErrorOk, 29, 10},
        {kestrovaRectifyPixel, KestrovaCamColor, 0.5F, 20.5F, KestrovaErrorOk, 0, 29},
        {kestrovaUnrectifyPixel, KestrovaCamLeft, 29, 39, KestrovaErrorOk, 0.5F, 78.5F},
        {kestrovaUnrectifyPixel, KestrovaCamColor, 29, 39, KestrovaErrorOk, 58.5F, 0.5F},
        {kestrovaUnrectifyPixel, KestrovaCamColor, 29.25F, 39.25F, KestrovaErrorOk, 59, 0}, // by the search
        {kestrovaUnrectifyPixel, KestrovaCamColor, -1, 5, KestrovaErrorInvalidRequest, 0, 68.5F},
    };
    for (const auto& rCase : aCases) {
        const auto i = &rCase - aCases;
        if (i == 3) {
            expectOk({kestrovaSetSourceResolution(handle, 60, 80)});
        }
        float fRow = 7;
        float fCol = 7;
        EXPECT_EQ(rCase.pfn(handle, rCase.eCamera, &fRow, &fCol, rCase.fRow, rCase.fCol), rCase.eError) << i;
        EXPECT_NEAR(fRow, rCase.fToRow, 0.002) << i;
        EXPECT_NEAR(fCol, rCase.fToCol, 0.002) << i;
    }
}

} // namespace
