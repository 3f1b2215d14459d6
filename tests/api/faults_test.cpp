// Memory and threads that the system refuses, one after the other, and what a settled frame asks for: nothing.
#include "api/MultiContext.h"
#include "support/Faults.h"
#include "support/StereoFrame.h"

#include <functional>

namespace {

using namespace kestrova;
using namespace kestrova::test;

constexpr int sk_nRows = 60;
constexpr int sk_nCols = 80;
constexpr Shape sk_aShapes[] = {Shape::Horizontal, Shape::Vertical, Shape::L};

/** How a handle of the table below is set up: all combinations, by bits. */
struct Switches
{
    Shape m_eShape;
    unsigned m_uBits;

    [[nodiscard]] bool is(unsigned uBit) const { return (m_uBits >> uBit & 1) != 0; }
    [[nodiscard]] bool isEnhanced() const { return is(0); }
    [[nodiscard]] bool is16Bit() const { return is(1); }

    void apply(KestrovaContext c, int nThreads) const
    {
        kestrovaEnableSSE2IfAvailable(is(4));
        getActiveContext(c)->m_aROIs[0] = {4, 0, 30, 60};
        getActiveContext(c)->m_aROIs[1] = {2, 10, 50, 40};
        expectOk({kestrovaSetResolution(c, sk_nRows, sk_nCols), kestrovaSetDisparity(c, 0, 8),
                  kestrovaSetStereoQuality(c, isEnhanced() ? KestrovaStereoEnhanced : KestrovaStereoStandard),
                  kestrovaSetSubpixelInterpolation(c, is16Bit()), kestrovaSetSurfaceValidation(c, is(2)),
                  kestrovaSetNumberOfROIs(c, is(3) ? 2 : 0), kestrovaSetBackForthValidation(c, is(3)),
                  kestrovaSetMaxThreadCount(c, nThreads)});
    }
};

/** A frame of the set in the form asked for. */
KestrovaInput input(StereoFrame& rFrame, bool bPacked)
{
    return bPacked ? rFrame.packed() : rFrame.planes();
}

TEST(Faults, SettledFramesAllocateNothing)
{
    for (const Shape eShape : sk_aShapes) {
        StereoFrame frame(sk_nRows, sk_nCols, 5, 0, eShape);
        for (unsigned uBits = 0; uBits < 32; ++uBits) {
            for (int nThreads = 1; nThreads <= 4; ++nThreads) {
                const Switches switches{eShape, uBits};
                const Handle c = open(eShape);
                switches.apply(c, nThreads);
                KestrovaInput pixels = input(frame, switches.is(2));
                for (int nFrame = 0; nFrame < 4; ++nFrame) {
                    const unsigned nBefore = allocations();
                    expectOk({kestrovaPreprocess(c, &pixels)});
                    const unsigned nPreprocessed = allocations();
                    expectOk({kestrovaStereo(c)});
                    const std::pair counts(nPreprocessed - nBefore, allocations() - nPreprocessed);
                    EXPECT_TRUE(nFrame < 1 || counts == std::pair(0U, 0U))
                        << "shape " << static_cast<int>(eShape) << ", bits " << uBits << ", threads " << nThreads
                        << ", frame " << nFrame << ": " << counts.first << " and " << counts.second;
                }
            }
        }
    }
}

/** A call that allocates, and what is to be as if it had never been refused. */
struct Step
{
    const char* m_pszName;
    std::function<KestrovaError(KestrovaContext)> m_call;
};

/** True while the n-th request is made; a refused one leaves as the error given, or else as the exception. */
bool refused(const Step& rStep, KestrovaContext context, Fault eFault, int n, KestrovaError eExpected)
{
    const Refusal refusal(eFault, n);
    KestrovaError eError = KestrovaErrorUnknown;
    try {
        eError = rStep.m_call(context);
    } catch (const std::bad_alloc&) {
        EXPECT_EQ(eFault, Fault::Allocation);
        EXPECT_TRUE(refusal.happened());
        return true;
    }
    EXPECT_EQ(eError, refusal.happened() ? eExpected : KestrovaErrorOk) << rStep.m_pszName << ", request " << n;
    return refusal.happened();
}

std::vector<std::uint16_t> wholeFrame(KestrovaContext c, KestrovaInput& rInput)
{
    expectOk({kestrovaPreprocess(c, &rInput), kestrovaStereo(c)});
    return disparity16(c);
}

/** The steps from a new handle to a copy of it, each with one request refused; then the next frame is right. */
void refuseInTurn(Shape eShape, Fault eFault, KestrovaError eExpected)
{
    StereoFrame frame(sk_nRows, sk_nCols, 5, 0, eShape);
    KestrovaInput pixels = frame.packed();
    const Step aSteps[] = {
        {"threads", [](KestrovaContext c) { return kestrovaSetMaxThreadCount(c, 3); }},
        {"quality", [](KestrovaContext c) { return kestrovaSetStereoQuality(c, KestrovaStereoEnhanced); }},
        {"preprocess", [&](KestrovaContext c) { return kestrovaPreprocess(c, &pixels); }},
        {"stereo", [](KestrovaContext c) { return kestrovaStereo(c); }},
        {"copy",
         [](KestrovaContext c) {
             KestrovaContext copy = nullptr;
             const KestrovaError eError = kestrovaCopyContext(c, &copy);
             EXPECT_EQ(eError == KestrovaErrorOk, copy != nullptr);
             return copy != nullptr ? kestrovaDestroyContext(copy) : eError;
         }},
    };
    const Switches enhanced{eShape, 0b10111};
    const Handle undisturbed = open(eShape);
    enhanced.apply(undisturbed, 3);
    const auto expected = wholeFrame(undisturbed, pixels);
    for (const Step& rStep : aSteps) {
        int n = 1;
        for (bool bRefused = true; bRefused; ++n) {
            const Handle c = open(eShape);
            Switches{eShape, 0b10110}.apply(c, 2);
            for (const Step* pBefore = aSteps; pBefore != &rStep; ++pBefore) {
                EXPECT_EQ(pBefore->m_call(c), KestrovaErrorOk);
            }
            const int nThreads = got(kestrovaGetMaxThreadCount, c);
            bRefused = refused(rStep, c, eFault, n, eExpected);
            EXPECT_EQ(got(kestrovaGetMaxThreadCount, c), bRefused ? nThreads : 3) << rStep.m_pszName;
            expectOk({kestrovaSetMaxThreadCount(c, 3), kestrovaSetStereoQuality(c, KestrovaStereoEnhanced)});
            ASSERT_EQ(wholeFrame(c, pixels), expected) << rStep.m_pszName << ", request " << n;
        }
        EXPECT_TRUE(n > 2 || eFault == Fault::Thread) << rStep.m_pszName << " asks for nothing";
    }
}

TEST(Faults, EveryAllocationOfAFrameMayBeRefused)
{
    for (const Shape eShape : {Shape::Horizontal, Shape::L}) {         // one for each correlator
        refuseInTurn(eShape, Fault::Allocation, KestrovaErrorUnknown); // travels as the exception
    }
}

TEST(Faults, EveryThreadMayBeRefused)
{
    refuseInTurn(Shape::Horizontal, Fault::Thread, KestrovaErrorSystem);
}

TEST(Faults, RefusedLoadingGivesNoHandleOrAGoodOne)
{
    const std::string text = CalibrationText(Shape::L).text();
    const TempFile file(text);
    StereoFrame frame(sk_nRows, sk_nCols, 5, 0, Shape::L);
    KestrovaInput pixels = frame.packed();
    std::vector<std::uint16_t> expected;
    for (const Fault eFault : {Fault::Thread, Fault::Allocation}) {
        for (const bool bFile : {false, true}) {
            int n = 1;
            for (bool bRefused = true; bRefused; ++n) {
                KestrovaContext context = nullptr;
                const Step load{"load", [&](KestrovaContext) {
                                    return bFile ? kestrovaGetDefaultContextFromFile(&context, file.path())
                                                 : kestrovaGetDefaultContextFromMemory(&context, text.c_str());
                                }};
                // A refused reserve is no failure: it is asked for again when it is needed.
                const bool bReserve = eFault == Fault::Allocation;
                bRefused = refused(load, nullptr, eFault, n, bReserve ? KestrovaErrorOk : KestrovaErrorSystem);
                EXPECT_TRUE(bReserve || (context == nullptr) == bRefused);
                if (const Handle c(context); c != nullptr) {
                    Switches{Shape::L, 0b10110}.apply(c, 2);
                    const auto actual = wholeFrame(c, pixels);
                    expected = expected.empty() ? actual : expected;
                    EXPECT_EQ(actual, expected) << "request " << n;
                }
            }
            EXPECT_GT(n, 2);
        }
    }
}

TEST(Faults, EndingAsksForNothing)
{
    for (const bool bFrame : {false, true}) {
        Handle c = open(Shape::Vertical);
        const Switches enhanced{Shape::Vertical, 0b10111};
        enhanced.apply(c, 4);
        StereoFrame frame(sk_nRows, sk_nCols, 5, 0, Shape::Vertical);
        KestrovaInput pixels = frame.packed();
        if (bFrame) {
            wholeFrame(c, pixels);
        }
        const unsigned nBefore = allocations();
        {
            const Refusal refusal(Fault::Allocation, 1, true);
            c.reset();
            EXPECT_FALSE(refusal.happened());
        }
        EXPECT_EQ(allocations(), nBefore);
    }
}

} // namespace
