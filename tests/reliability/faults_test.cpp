// Every request for memory and every thread of setting up and of one frame is refused in turn. The caller gets the
// documented answer, nothing is lost, and the next frame is right.
#include "reliability/Faults.h"
#include "support/StereoFrame.h"

#include <functional>
#include <new>

using namespace kestrova::test;

namespace {

constexpr int sk_nRows = 24, sk_nCols = 32;

/** A handle as a program has it, and what a call may bring forth. */
struct Program
{
    explicit Program(const CalibrationText& rText) : text(rText.text()), file(text), handle(openText(text)) {}

    /** What a frame gives; whatever happened before, with the same settings. */
    std::vector<std::uint16_t> nextFrame()
    {
        std::vector<std::uint16_t> pixels;
        KestrovaInput planes = frame.planes(), packed = frame.packed();
        expectOk({kestrovaSetMaxThreadCount(handle, 1), kestrovaSetMaxThreadCount(handle, 2), // and no former error
                  kestrovaSetResolution(handle, sk_nRows, sk_nCols), kestrovaPreprocess(handle, &packed),
                  kestrovaPreprocess(handle, &planes), kestrovaStereo(handle)});
        return disparity16(handle);
    }

    std::string text;
    TempFile file;
    Handle handle;
    Handle made{};
    StereoFrame frame{sk_nRows, sk_nCols, 3};
};

struct Case
{
    const char* pszName;
    std::function<void(Program&)> before;
    std::function<KestrovaError(Program&)> call;
};

KestrovaError settle(Program& r)
{
    r.nextFrame();
    return KestrovaErrorOk;
}
void nothing(Program&) {}

KestrovaError opened(Program& r, KestrovaError eError, KestrovaContext context)
{
    EXPECT_EQ(eError == KestrovaErrorOk, context != nullptr);
    r.made.reset(context);
    return eError;
}

template<class... Arguments>
auto opening(KestrovaError (*pfn)(KestrovaContext*, Arguments...), auto argument)
{
    return [=](Program& r) {
        KestrovaContext context = nullptr;
        const KestrovaError eError = pfn(&context, argument(r));
        return opened(r, eError, context);
    };
}

KestrovaError copied(Program& r)
{
    KestrovaContext context = nullptr;
    const KestrovaError eError = kestrovaCopyContext(r.handle, &context);
    return opened(r, eError, context);
}

KestrovaError preprocessed(Program& r)
{
    KestrovaInput input = r.frame.planes();
    return kestrovaPreprocess(r.handle, &input);
}

KestrovaError preprocessedPacked(Program& r)
{
    KestrovaInput input = r.frame.packed();
    return kestrovaPreprocess(r.handle, &input);
}

KestrovaError colour(Program& r)
{
    KestrovaInput planes = r.frame.planes(), packed = r.frame.packed();
    KestrovaColorImage image{};
    KestrovaPackedColorImage packedImage{};
    const KestrovaError eError = kestrovaRectifyColorImage(r.handle, KestrovaCamRight, &planes, &image);
    return eError != KestrovaErrorOk
               ? eError
               : kestrovaRectifyPackedColorImage(r.handle, KestrovaCamRight, &packed, &packedImage);
}

const std::vector<Case>& cases()
{
    static const std::vector<Case> s_cases = {
        {"load from memory", nothing,
         opening(kestrovaGetDefaultContextFromMemory, [](Program& r) { return r.text.c_str(); })},
        {"load from file", nothing,
         opening(kestrovaGetDefaultContextFromFile, [](Program& r) { return r.file.path(); })},
        {"copy", settle, copied},
        {"threads", settle, [](Program& r) { return kestrovaSetMaxThreadCount(r.handle, 4); }},
        {"prepare", nothing,
         [](Program& r) { return kestrovaSetResolutionAndPrepare(r.handle, sk_nRows, sk_nCols, 30, 41); }},
        {"buffer", settle,
         [](Program& r) { return kestrovaUnsetImageBuffer(r.handle, KestrovaImgRaw, KestrovaCamRight); }},
        {"16-bit buffer", settle,
         [](Program& r) { return kestrovaUnsetImage16Buffer(r.handle, KestrovaImg16Disparity, KestrovaCamRight); }},
        {"colour buffer", settle, [](Program& r) { return kestrovaUnsetColorImageBuffer(r.handle, KestrovaCamRight); }},
        {"packed colour buffer", settle,
         [](Program& r) { return kestrovaUnsetPackedColorImageBuffer(r.handle, KestrovaCamRight); }},
        {"first frame", nothing, preprocessed},
        {"first packed frame", nothing, preprocessedPacked},
        {"frame", settle, preprocessed},
        {"first run", [](Program& r) { EXPECT_EQ(preprocessed(r), KestrovaErrorOk); },
         [](Program& r) { return kestrovaStereo(r.handle); }},
        {"run", settle, [](Program& r) { return kestrovaStereo(r.handle); }},
        {"colour", settle, colour},
        {"save", settle,
         [](Program& r) {
             return kestrovaSaveImageExtra(r.handle, KestrovaImgRectified, KestrovaCamRight, r.file.path());
         }},
        {"write", settle, [](Program& r) { return kestrovaWriteCurrentContextToFile(r.handle, r.file.path()); }},
    };
    return s_cases;
}

class Refusals : public testing::TestWithParam<Shape>
{
protected:
    [[nodiscard]] CalibrationText text() const
    {
        CalibrationText text(GetParam());
        return text.set("Resolution", "24 32").set("Disparity", "0 8").set("StereoQuality", "Enhanced");
    }

