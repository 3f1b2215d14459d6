// What tests/api/faults_test.cpp leaves: every request for memory of the other calls that set up, show or save is
// refused in turn. The caller gets the documented answer, and the next frame is right. What is lost, the leak checker
// tells.
#include "support/Faults.h"
#include "support/StereoFrame.h"

#include <functional>
#include <new>

using namespace kestrova::test;

namespace {

constexpr int sk_nRows = 24, sk_nCols = 32;

struct Program
{
    explicit Program(Shape eShape)
        : handle(openText(CalibrationText(eShape)
                              .set("Resolution", "24 32")
                              .set("Disparity", "0 8")
                              .set("StereoQuality", "Enhanced")
                              .text()))
    {
        expectOk({kestrovaSetMaxThreadCount(handle, 2)});
    }

    std::vector<std::uint16_t> nextFrame()
    {
        KestrovaInput planes = frame.planes(), packed = frame.packed();
        expectOk({kestrovaSetResolution(handle, sk_nRows, sk_nCols), kestrovaPreprocess(handle, &packed),
                  kestrovaPreprocess(handle, &planes), kestrovaStereo(handle)});
        return disparity16(handle);
    }

    Handle handle;
    TempFile file{};
    StereoFrame frame{sk_nRows, sk_nCols, 3};
};

KestrovaError colour(Program& r)
{
    KestrovaInput planes = r.frame.planes();
    KestrovaColorImage image{};
    return kestrovaRectifyColorImage(r.handle, KestrovaCamRight, &planes, &image);
}

KestrovaError packedColour(Program& r)
{
    KestrovaInput packed = r.frame.packed();
    KestrovaPackedColorImage image{};
    return kestrovaRectifyPackedColorImage(r.handle, KestrovaCamRight, &packed, &image);
}

struct Call
{
    const char* pszName;
    bool bSettled; // after a frame
    std::function<KestrovaError(Program&)> call;
};

const std::vector<Call> sk_calls = {
    {"prepare", false,
     [](Program& r) { return kestrovaSetResolutionAndPrepare(r.handle, sk_nRows, sk_nCols, 30, 40); }},
    {"buffer", true, [](Program& r) { return kestrovaUnsetImageBuffer(r.handle, KestrovaImgRaw, KestrovaCamRight); }},
    {"16-bit buffer", true,
     [](Program& r) { return kestrovaUnsetImage16Buffer(r.handle, KestrovaImg16Disparity, KestrovaCamRight); }},
    {"colour buffer", true, [](Program& r) { return kestrovaUnsetColorImageBuffer(r.handle, KestrovaCamRight); }},
    {"packed buffer", true, [](Program& r) { return kestrovaUnsetPackedColorImageBuffer(r.handle, KestrovaCamRight); }},
    {"colour", false, colour},
    {"packed colour", false, packedColour},
    {"save", true,
     [](Program& r) {
         return kestrovaSaveImageExtra(r.handle, KestrovaImgRectified, KestrovaCamRight, r.file.path());
     }},
    {"write", true, [](Program& r) { return kestrovaWriteCurrentContextToFile(r.handle, r.file.path()); }},
};

/** Whether the n-th request was made. */
bool refuse(Shape eShape, const Call& rCall, int n, const std::vector<std::uint16_t>& rExpected)
{
    SCOPED_TRACE(testing::Message() << rCall.pszName << ", request " << n);
    Program program(eShape);
    if (rCall.bSettled) {
        program.nextFrame();
    }
    bool bRefused = false;
    {
        const Refusal refusal(Fault::Allocation, n);
        try {
            const KestrovaError eError = rCall.call(program);
            bRefused = refusal.happened();
            EXPECT_TRUE(eError == KestrovaErrorOk || (bRefused && eError == KestrovaErrorSystem)) << eError;
        } catch (const std::bad_alloc&) {
            bRefused = refusal.happened();
            EXPECT_TRUE(bRefused);
        }
    }
    EXPECT_TRUE(program.nextFrame() == rExpected);
    return bRefused;
}

TEST(Refusals, OfMemoryInAllOtherCalls)
{
    for (const Shape eShape : {Shape::Horizontal, Shape::L}) {
        const std::vector<std::uint16_t> expected = Program(eShape).nextFrame();
        int nRefusals = 0;
        for (const Call& rCall : sk_calls) {
            int n = 1;
            while (refuse(eShape, rCall, n, expected) && !HasFailure()) {
                ++n;
            }
            nRefusals += n - 1;
        }
        EXPECT_GT(nRefusals, 30);
    }
}

} // namespace
