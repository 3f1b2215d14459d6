// Rectified colour and single pixels, through the public functions.
#include "kestrova.h"
#include "support/StereoFrame.h"

#include <cmath>

namespace {

using namespace kestrova::test;

constexpr int sk_nRows = 30;
constexpr int sk_nCols = 40;

/** A pair whose maps turn the image upside down, and a colour camera whose map mirrors it. */
Handle openSet(bool bColour = true)
{
    CalibrationText text(Shape::Horizontal);
    MapText upsideDown;
    upsideDown.row = [](double dRow, double) { return 1 - dRow; };
    MapText mirrored;
    mirrored.col = [](double, double dCol) { return 1 - dCol; };
    for (CameraText& rCamera : text.cameras) {
        rCamera.forward = rCamera.inverse = upsideDown;
    }
    if (bColour) {
        text.cameras.push_back({100, "0 0 0", "COLOR", 1.0, "", mirrored, mirrored});
    }
    Handle handle = openText(text.text());
    EXPECT_EQ(kestrovaSetResolution(handle.get(), sk_nRows, sk_nCols), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRectImgQuality(handle.get(), KestrovaRectFast), KestrovaErrorOk);
    return handle;
}

/** A frame of its own noise on every plane, with a padding. */
struct ColourFrame
{
    static constexpr int sk_nPad = 5;
    int nRowInc;
    std::vector<std::uint8_t> planes[3];
    std::vector<Pixel8x4> packed;

