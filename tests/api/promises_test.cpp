// What the header says of settings that meet each other: when they take effect, what they are worth in each set, and
// where a result ends up that nobody asked for.
#include "support/StereoFrame.h"

#include <functional>

namespace {

using namespace kestrova::test;

constexpr int sk_nRows = 48;
constexpr int sk_nCols = 64;
constexpr std::uint16_t sk_uNone = KestrovaDisparity16Invalid;

using Setup = std::function<void(KestrovaContext)>;

Handle openSmall(Shape eShape)
{
    Handle c = open(eShape);
    expectOk({kestrovaSetResolution(c, sk_nRows, sk_nCols), kestrovaSetDisparity(c, 0, 16),
              kestrovaSetSurfaceValidation(c, 0), kestrovaSetMaxThreadCount(c, 1)});
    return c;
}

void preprocess(KestrovaContext c, Shape eShape = Shape::Horizontal, int nDisparity = 5)
{
    static std::vector<std::unique_ptr<StereoFrame>> s_frames; // raw images keep pointing at them
    s_frames.push_back(std::make_unique<StereoFrame>(sk_nRows, sk_nCols, nDisparity, 0, eShape));
    KestrovaInput input = s_frames.back()->planes();
    expectOk({kestrovaPreprocess(c, &input)});
}

/** The disparity that the settings produce. */
std::vector<int> disparity(KestrovaContext c)
{
    if (got(kestrovaGetSubpixelInterpolation, c) != 0) {
        const auto words = disparity16(c);
        return {words.begin(), words.end()};
    }
    const auto bytes = image(c, KestrovaImgDisparity, KestrovaCamRight);
    return {bytes.begin(), bytes.end()};
}

std::vector<int> run(
    Shape eShape, const Setup& rBefore, const Setup& rBetween = [](KestrovaContext) {})
{
    const Handle c = openSmall(eShape);
    rBefore(c);
    preprocess(c, eShape);
    rBetween(c);
    expectOk({kestrovaStereo(c)});
    return disparity(c);
}

TEST(Promises, SwitchesBetweenPreprocessAndRun)
{
    const auto edges = [](int nOn) { return [=](KestrovaContext c) { kestrovaSetEdgeCorrelation(c, nOn); }; };
    EXPECT_TRUE(run(Shape::Horizontal, edges(1), edges(0)) == run(Shape::Horizontal, edges(0)));
    const std::vector<int> black = run(Shape::Horizontal, edges(0), edges(1));
    EXPECT_EQ(black[20 * sk_nCols + 20], 0) << "nothing but equal pixels";

    for (const auto pfnSwitch : {kestrovaSetDoStereo, kestrovaSetSubpixelInterpolation}) {
        const Handle c = openSmall(Shape::Horizontal);
        expectOk({kestrovaSetStereoQuality(c, KestrovaStereoEnhanced), pfnSwitch(c, 0)});
        preprocess(c);
        expectOk({pfnSwitch(c, 1)});
        EXPECT_EQ(kestrovaStereo(c), KestrovaErrorInvalidRequest) << "no second images";
        expectOk({kestrovaSetMaxThreadCount(c, 2)});
        preprocess(c);
        expectOk({pfnSwitch(c, 0)});
        preprocess(c, Shape::Horizontal, 9);
        expectOk({pfnSwitch(c, 1), kestrovaStereo(c)});
        const std::vector<int> mixed = disparity(c);
        preprocess(c, Shape::Horizontal, 9);
        expectOk({kestrovaStereo(c)});
        EXPECT_FALSE(mixed == disparity(c)) << "second images of the frame before";
    }
}

/** One way to set both tests; below 0 is the switch off. */
struct Tests
{
    float fTexture, fUniqueness;
};

Setup withTests(const Tests& r, int nSubpixel)
{
    return [=](KestrovaContext c) {
        expectOk({kestrovaSetSubpixelInterpolation(c, nSubpixel), kestrovaSetTextureValidation(c, r.fTexture >= 0),
                  kestrovaSetTextureValidationThreshold(c, std::max(r.fTexture, 0.0F)),
                  kestrovaSetUniquenessValidation(c, r.fUniqueness >= 0),
                  kestrovaSetUniquenessValidationThreshold(c, std::max(r.fUniqueness, 0.0F))});
    };
}

/** Without the columns from which the range leaves the image. */
std::vector<int> inside(std::vector<int> pixels)
{
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = i % sk_nCols < sk_nCols - 16 - 6 ? pixels[i] : 0;
    }
    return pixels;
}

