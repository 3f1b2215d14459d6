#include "api/StereoContext.h"
#include "models.h"
#include "rectify/boxFilters.h"
#include "rectify/lowpass.h"
#include "rectify/preprocess.h"

namespace kestrova::test {
namespace {

constexpr int sk_nRows = 36; // of the frame
constexpr int sk_nCols = 48;

/** A context filled by hand, with a camera per slot and the channels in the order given. */
struct Set
{
    StereoContext context;
    std::unique_ptr<Camera> apCameras[3] = {camera(1.0), camera(1.25), camera(0.8)};

    Set(StereoProduct eProduct, KestrovaCameraConfiguration eConfiguration,
        std::array<int, 3> cameraOfChannel = {0, 1, 2})
    {
        context.m_eProduct = eProduct;
        context.m_eCameraConfiguration = eConfiguration;
        context.m_nCameraCount = eProduct == ProductHalvorine ? 3 : 2;
        context.m_nConfiguredCameraCount = eConfiguration == KestrovaCfg3CameraL ? 3 : 2;
        context.m_nRows = 18;
        context.m_nCols = 24;
        for (int nChannel = 0; nChannel < 3; ++nChannel) {
            const int nCamera = cameraOfChannel[static_cast<std::size_t>(nChannel)];
            context.m_anCameraOfChannel[static_cast<std::size_t>(nChannel)] = nCamera;
            if (nCamera >= 0) {
                context.m_anChannelOfCamera[static_cast<std::size_t>(nCamera)] = nChannel;
            }
        }
        for (int i = 0; i < context.m_nCameraCount; ++i) {
            context.m_apCameras[static_cast<std::size_t>(i)] = apCameras[i].get();
        }
    }
    KestrovaError run(const KestrovaInput& rInput) { return standardKestrovaPreprocess(&context, &rInput); }
};

/** The same pixels as a packed frame and as three planes; neither has a byte behind the last pixel of a packed row. */
struct Frame
{
    LentImage<Pixel8x4> packed;
    Bytes aPlanes[3];
    int nRowInc;