    explicit ColourFrame(int nPad) : nRowInc(sk_nCols + nPad)
    {
        std::mt19937 random(9);
        packed.resize(static_cast<std::size_t>(sk_nRows * nRowInc));
        for (Pixel8x4& r : packed) {
            const auto u = static_cast<unsigned>(random());
            r = {static_cast<std::uint8_t>(u), static_cast<std::uint8_t>(u >> 8), static_cast<std::uint8_t>(u >> 16),
                 9};
            planes[0].push_back(r.m_ucRed);
            planes[1].push_back(r.m_ucGreen);
            planes[2].push_back(r.m_ucBlue);
        }
    }
    KestrovaInput rgb()
    {
        KestrovaInput input{};
        kestrovaBuildRGBKestrovaInput(sk_nCols, sk_nRows, nRowInc, 0, 0, planes[0].data(), planes[1].data(),
                                      planes[2].data(), &input);
        return input;
    }
    KestrovaInput pixels()
    {
        KestrovaInput input{};
        kestrovaBuildPackedKestrovaInput(sk_nCols, sk_nRows, 4 * nRowInc, 0, 0, packed.data(), &input);
        return input;
    }
    [[nodiscard]] const Pixel8x4& at(KestrovaCamera eCamera, int nRow, int nCol) const
    {
        const int nRawRow = eCamera == KestrovaCamColor ? nRow : sk_nRows - 1 - nRow;
        const int nRawCol = eCamera == KestrovaCamColor ? sk_nCols - 1 - nCol : nCol;
        return packed[static_cast<std::size_t>(nRawRow * nRowInc + nRawCol)];
    }
};

bool near(int nA, int nB)
{
    return std::abs(nA - nB) <= 3; // the bilinear weights stop short of the last whole pixel
}

void expectColour(const ColourFrame& rFrame, KestrovaCamera eCamera, const KestrovaColorImage& rPlanes,
                  const KestrovaPackedColorImage& rPacked)
{
    ASSERT_TRUE(rPlanes.nrows == sk_nRows && rPlanes.ncols == sk_nCols);
    ASSERT_TRUE(rPacked.nrows == sk_nRows && rPacked.ncols == sk_nCols);
    for (int i = 0; i < sk_nRows * sk_nCols; ++i) {
        const int r = i / sk_nCols;
        const int c = i % sk_nCols;
        const Pixel8x4& rWanted = rFrame.at(eCamera, r, c);
        const int nAt = r * rPlanes.rowinc + c;
        ASSERT_TRUE(rPlanes.red[nAt] == rWanted.m_ucRed && rPlanes.green[nAt] == rWanted.m_ucGreen &&
                    rPlanes.blue[nAt] == rWanted.m_ucBlue)
            << eCamera << ' ' << r << ' ' << c;
        const Pixel8x4& rPixel = rPacked.data[r * (rPacked.rowinc / 4) + c];
        ASSERT_TRUE(near(rPixel.m_ucRed, rWanted.m_ucRed) && near(rPixel.m_ucGreen, rWanted.m_ucGreen) &&
                    near(rPixel.m_ucBlue, rWanted.m_ucBlue) && rPixel.m_ucFourth == 0)
            << eCamera << ' ' << r << ' ' << c;
    }
}

TEST(Colour, GoesThroughTheMapsOfTheCameraThatIsNamed)
{
    const Handle handle = openSet();
    KestrovaColorImage planes{};
    KestrovaPackedColorImage packed{};
    std::vector<std::uint8_t> lent[3];
    std::vector<Pixel8x4> lentPacked(sk_nRows * sk_nCols);
    for (auto& r : lent) {
        r.resize(sk_nRows * sk_nCols);
    }
    for (const int nPad : {0, 5}) {
        ColourFrame frame(nPad);
        KestrovaInput rgb = frame.rgb();
        KestrovaInput pixels = frame.pixels();
        for (const KestrovaCamera eCamera : {KestrovaCamRight, KestrovaCamLeft, KestrovaCamColor}) {
            EXPECT_EQ(kestrovaRectifyPackedColorImage(handle.get(), eCamera, &pixels, &packed), KestrovaErrorOk);
            EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), eCamera, &pixels, &planes), KestrovaErrorOk);
            expectColour(frame, eCamera, planes, packed);
            EXPECT_EQ(
                kestrovaSetColorImageBuffer(handle.get(), eCamera, lent[0].data(), lent[1].data(), lent[2].data()),
                KestrovaErrorOk);
            EXPECT_EQ(kestrovaSetPackedColorImageBuffer(handle.get(), eCamera, lentPacked.data()), KestrovaErrorOk);
            planes = {};
            if (nPad == 0) {
                EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), eCamera, &rgb, &planes), KestrovaErrorOk);
            } else { // no camera keeps the blue plane of a padded frame
                EXPECT_EQ(kestrovaPreprocess(handle.get(), &rgb), KestrovaErrorOk);
                EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), eCamera, &rgb, &planes), KestrovaErrorInvalidRequest);
                EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), eCamera, &pixels, &planes), KestrovaErrorOk);
            }
            EXPECT_EQ(kestrovaRectifyPackedColorImage(handle.get(), eCamera, &pixels, &packed), KestrovaErrorOk);
            expectColour(frame, eCamera, planes, packed);
            EXPECT_TRUE(planes.red == lent[0].data() && planes.blue == lent[2].data() && planes.rowinc == sk_nCols);
            EXPECT_TRUE(packed.data == lentPacked.data() && packed.rowinc == 4 * sk_nCols);
            EXPECT_EQ(kestrovaUnsetColorImageBuffer(handle.get(), eCamera), KestrovaErrorOk);
            EXPECT_EQ(kestrovaUnsetPackedColorImageBuffer(handle.get(), eCamera), KestrovaErrorOk);
        }
    }
    // Colour camera and reference have one place, and copies begin without colour.
    KestrovaColorImage right{};
    ColourFrame frame(0);
    KestrovaInput rgb = frame.rgb();
    EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), KestrovaCamColor, &rgb, &planes), KestrovaErrorOk);
    EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), KestrovaCamRight, &rgb, &right), KestrovaErrorOk);
    EXPECT_EQ(planes.red, right.red);
    KestrovaContext copy = nullptr;
    EXPECT_EQ(kestrovaCopyContext(handle.get(), &copy), KestrovaErrorOk);
    EXPECT_EQ(kestrovaRectifyColorImage(copy, KestrovaCamRight, &rgb, &planes), KestrovaErrorOk);
    EXPECT_NE(planes.red, right.red);
    EXPECT_EQ(kestrovaDestroyContext(copy), KestrovaErrorOk);
}

