#include "context/StereoContext.h"
#include "preprocess/preprocess.h"
#include "rectify/boxFilters.h"
#include "rectify/lowpass.h"
#include "rectify/models.h"
#include "support/StereoFrame.h"

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

/** The rectified and the edge image. */
std::pair<Bytes, Bytes> results(const StereoContext& rContext, int nCamera)
{
    return {pixelsOf(rContext.m_rectifiedImages[nCamera]), pixelsOf(rContext.m_edgeImages[nCamera])};
}

TEST(Preprocess, PackedAndPlanesGiveTheSameImagesOfTheCamerasInUse)
{
    const struct
    {
        StereoProduct eProduct;
        KestrovaCameraConfiguration eConfiguration;
        std::array<int, 3> cameraOfChannel;
        std::array<bool, 3> required;
        bool bLowpass;
        KernelType eKernelType;
    } aCases[] = {
        {ProductHalvorine, KestrovaCfg3CameraL, {0, 1, 2}, {true, true, true}, true, KernelBilinear},
        {ProductHalvorine, KestrovaCfg3CameraL, {2, 0, 1}, {true, true, true}, false, KernelNearest},
        {ProductHalvorine, KestrovaCfg2CameraHorizontal, {0, 1, 2}, {true, false, true}, true, KernelNearest},
        {ProductPemberlow, KestrovaCfg2CameraHorizontal, {1, -1, 0}, {true, true, false}, false, KernelBilinear},
        {ProductTandrell, KestrovaCfg2CameraVertical, {0, 1, -1}, {true, true, false}, true, KernelBilinear},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(testing::Message() << c.eProduct << c.eConfiguration << c.bLowpass);
        StereoFrame frame(sk_nRows, sk_nCols, 3, 0, Shape::L);
        Set packed(c.eProduct, c.eConfiguration, c.cameraOfChannel);
        Set planes(c.eProduct, c.eConfiguration, c.cameraOfChannel);
        for (Set* pSet : {&packed, &planes}) {
            pSet->context.m_bLowpass = c.bLowpass;
            pSet->context.m_eKernelType = c.eKernelType;
            ASSERT_EQ(pSet->run(pSet == &packed ? frame.packed() : frame.planes()), KestrovaErrorOk);
        }
        for (int nCamera = 0; nCamera < packed.context.m_nCameraCount; ++nCamera) {
            const auto uCamera = static_cast<std::size_t>(nCamera);
            ASSERT_EQ(results(packed.context, nCamera), results(planes.context, nCamera)) << nCamera;
            if (!c.required[uCamera]) {
                ASSERT_EQ(pixelsOf(packed.context.m_rawImages[nCamera]), Bytes(sk_nRows * sk_nCols)) << nCamera;
                ASSERT_EQ(results(packed.context, nCamera), (std::pair{Bytes(18 * 24), Bytes(18 * 24)})) << nCamera;
                continue;
            }
            // Against the steps done by hand on the plane that carries this camera.
            const auto nChannel = static_cast<std::size_t>(packed.context.m_anChannelOfCamera[uCamera]);
            const Image<unsigned char> raw(sk_nRows, sk_nCols, frame.plane(nChannel).data());
            ASSERT_EQ(pixelsOf(packed.context.m_rawImages[nCamera]), pixelsOf(raw)) << nCamera;
            ASSERT_EQ(planes.context.m_rawImages[nCamera].data(), frame.plane(nChannel).data()) << "copied";
            Image<unsigned char> rectified(18, 24);
            const unsigned uMask = c.bLowpass ? 2 : 1;
            ASSERT_TRUE(
                lowpassRectify(rectified, *packed.apCameras[nCamera], raw, {uMask, uMask, 0, 0, c.eKernelType, 5}));
            Image<unsigned char> edge(18, 24);
            edgeImage(edge, rectified, 7);
            ASSERT_EQ(results(packed.context, nCamera), (std::pair{pixelsOf(rectified), pixelsOf(edge)})) << nCamera;
        }
    }
}

