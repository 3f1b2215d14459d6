// What tests/api/faults_test.cpp leaves: every request for memory of the other calls that set up, show or save is
// refused in turn. The caller gets the documented answer, and the next frame is right. What is lost, the leak checker
// tells.
#include "support/Faults.h"
#include "support/StereoFrame.h"

#include <atomic>
#include <climits>
#include <functional>
#include <new>

using namespace kestrova::test;

namespace {

std::atomic<int> s_nUntilRefusal{INT_MAX}; // of the malloc family

bool refusesMalloc()
{
    return s_nUntilRefusal != INT_MAX && --s_nUntilRefusal == 0;
}

} // namespace

// The linker sends the library's own calls of these here (--wrap).
extern "C" {
void* __real_malloc(std::size_t);
void* __real_realloc(void*, std::size_t);
void* __wrap_malloc(std::size_t u)
{
    return refusesMalloc() ? nullptr : __real_malloc(u);
}
void* __wrap_realloc(void* p, std::size_t u)
{
    return refusesMalloc() ? nullptr : __real_realloc(p, u);
}
}

namespace {

constexpr int sk_nRows = 24, sk_nCols = 32;

struct Program
{
    explicit Program(Shape eShape)
        : handle(openText(CalibrationText(eShape).set("Resolution", "24 32").set("StereoQuality", "Enhanced").text()))
    {
        expectOk({kestrovaSetMaxThreadCount(handle, 2), kestrovaSetDisparity(handle, 0, 8)});
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
     [](Program& r) { return kestrovaSetResolutionAndPrepare(r.handle, sk_nRows, sk_nCols, 30, 41); }},
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
        for (const Call& rCall : sk_calls) {
            int n = 1;
            while (refuse(eShape, rCall, n, expected) && !HasFailure()) {
                ++n;
            }
            EXPECT_GT(n, 1) << rCall.pszName << " asks for nothing";
        }
    }
}

TEST(Refusals, OfTheReadersBlocks)
{
    const TempFile file("P5\n64 48\n255\n" + std::string(64 * 48, 'x'));
    for (int n = 1;; ++n) {
        KestrovaImage image{-1, -1, -1, nullptr};
        KestrovaImageInfo info{};
        s_nUntilRefusal = n;
        const KestrovaError eError = kestrovaReadImageExtra(file.path(), &image, &info);
        const bool bRefused = s_nUntilRefusal <= 0;
        s_nUntilRefusal = INT_MAX;
        ASSERT_EQ(eError, bRefused ? KestrovaErrorImageFileRead : KestrovaErrorOk);
        EXPECT_EQ(image.nrows, bRefused ? -1 : 48);
        if (!bRefused) {
            std::free(image.data);
            EXPECT_GT(n, 1);
            return;
        }
    }
}

} // namespace