TEST(Promises, ThresholdsOfNothingAndOfTooMuch)
{
    kestrovaEnableSSE2IfAvailable(false);
    constexpr Tests aSame[][2] = {
        {{0, -1}, {-1, -1}}, {{-1, 0}, {-1, -1}}, {{0, 0}, {-1, -1}}, {{0, 0.5F}, {-1, 0.5F}}, {{0.5F, 0}, {0.5F, -1}}};
    for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
        for (const int nSubpixel : {0, 1}) {
            for (const auto& [rOne, rOther] : aSame) {
                EXPECT_TRUE(inside(run(eShape, withTests(rOne, nSubpixel))) ==
                            inside(run(eShape, withTests(rOther, nSubpixel))))
                    << static_cast<int>(eShape) << ' ' << nSubpixel << ' ' << rOne.fTexture << ' ' << rOne.fUniqueness;
            }
            const auto shows = [&](const Tests& r, int nCode) {
                const std::vector<int> pixels = run(eShape, withTests(r, nSubpixel));
                return std::count(pixels.begin(), pixels.end(), nSubpixel != 0 ? sk_uNone + nCode : nCode) > 0;
            };
            const bool bPair = eShape == Shape::Horizontal;
            EXPECT_EQ(shows({0.005F, -1}, 255), !bPair && nSubpixel == 0);
            EXPECT_EQ(shows({0.005F, 0}, 254), !bPair && nSubpixel == 1);
            EXPECT_EQ(shows({0.5F, 0.5F}, 254), !bPair || nSubpixel == 1);
        }
    }
    // Where nothing matches, windows differ by more than their signal.
    const auto valid = [](const Tests& r) {
        const std::vector<int> pixels = run(Shape::Horizontal, withTests(r, 1), [](KestrovaContext c) {
            KestrovaImage left{};
            expectOk({kestrovaGetImage(c, KestrovaImgEdge, KestrovaCamLeft, &left)});
            std::mt19937 random(1);
            for (int i = 0; i < left.nrows * left.rowinc; ++i) {
                left.data[i] = static_cast<std::uint8_t>(random() >> 7);
            }
        });
        return std::count_if(pixels.begin(), pixels.end(), [](int n) { return !KESTROVA_DISPARITY16_IS_INVALID(n); });
    };
    EXPECT_TRUE(valid({-1, 10}) == valid({-1, 1}) && valid({0.5F, -1}) == valid({-1, 1}) &&
                valid({-1, -1}) > valid({-1, 1}));
    kestrovaEnableSSE2IfAvailable(true);
}

TEST(Promises, TheFirstDisparityOfARange)
{
    kestrovaEnableSSE2IfAvailable(false);
    const struct
    {
        int nMin, nMax, nPair8, nPair16, nOther8;
    } aCases[] = {{0, 32, 0, 0, 0}, {5, 32, 253, 0xFFFD, 253}, {30, 270, 253, 0xFFFD, 0}, {31, 270, 253, 0xFFFD, 253}};
    for (const auto& r : aCases) {
        for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
            StereoFrame frame(360, 480, r.nMin, 0, eShape);
            KestrovaInput input = frame.planes();
            const Handle c = open(eShape);
            expectOk({kestrovaSetResolution(c, 360, 480), kestrovaSetDisparity(c, r.nMin, r.nMax),
                      kestrovaSetSurfaceValidation(c, 0), kestrovaSetMaxThreadCount(c, 1),
                      kestrovaPreprocess(c, &input)});
            for (const int nSubpixel : {0, 1}) {
                expectOk({kestrovaSetSubpixelInterpolation(c, nSubpixel), kestrovaStereo(c)});
                const bool bPair = eShape == Shape::Horizontal;
                const int nWanted = nSubpixel != 0 ? (bPair ? r.nPair16 : 0xFFFD) : (bPair ? r.nPair8 : r.nOther8);
                EXPECT_EQ(disparity(c)[40 * 480 + 100], nWanted) << r.nMin << ' ' << static_cast<int>(eShape);
            }
        }
    }
    kestrovaEnableSSE2IfAvailable(true);
}