TEST(Preprocess, PaddingIsCutByChannelNumberWithOrWithoutRectification)
{
    const struct
    {
        std::array<int, 3> cameraOfChannel;
        std::array<int, 3> rawCols; // by camera
    } aCases[] = {{{0, 1, 2}, {48, 48, 48}}, {{2, 1, 0}, {53, 48, 48}}, {{1, 0, -1}, {53, 48, 0}}};
    for (const auto& c : aCases) {
        StereoFrame frame(sk_nRows, sk_nCols, 3, 5, Shape::L);
        const bool bPair = c.cameraOfChannel[2] < 0;
        Set set(bPair ? ProductPemberlow : ProductHalvorine, bPair ? KestrovaCfg2CameraHorizontal : KestrovaCfg3CameraL,
                c.cameraOfChannel);
        StereoContext& r = set.context;
        ASSERT_EQ(set.run(frame.planes()), KestrovaErrorOk);
        for (int i = 0; i < r.m_nCameraCount; ++i) {
            EXPECT_EQ(r.m_rawImages[i].nCols(), c.rawCols[static_cast<std::size_t>(i)]) << i;
        }
        r.m_bRectify = r.m_bEdgeCorrelation = false;
        r.m_nRows = sk_nRows;
        r.m_nCols = sk_nCols;
        ASSERT_EQ(set.run(frame.packed()), KestrovaErrorOk);
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
    StereoFrame frame(sk_nRows, sk_nCols, 3);
    ASSERT_EQ(set.run(frame.packed()), KestrovaErrorOk);
    const int nWarpers = set.apCameras[1]->warpers().count();
    const void* const pKept = rContext.m_edgeImages[0].data();
    ASSERT_EQ(set.run(frame.packed()), KestrovaErrorOk);
    EXPECT_EQ(rContext.m_edgeImages[0].data(), pKept);
    EXPECT_EQ(set.apCameras[1]->warpers().count(), nWarpers);
    const void* const pRaw = rContext.m_rawImages[0].data();
    ASSERT_EQ(set.run(frame.planes()), KestrovaErrorOk);
    StereoFrame third(sk_nRows, sk_nCols, 5);
    ASSERT_EQ(set.run(third.packed()), KestrovaErrorOk);
    EXPECT_EQ(rContext.m_rawImages[0].data(), pRaw);
    const StereoContext copy(rContext);
    const Bytes shown = pixelsOf(copy.m_rawImages[0]);
    ASSERT_EQ(set.run(frame.planes()), KestrovaErrorOk);
    const Bytes plane = frame.plane(0);
    StereoFrame other(sk_nRows, sk_nCols, 4);
    ASSERT_EQ(set.run(other.packed()), KestrovaErrorOk);
    EXPECT_EQ(frame.plane(0), plane) << "a packed frame was unpacked into planes of the frame before";
    EXPECT_EQ(pixelsOf(copy.m_rawImages[0]), shown) << "... into storage that a copied context still shows";

    // A furrow context makes the shifted image of the left camera only.
    const auto right = results(rContext, 0);
    rContext.m_bIsFurrowContext = true;
    rContext.m_nFurrowOffset = 50;
    StereoFrame small(10, 30, 3, 2);
    ASSERT_EQ(set.run(small.packed()), KestrovaErrorOk);
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
    StereoFrame frame(sk_nRows, sk_nCols, 3);
    for (const auto& b : aInputs) {
        Set set(ProductPemberlow, KestrovaCfg2CameraHorizontal);
        set.context.m_bRectify = b.bRectify;
        void* const pPixels = b.bPixels ? frame.plane(0).data() : nullptr;
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
        EXPECT_EQ(set.run(&b == aContexts ? frame.planes() : frame.packed()), b.eError) << &b - aContexts;
        EXPECT_EQ(set.context.m_nSourceRows, sk_nRows) << &b - aContexts;
    }
    StereoContext context;
    EXPECT_EQ(standardKestrovaPreprocess(nullptr, nullptr), KestrovaErrorInvalidContext);
    EXPECT_EQ(standardKestrovaPreprocess(&context, nullptr), KestrovaErrorInvalidParameter);
}

} // namespace
} // namespace kestrova::test
