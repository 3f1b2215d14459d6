// What the header allows threads to do at once gives what one thread gives, and races with nothing (preset tsan).
#include "support/StereoFrame.h"

#include <barrier>
#include <thread>

using namespace kestrova::test;

namespace {

constexpr int sk_nRows = 48, sk_nCols = 64, sk_nThreads = 4;

struct Way
{
    Shape eShape;
    KestrovaRectImgQuality eRectification;
    KestrovaStereoQuality eStereo;
};

constexpr Way sk_aWays[] = {{Shape::Horizontal, KestrovaRectEnhanced2, KestrovaStereoEnhanced},
                            {Shape::Horizontal, KestrovaRectEnhanced1, KestrovaStereoStandard},
                            {Shape::L, KestrovaRectStandard, KestrovaStereoEnhanced},
                            {Shape::Vertical, KestrovaRectEnhanced2, KestrovaStereoStandard}};

Handle openWay(const Way& rWay)
{
    CalibrationText text(rWay.eShape);
    for (CameraText& rCamera : text.cameras) { // curved, so that splines and kernels have work
        rCamera.forward.row = rCamera.inverse.row = [](double dRow, double dCol) { return dRow + 0.04 * dRow * dCol; };
    }
    text.nCoefs = 6;
    Handle handle = openText(text.set("Disparity", "0 8").text());
    expectOk({kestrovaSetMaxThreadCount(handle, 2), kestrovaSetResolution(handle, sk_nRows, sk_nCols),
              kestrovaSetRectImgQuality(handle, rWay.eRectification), kestrovaSetStereoQuality(handle, rWay.eStereo)});
    return handle;
}

using Pixels = std::vector<std::uint16_t>;

/** A frame and where its points lie in the raw image. */
Pixels frameOf(KestrovaContext context, int nFrame)
{
    StereoFrame frame(sk_nRows + nFrame % 3, sk_nCols, 3, nFrame % 2);
    KestrovaInput input = nFrame % 2 == 0 ? frame.packed() : frame.planes();
    expectOk({kestrovaPreprocess(context, &input), kestrovaStereo(context)});
    return disparity16(context);
}

std::vector<float> pointsOf(KestrovaContext context)
{
    std::vector<float> points;
    for (int i = 0; i < 100; ++i) {
        float fRow = 0, fCol = 0, fRawRow = 0, fRawCol = 0;
        kestrovaRectifyPixel(context, KestrovaCamRight, &fRow, &fCol, static_cast<float>(i) * 0.4F, 20);
        kestrovaUnrectifyPixel(context, KestrovaCamRight, &fRawRow, &fRawCol, fRow, fCol);
        points.insert(points.end(), {fRow, fCol, fRawRow, fRawCol});
    }
    return points;
}

/** All at once, beginning together. */
template<class Work>
void atOnce(int nThreads, Work work)
{
    std::barrier start(nThreads);
    std::vector<std::jthread> threads;
    for (int i = 0; i < nThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
}

// Before anything else of this program, so that tables which the process keeps are filled at once.
TEST(AtOnce, HandlesOfTheirOwn)
{
    std::array<std::vector<Pixels>, sk_nThreads> results;
    std::array<std::string, sk_nThreads> versions;
    atOnce(sk_nThreads, [&](int i) {
        const auto u = static_cast<std::size_t>(i);
        versions[u] = kestrovaVersion();
        for (int n = 0; n < 4; ++n) {
            const Handle handle = openWay(sk_aWays[(u + static_cast<std::size_t>(n)) % 4]);
            results[u].push_back(frameOf(handle, n));
        }
    });
    for (std::size_t u = 0; u < results.size(); ++u) {
        EXPECT_EQ(versions[u], kestrovaVersion());
        for (int n = 0; n < 4; ++n) {
            const Handle handle = openWay(sk_aWays[(u + static_cast<std::size_t>(n)) % 4]);
            EXPECT_TRUE(results[u][static_cast<std::size_t>(n)] == frameOf(handle, n)) << u << ' ' << n;
        }
    }
}

/** The images that a caller can replace. */
struct Buffers
{
    explicit Buffers(KestrovaContext context) : disparity(sk_nRows * sk_nCols)
    {
        EXPECT_EQ(kestrovaSetImage16Buffer(context, disparity.data(), KestrovaImg16Disparity, KestrovaCamRight),
                  KestrovaErrorOk);
        for (const auto eType : {KestrovaImgRectified, KestrovaImgEdge, KestrovaImgDisparity}) {
            for (const auto eCamera : {KestrovaCamRight, KestrovaCamTop, KestrovaCamLeft}) {
                images.emplace_back(sk_nRows * sk_nCols);
                kestrovaSetImageBuffer(context, images.back().data(), eType, eCamera); // of cameras that it has
            }
        }
    }
    std::vector<std::uint16_t> disparity;
    std::vector<std::vector<std::uint8_t>> images{};
};

TEST(AtOnce, RunsOfCopiesWithBuffersOfTheirOwn)
{
    for (const Way& rWay : sk_aWays) {
        const Handle source = openWay(rWay);
        frameOf(source, 1);
        std::vector<Handle> copies;
        std::vector<Pixels> expected, results(sk_nThreads);
        std::vector<Buffers> buffers;
        std::vector<StereoFrame> frames;
        for (int i = 0; i < sk_nThreads; ++i) {
            KestrovaContext context = nullptr;
            expectOk({kestrovaCopyContext(source, &context)});
            copies.emplace_back(context);
            buffers.emplace_back(context);
            frames.emplace_back(sk_nRows, sk_nCols, 2 + i);
        }
        for (int i = 0; i < sk_nThreads; ++i) {
            const Handle alone = openWay(rWay);
            KestrovaInput input = frames[static_cast<std::size_t>(i)].planes();
            expectOk({kestrovaPreprocess(alone, &input), kestrovaStereo(alone),
                      kestrovaPreprocess(copies[static_cast<std::size_t>(i)], &input)});
            expected.push_back(disparity16(alone));
        }
        const std::vector<float> points = pointsOf(copies[0]);
        for (int nRound = 0; nRound < 10; ++nRound) {
            atOnce(sk_nThreads, [&](int i) {
                const auto u = static_cast<std::size_t>(i);
                expectOk({kestrovaStereo(copies[u])});
                EXPECT_TRUE(pointsOf(copies[u]) == points);
                results[u] = disparity16(copies[u]);
            });
            EXPECT_TRUE(results == expected) << "round " << nRound;
        }
    }
}

TEST(AtOnce, AHandleIsHandedOn)
{
    for (const Way& rWay : sk_aWays) {
        Handle handle = openWay(rWay);
        const Pixels expected = frameOf(openWay(rWay), 0);
        for (int i = 0; i < 4; ++i) {
            std::jthread([&] {
                EXPECT_TRUE(frameOf(handle, 0) == expected);
                expectOk({kestrovaSetMaxThreadCount(handle, 1 + i)});
            });
        }
        std::jthread([&] { handle.reset(); });
    }
}

} // namespace