TEST(Promises, ThreadsAndWindowsThatHaveRoom)
{
    kestrovaEnableSSE2IfAvailable(false);
    for (const Shape eShape : {Shape::Vertical, Shape::L}) {
        for (const int nMask : {1, 2, 7, 8}) {
            for (const int nThreads : {2, 3, 4}) {
                const int nStart = (nThreads - 1) * (sk_nRows / nThreads);
                const int nMost = sk_nRows - nMask / 2 * 2 - nStart - (nMask == 1 ? 1 : 0);
                const auto most = [&](int nCount) {
                    return run(eShape, [=](KestrovaContext c) {
                        expectOk({kestrovaSetAnyStereoMask(c, nMask), kestrovaSetDisparity(c, 0, nMost),
                                  kestrovaSetMaxThreadCount(c, nCount)});
                    });
                };
                EXPECT_TRUE(most(nThreads) == most(1)) << nMask << ' ' << nThreads;
            }
        }
        const auto error = [&](int nMask, int nMax, int nThreads) {
            const Handle c = openSmall(eShape);
            expectOk({kestrovaSetDisparity(c, 0, nMax), kestrovaSetAnyStereoMask(c, nMask),
                      kestrovaSetMaxThreadCount(c, nThreads)});
            preprocess(c, eShape);
            return kestrovaStereo(c);
        };
        EXPECT_EQ(error(1, 24, 2), KestrovaErrorInvalidROI) << "the range is cut";
        EXPECT_EQ(error(8, 40, 1), KestrovaErrorInvalidROI) << "rows - mask";
        EXPECT_EQ(error(8, 39, 1), KestrovaErrorOk);
        EXPECT_EQ(error(48, 1, 1), KestrovaErrorInvalidROI);
        EXPECT_EQ(error(INT32_MAX, 1, 1), KestrovaErrorInvalidROI);
    }
    for (const int nMask : {48, INT32_MAX}) {
        const auto all = run(Shape::Horizontal, [=](KestrovaContext c) { kestrovaSetAnyStereoMask(c, nMask); });
        EXPECT_EQ(std::count(all.begin(), all.end(), sk_uNone + 253), sk_nRows * sk_nCols) << nMask;
    }
    kestrovaEnableSSE2IfAvailable(true);
}

TEST(Promises, SectionsHaveTablesOfTheirOwnAndCopiesNoPast)
{
    const std::string narrow = CalibrationText(Shape::Horizontal).text();
    const TempFile two(narrow + CalibrationText(Shape::Horizontal).set("Baseline", "0.24").text());
    KestrovaContext opened = nullptr;
    expectOk({kestrovaGetDefaultContextFromFile(&opened, two.path())});
    const Handle c(opened);
    KestrovaROI *pNarrow = nullptr, *pWide = nullptr;
    int nMost = 0;
    expectOk({kestrovaGetROIs(c, &pNarrow, &nMost)});
    pNarrow[0] = {1, 2, 3, 4};
    expectOk({kestrovaSetCameraConfiguration(c, KestrovaCfg2CameraWide), kestrovaGetROIs(c, &pWide, &nMost)});
    EXPECT_TRUE(pWide != pNarrow && pWide[0].m_nCols == 4);

    const Handle source = openSmall(Shape::Horizontal);
    const auto eNone = static_cast<KestrovaCamera>(-1);
    const TempFile file("", ".pgm");
    KestrovaContext copy = nullptr;
    KestrovaImage16 shown{};
    KestrovaImageInfo info{};
    expectOk({kestrovaSetRectImgQuality(source, KestrovaRectEnhanced1)});
    preprocess(source);
    expectOk({kestrovaStereo(source), kestrovaCopyContext(source, &copy)});
    const Handle closer(copy);
    expectOk({kestrovaSaveImage16Extra(copy, KestrovaImg16Disparity, KestrovaCamRight, file.path()),
              kestrovaReadImage16Extra(file.path(), &shown, &info)});
    std::free(shown.data);
    const DisparityImageInfo& r = info.parameters.disparity;
    EXPECT_TRUE(r.rectQuality == KestrovaRectFast && r.cameraConfiguration == KestrovaCfg3CameraL && r.stereoMask == 0);
    expectOk({kestrovaGetImage16(source, KestrovaImg16Disparity, eNone, &shown),
              kestrovaUnsetImage16Buffer(source, KestrovaImg16Disparity, eNone)});
    EXPECT_EQ(kestrovaSaveImage16Extra(source, KestrovaImg16Disparity, eNone, file.path()),
              KestrovaErrorInvalidParameter);
}

} // namespace