TEST(Colour, PaddedPlanesComeFromTheLastPreprocess)
{
    CalibrationText text(Shape::L);
    text.set("CameraConfiguration", "2CameraHorizontal");
    const Handle handle = openText(text.text());
    EXPECT_EQ(kestrovaSetResolution(handle.get(), sk_nRows, sk_nCols), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRectImgQuality(handle.get(), KestrovaRectFast), KestrovaErrorOk);
    ColourFrame frame(ColourFrame::sk_nPad);
    KestrovaInput input = frame.rgb();
    KestrovaColorImage planes{};
    EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), KestrovaCamTop, &input, &planes), KestrovaErrorInvalidRequest);
    EXPECT_EQ(kestrovaPreprocess(handle.get(), &input), KestrovaErrorOk);
    KestrovaInput other = ColourFrame(ColourFrame::sk_nPad).rgb(); // its planes are gone, and are not read
    EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), KestrovaCamTop, &other, &planes), KestrovaErrorOk);
    for (int i = 0; i < sk_nRows * sk_nCols; ++i) {
        const int nFrom = i / sk_nCols * frame.nRowInc + i % sk_nCols;
        const int nTo = i / sk_nCols * planes.rowinc + i % sk_nCols;
        ASSERT_EQ(planes.red[nTo], frame.planes[0][static_cast<std::size_t>(nFrom)]) << i;
        ASSERT_EQ(planes.blue[nTo], frame.planes[2][static_cast<std::size_t>(nFrom)]) << i;
    }
}

TEST(Colour, ErrorsComeInOrder)
{
    ColourFrame frame(0);
    struct Case
    {
        int nType, nRows, nRowInc;
        bool bPixels;
        KestrovaCamera eCamera;
        KestrovaError ePlanes, ePacked;
    };
    const Case aCases[] = {
        {1, sk_nRows, 160, true, KestrovaCamTop, KestrovaErrorInvalidCamera, KestrovaErrorInvalidCamera},
        {1, sk_nRows, 160, true, KestrovaCamColor, KestrovaErrorInvalidCamera, KestrovaErrorInvalidCamera},
        {1, sk_nRows, 159, true, KestrovaCamTop, KestrovaErrorInvalidSetting, KestrovaErrorInvalidSetting},
        {2, sk_nRows, 40, true, KestrovaCamTop, KestrovaErrorInvalidCamera, KestrovaErrorNotImplemented},
        {2, 0, 40, true, KestrovaCamTop, KestrovaErrorInvalidSetting, KestrovaErrorInvalidSetting},
        {3, sk_nRows, 160, true, KestrovaCamTop, KestrovaErrorInvalidSetting, KestrovaErrorInvalidSetting},
        {1, sk_nRows, 160, false, KestrovaCamRight, KestrovaErrorInvalidParameter, KestrovaErrorInvalidParameter},
        {2, sk_nRows, 40, false, KestrovaCamRight, KestrovaErrorInvalidParameter, KestrovaErrorNotImplemented},
    };
    const Handle handle = openSet(false);
    for (const Case& rCase : aCases) {
        void* const p = rCase.bPixels ? static_cast<void*>(frame.packed.data()) : nullptr;
        KestrovaInput input{rCase.nType, 0, 0, rCase.nRows, sk_nCols, rCase.nRowInc, p, p, p};
        KestrovaColorImage planes{9, 9, 9, nullptr, nullptr, nullptr};
        KestrovaPackedColorImage packed{9, 9, 9, nullptr};
        const auto i = &rCase - aCases;
        EXPECT_EQ(kestrovaRectifyColorImage(handle.get(), rCase.eCamera, &input, &planes), rCase.ePlanes) << i;
        EXPECT_EQ(kestrovaRectifyPackedColorImage(handle.get(), rCase.eCamera, &input, &packed), rCase.ePacked) << i;
        EXPECT_TRUE(planes.nrows == 9 && packed.nrows == 9) << i;
        EXPECT_EQ(kestrovaRectifyColorImage(nullptr, rCase.eCamera, &input, &planes), KestrovaErrorInvalidContext);
        EXPECT_EQ(kestrovaRectifyPackedColorImage(nullptr, rCase.eCamera, &input, &packed),
                  KestrovaErrorInvalidContext);
    }
    unsigned char uc = 0;
    EXPECT_EQ(kestrovaSetColorImageBuffer(handle.get(), KestrovaCamRight, &uc, nullptr, &uc),
              KestrovaErrorConflictingOptions);
    EXPECT_EQ(kestrovaSetColorImageBuffer(handle.get(), KestrovaCamTop, &uc, nullptr, &uc), KestrovaErrorInvalidCamera);
    EXPECT_EQ(kestrovaSetColorImageBuffer(handle.get(), KestrovaCamColor, &uc, &uc, &uc), KestrovaErrorInvalidRequest);
    EXPECT_EQ(kestrovaUnsetPackedColorImageBuffer(handle.get(), KestrovaCamColor), KestrovaErrorInvalidRequest);
    EXPECT_EQ(kestrovaUnsetPackedColorImageBuffer(handle.get(), KestrovaCamTop), KestrovaErrorInvalidCamera);
    EXPECT_EQ(kestrovaUnsetPackedColorImageBuffer(nullptr, KestrovaCamRight), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaUnsetColorImageBuffer(nullptr, KestrovaCamRight), KestrovaErrorInvalidContext);
}