    /** One call with one refusal; false when all requests of it had passed. */
    bool refuseOnce(const Case& rCase, Fault eFault, int nBefore, const std::vector<std::uint16_t>& rExpected)
    {
        SCOPED_TRACE(testing::Message() << rCase.pszName << ", request " << nBefore);
        Program program(text());
        expectOk({kestrovaSetMaxThreadCount(program.handle, 2)});
        rCase.before(program);
        KestrovaError eResult = KestrovaErrorUnknown;
        bool bThrew = false;
        refuse(eFault, nBefore);
        try {
            eResult = rCase.call(program);
        } catch (const std::bad_alloc&) {
            bThrew = true;
        } catch (const std::exception& rException) {
            EXPECT_FALSE(refused()) << "another exception: " << rException.what();
        }
        const bool bRefused = refused();
        if (!bRefused) {
            EXPECT_EQ(eResult, KestrovaErrorOk);
        } else if (eFault == Fault::Thread) {
            EXPECT_EQ(eResult, KestrovaErrorSystem);
        } else {
            EXPECT_TRUE(bThrew || eResult == KestrovaErrorSystem || eResult == KestrovaErrorOk) << eResult;
        }
        EXPECT_TRUE(program.nextFrame() == rExpected);
        return bRefused;
    }

    void refuseEach(Fault eFault)
    {
        const std::vector<std::uint16_t> expected = Program(text()).nextFrame();
        for (const Case& rCase : cases()) {
            for (const bool bWarmUp : {true, false}) { // what is kept for good is kept once
                const long nBefore = liveBlocks();
                int n = 0;
                while (refuseOnce(rCase, eFault, n, expected) && !HasFailure()) {
                    n += bWarmUp ? 7 : 1;
                }
                EXPECT_TRUE(bWarmUp || liveBlocks() == nBefore) << rCase.pszName << " loses " << liveBlocks() - nBefore;
                if (HasFailure()) {
                    return;
                }
                m_nRefusals += n;
            }
        }
        RecordProperty("refusals", m_nRefusals);
    }

    int m_nRefusals = 0;
};

TEST_P(Refusals, OfMemory)
{
    refuseEach(Fault::Memory);
}

TEST_P(Refusals, OfThreads)
{
    refuseEach(Fault::Thread);
}

INSTANTIATE_TEST_SUITE_P(Sets, Refusals, testing::Values(Shape::Horizontal, Shape::L));

} // namespace