    Frame(int nRows, int nCols, int nPadding, unsigned uSeed)
        : packed(nRows, nCols, nCols + nPadding, uSeed), nRowInc(nCols + nPadding)
    {
        for (int i = 0; i < nRows * nRowInc; ++i) {
            const int nCol = i % nRowInc;
            const Pixel8x4 p = nCol < nCols ? packed.image()[i / nRowInc][nCol] : Pixel8x4{1, 2, 3, 4};
            aPlanes[0].push_back(p.m_ucRed);
            aPlanes[1].push_back(p.m_ucGreen);
            aPlanes[2].push_back(p.m_ucBlue);
        }
        for (Bytes& rPlane : aPlanes) {
            rPlane.shrink_to_fit(); // so that a read past nRows * nRowInc is seen
        }
    }
    KestrovaInput packedInput() { return input(KestrovaInputPacked, 4 * nRowInc, packed.data()); }
    KestrovaInput planeInput() { return input(KestrovaInputRGB, nRowInc, aPlanes[0].data()); }

private:
    KestrovaInput input(KestrovaInputType eType, int nBytes, void* pFirst)
    {
        const ImageDim size = packed.image().size();
        return {eType, 0, 0, size.m_nRows, size.m_nCols, nBytes, pFirst, aPlanes[1].data(), aPlanes[2].data()};
    }
};

Bytes results(const StereoContext& rContext, int nCamera)
{
    auto all = pixelsOf(rContext.m_rectifiedImages[nCamera]);
    const auto edges = pixelsOf(rContext.m_edgeImages[nCamera]);
    all.insert(all.end(), edges.begin(), edges.end());
    return all;
}

TEST(Preprocess, PackedAndPlanesGiveTheSameImagesOfTheCamerasInUse)
{
    struct Case
    {
        StereoProduct eProduct;
        KestrovaCameraConfiguration eConfiguration;
        std::array<int, 3> cameraOfChannel;
        std::array<bool, 3> required;
        bool bLowpass;
        KernelType eKernelType;
    };
    const Case aCases[] = {
        {ProductHalvorine, KestrovaCfg3CameraL, {0, 1, 2}, {true, true, true}, true, KernelBilinear},
        {ProductHalvorine, KestrovaCfg3CameraL, {2, 0, 1}, {true, true, true}, false, KernelNearest},
        {ProductHalvorine, KestrovaCfg2CameraHorizontal, {0, 1, 2}, {true, false, true}, true, KernelNearest},
        {ProductPemberlow, KestrovaCfg2CameraHorizontal, {1, -1, 0}, {true, true, false}, false, KernelBilinear},
        {ProductTandrell, KestrovaCfg2CameraVertical, {0, 1, -1}, {true, true, false}, true, KernelBilinear},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(testing::Message() << c.eProduct << c.eConfiguration << c.bLowpass);
        Frame frame(sk_nRows, sk_nCols, 0, 31);
        Set packed(c.eProduct, c.eConfiguration, c.cameraOfChannel);
        Set planes(c.eProduct, c.eConfiguration, c.cameraOfChannel);
        for (Set* pSet : {&packed, &planes}) {
            pSet->context.m_bLowpass = c.bLowpass;
            pSet->context.m_eKernelType = c.eKernelType;
            ASSERT_EQ(pSet->run(pSet == &packed ? frame.packedInput() : frame.planeInput()), KestrovaErrorOk);
        }
        for (int nCamera = 0; nCamera < packed.context.m_nCameraCount; ++nCamera) {
            const auto uCamera = static_cast<std::size_t>(nCamera);
            ASSERT_EQ(results(packed.context, nCamera), results(planes.context, nCamera)) << nCamera;
            if (!c.required[uCamera]) {
                ASSERT_EQ(pixelsOf(packed.context.m_rawImages[nCamera]), Bytes(sk_nRows * sk_nCols)) << nCamera;
                ASSERT_EQ(results(packed.context, nCamera), Bytes(2 * 18 * 24)) << nCamera;
                continue;
            }
            // Against the steps done by hand on the plane that carries this camera.
            const int nChannel = packed.context.m_anChannelOfCamera[uCamera];
            const Image<unsigned char> raw(sk_nRows, sk_nCols, frame.aPlanes[nChannel].data());
            ASSERT_EQ(pixelsOf(packed.context.m_rawImages[nCamera]), pixelsOf(raw)) << nCamera;
            ASSERT_EQ(planes.context.m_rawImages[nCamera].data(), frame.aPlanes[nChannel].data()) << "copied";
            Image<unsigned char> rectified(18, 24);
            const unsigned uMask = c.bLowpass ? 2 : 1;
            ASSERT_TRUE(
                lowpassRectify(rectified, *packed.apCameras[nCamera], raw, uMask, uMask, 0, 0, c.eKernelType, 5));
            Image<unsigned char> edge(18, 24);
            edgeImage(edge, rectified, 7);
            ASSERT_EQ(pixelsOf(packed.context.m_rectifiedImages[nCamera]), pixelsOf(rectified)) << nCamera;
            ASSERT_EQ(pixelsOf(packed.context.m_edgeImages[nCamera]), pixelsOf(edge)) << nCamera;
        }
    }
}

TEST(Preprocess, PaddingIsCutByChannelNumberWithOrWithoutRectification)
{
    struct Case
    {
        std::array<int, 3> cameraOfChannel;
        std::array<int, 3> rawCols; // by camera
    };
    const Case aCases[] = {{{0, 1, 2}, {48, 48, 48}}, {{2, 1, 0}, {53, 48, 48}}, {{1, 0, -1}, {53, 48, 0}}};
    for (const Case& c : aCases) {
        Frame frame(sk_nRows, sk_nCols, 5, 33);
        const bool bPair = c.cameraOfChannel[2] < 0;
        Set set(bPair ? ProductPemberlow : ProductHalvorine, bPair ? KestrovaCfg2CameraHorizontal : KestrovaCfg3CameraL,
                c.cameraOfChannel);
        StereoContext& r = set.context;
        ASSERT_EQ(set.run(frame.planeInput()), KestrovaErrorOk);
        for (int i = 0; i < r.m_nCameraCount; ++i) {
            EXPECT_EQ(r.m_rawImages[i].nCols(), c.rawCols[static_cast<std::size_t>(i)]) << i;
        }
        r.m_bRectify = r.m_bEdgeCorrelation = false;
        r.m_nRows = sk_nRows;
        r.m_nCols = sk_nCols;
        ASSERT_EQ(set.run(frame.packedInput()), KestrovaErrorOk);
        for (int i = 0; i < r.m_nCameraCount; ++i) {
            EXPECT_EQ(pixelsOf(r.m_rectifiedImages[i]), pixelsOf(r.m_rawImages[i])) << "gain or lowpass applied";
            EXPECT_NE(r.m_rectifiedImages[i].data(), r.m_rawImages[i].data());
        }
    }
}

TEST(Preprocess, LaterFramesReuseWarpersAndStorageButNotTheCallersPlanes)
{
    Set set(ProductPemberlow, KestrovaCfg2CameraHorizontal);
    StereoContext& rContext = set.context;
    Frame frame(sk_nRows, sk_nCols, 0, 37);
    ASSERT_EQ(set.run(frame.packedInput()), KestrovaErrorOk);
    const int nWarpers = set.apCameras[1]->warpers().count();
    const void* const pKept = rContext.m_edgeImages[0].data();
    ASSERT_EQ(set.run(frame.packedInput()), KestrovaErrorOk);
    EXPECT_EQ(rContext.m_edgeImages[0].data(), pKept);
    EXPECT_EQ(set.apCameras[1]->warpers().count(), nWarpers);
    ASSERT_EQ(set.run(frame.planeInput()), KestrovaErrorOk);
    const auto plane = frame.aPlanes[0];
    Frame other(sk_nRows, sk_nCols, 0, 38);
    ASSERT_EQ(set.run(other.packedInput()), KestrovaErrorOk);
    EXPECT_EQ(frame.aPlanes[0], plane) << "a packed frame was unpacked into planes of the frame before";

    // A furrow context makes the shifted image of the left camera only.
    const auto right = results(rContext, 0);
    rContext.m_bIsFurrowContext = true;
    rContext.m_nFurrowOffset = 50;
    Frame small(10, 30, 2, 39);
    ASSERT_EQ(set.run(small.packedInput()), KestrovaErrorOk);
    EXPECT_EQ(rContext.m_rawImages[1].size(), (ImageDim{10, 30}));
    EXPECT_EQ(results(rContext, 0), right);
    EXPECT_EQ(set.apCameras[1]->currentWarper()->key().m_nSubpixelColOffset, 50);
}

TEST(Preprocess, ErrorsComeInOrderAndTheFirstOnesChangeNothing)
{
    const struct
    {
        int nType, nRows, nCols, nRowInc;
        bool bPixels, bRectify;
        KestrovaError eError;
    } aInputs[] = {
        {3, 36, 48, 192, true, false, KestrovaErrorInvalidSetting}, // before the size
        {1, 0, 48, 192, true, true, KestrovaErrorInvalidSetting},
        {2, 36, -1, 192, true, true, KestrovaErrorInvalidSetting},
        {1, 36, 48, 191, true, true, KestrovaErrorInvalidSetting},
        {1, 36, 1 << 30, 192, true, true, KestrovaErrorInvalidSetting},
        {1, 36, 48, 192, false, true, KestrovaErrorInvalidParameter},
        {1, 36, 48, 192, true, false, KestrovaErrorInvalidParameter}, // not the size of rectified images
    };
    Frame frame(sk_nRows, sk_nCols, 0, 43);
    for (const auto& b : aInputs) {
        Set set(ProductPemberlow, KestrovaCfg2CameraHorizontal);
        set.context.m_bRectify = b.bRectify;
        void* const pPixels = b.bPixels ? frame.packed.data() : nullptr;
        const KestrovaInput input{b.nType, 0, 0, b.nRows, b.nCols, b.nRowInc, pPixels, pPixels, pPixels};
        EXPECT_EQ(set.run(input), b.eError) << &b - aInputs;
        EXPECT_EQ(set.context.m_nSourceRows, 0) << &b - aInputs;
    }
    const struct
    {
        bool bMaps;
        KestrovaCameraConfiguration eConfiguration;
        std::array<int, 3> cameraOfChannel;
        KestrovaError eError;
    } aContexts[] = {
        {false, KestrovaCfg2CameraVertical, {-1, -1, -1}, KestrovaErrorSystem}, // before the channels
        {true, KestrovaCfg2CameraVertical, {0, 1, -1}, KestrovaErrorUnknown},   // it has no top camera
        {true, KestrovaCfg2CameraHorizontal, {0, -1, -1}, KestrovaErrorUnknown},
    };
    for (const auto& b : aContexts) {
        Set set(ProductPemberlow, b.eConfiguration, b.cameraOfChannel);
        if (!b.bMaps) {
            set.context.m_apCameras[1]->deleteWarpMapFuncs();
        }
        EXPECT_EQ(set.run(&b == aContexts ? frame.planeInput() : frame.packedInput()), b.eError) << &b - aContexts;
        EXPECT_EQ(set.context.m_nSourceRows, sk_nRows) << &b - aContexts;
    }
    StereoContext context;
    EXPECT_EQ(standardKestrovaPreprocess(nullptr, nullptr), KestrovaErrorInvalidContext);
    EXPECT_EQ(standardKestrovaPreprocess(&context, nullptr), KestrovaErrorInvalidParameter);
}

} // namespace
} // namespace kestrova::test