TEST(Pixels, MapThroughTheNamedCameraOnceTheSourceSizeIsKnown)
{
    const Handle handle = openSet();
    float fRow = 7;
    float fCol = 7;
    const auto rectify = [&](int nCamera, float r, float c) {
        return kestrovaRectifyPixel(handle.get(), static_cast<KestrovaCamera>(nCamera), &fRow, &fCol, r, c);
    };
    const auto unrectify = [&](int nCamera, float r, float c) {
        return kestrovaUnrectifyPixel(handle.get(), static_cast<KestrovaCamera>(nCamera), &fRow, &fCol, r, c);
    };
    const auto isAt = [&](float r, float c) { return std::abs(fRow - r) < 0.002F && std::abs(fCol - c) < 0.002F; };
    EXPECT_EQ(rectify(KestrovaCamTop, 1, 2), KestrovaErrorInvalidSetting); // the size comes first here
    EXPECT_EQ(unrectify(KestrovaCamTop, 1, 2), KestrovaErrorInvalidCamera);
    EXPECT_EQ(unrectify(KestrovaCamRight, 1, 2), KestrovaErrorInvalidSetting);
    EXPECT_EQ(kestrovaSetSourceResolution(handle.get(), 60, 80), KestrovaErrorOk);
    EXPECT_EQ(rectify(KestrovaCamTop, 1, 2), KestrovaErrorInvalidCamera);
    EXPECT_EQ(kestrovaRectifyPixel(nullptr, KestrovaCamRight, &fRow, &fCol, 1, 2), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaUnrectifyPixel(nullptr, KestrovaCamRight, &fRow, &fCol, 1, 2), KestrovaErrorInvalidContext);
    EXPECT_TRUE(isAt(7, 7));

    EXPECT_TRUE(rectify(KestrovaCamLeft, 0.5F, 20.5F) == KestrovaErrorOk && isAt(29, 10));
    EXPECT_TRUE(rectify(KestrovaCamColor, 0.5F, 20.5F) == KestrovaErrorOk && isAt(0, 29));
    EXPECT_TRUE(rectify(KestrovaCamLeft, 999, -999) == KestrovaErrorOk && isAt(-0.5F, -0.5F));
    EXPECT_TRUE(unrectify(KestrovaCamLeft, 29, 39) == KestrovaErrorOk && isAt(0.5F, 78.5F));
    EXPECT_TRUE(unrectify(KestrovaCamColor, 29, 39) == KestrovaErrorOk && isAt(58.5F, 0.5F));
    EXPECT_TRUE(unrectify(KestrovaCamColor, 29.25F, 39.25F) == KestrovaErrorOk && isAt(59, 0)); // by the search
    EXPECT_TRUE(unrectify(KestrovaCamColor, -1, 5) == KestrovaErrorInvalidRequest && isAt(0, 68.5F));
}

} // namespace
