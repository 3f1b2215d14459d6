// One, two and four threads on the same frames in the same run, by the clock on the wall, and what starting a run
// costs.
//
// Rounds go through all thread counts in turn; ratios are those of medians and, since other programs may hold a
// processor for a while, of the shortest times. Rounds are counted as undisturbed/all. Arguments: seconds for each
// comparison, and "start" or "runs" for one part only.
#include "Frames.h"
#include "Rig.h"
#include "SideBySide.h"

#include "api/MultiContext.h"
#include "kernels/InstructionSet.h"
#include "kernels/processor.h"
#include "run/run.h"
#include "stereo/twoCameraStereo.h"
#include "support/CalibrationText.h"

#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>

namespace {

using bench::Context;
using bench::Size;
using kestrova::test::Shape;
using Work = std::function<void()>;

constexpr std::array sk_anThreads{1, 2, 4};
constexpr int sk_nMask = 11;

std::size_t s_uCalm = 0; // rounds of the last comparison
std::size_t s_uAll = 0;

struct Times
{
    double m_dMedian;
    double m_dShortest;
};

/** Seconds that processors spent on anything but this program, ever, in steps of 10 ms. */
double secondsOfOthers()
{
    std::ifstream stat("/proc/stat"); // cpu user nice system idle iowait irq softirq steal, in hundredths
    std::string word;
    stat >> word;
    double dBusy = 0;
    double dTime = 0;
    for (int n = 0; n < 8 && stat >> dTime; ++n) {
        dBusy += n == 3 || n == 4 ? 0 : dTime;
    }
    return 0.01 * dBusy - bench::processorSeconds();
}

/**
 * Milliseconds on the wall of every piece of work, all in turn, each after a pause. Rounds go by fifths of a second;
 * those in which other programs took more than a twentieth do not count, unless there are hardly any others.
 */
std::vector<Times> wallTimes(const std::vector<Work>& rWorks, double dSeconds, std::chrono::microseconds pause = {})
{
    using Rounds = std::vector<std::vector<double>>; // by work
    constexpr std::size_t uEnough = 15;
    const auto seconds = [start = std::chrono::steady_clock::now()] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    for (const Work& rWork : rWorks) {
        rWork(); // through cold memory
    }
    Rounds calm(rWorks.size());
    Rounds all(rWorks.size());
    double dCalmSeconds = 0;
    while ((dCalmSeconds < dSeconds || calm[0].size() < uEnough) && seconds() < 10 * dSeconds) {
        Rounds some(rWorks.size());
        const double dStart = seconds();
        const double dOthers = secondsOfOthers();
        while (seconds() - dStart < 0.2) {
            for (std::size_t u = 0; u < rWorks.size(); ++u) {
                std::this_thread::sleep_for(pause);
                some[u].push_back(bench::millisecondsOf(rWorks[u]));
            }
        }
        const double dSpent = seconds() - dStart;
        const bool bCalm = secondsOfOthers() - dOthers < 0.05 * dSpent + 0.011;
        dCalmSeconds += bCalm ? dSpent : 0;
        for (std::size_t u = 0; u < rWorks.size(); ++u) {
            all[u].insert(all[u].end(), some[u].begin(), some[u].end());
            if (bCalm) {
                calm[u].insert(calm[u].end(), some[u].begin(), some[u].end());
            }
        }
    }
    s_uCalm = calm[0].size();
    s_uAll = all[0].size();
    std::vector<Times> result;
    for (const auto& rTimes : s_uCalm < uEnough ? all : calm) {
        result.push_back({bench::median(rTimes), *std::min_element(rTimes.begin(), rTimes.end())});
    }
    return result;
}

Context open(Shape eShape, const Size& rSize, int nThreads)
{
    const std::string text = kestrova::test::CalibrationText(eShape).text();
    KestrovaContext context = nullptr;
    bench::check(kestrovaGetDefaultContextFromMemory(&context, text.c_str()), "kestrovaGetDefaultContextFromMemory");
    Context owner(context);
    bench::check(kestrovaSetResolution(context, rSize.m_nRows, rSize.m_nCols), "kestrovaSetResolution");
    bench::check(kestrovaSetStereoMask(context, sk_nMask), "kestrovaSetStereoMask");
    bench::check(kestrovaSetDisparity(context, 0, rSize.m_nDisparities - 1), "kestrovaSetDisparity");
    bench::check(kestrovaSetMaxThreadCount(context, nThreads), "kestrovaSetMaxThreadCount");
    return owner;
}

/** Handles with one frame each, ready to be correlated: one per thread count. */
struct Rigs
{
    Rigs(Shape eShape, const Size& rSize)
        : m_frames(bench::makeFrames(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities))
    {
        const cv::Mat second = eShape == Shape::L ? bench::displacedAlongRows(m_frames) : m_frames.m_left;
        for (const int nThreads : sk_anThreads) {
            m_contexts.push_back(open(eShape, rSize, nThreads));
            KestrovaInput input{};
            kestrovaBuildRGBKestrovaInput(rSize.m_nCols, rSize.m_nRows, rSize.m_nCols, 0, 0, m_frames.m_right.data,
                                          second.data, m_frames.m_left.data, &input);
            bench::check(kestrovaPreprocess(m_contexts.back().get(), &input), "kestrovaPreprocess");
        }
    }

    /** A whole run on each handle. */
    [[nodiscard]] std::vector<Work> runs() const
    {
        std::vector<Work> works;
        for (const Context& rContext : m_contexts) {
            works.emplace_back([context = rContext.get()] { bench::check(kestrovaStereo(context), "kestrovaStereo"); });
        }
        return works;
    }

    template<typename T>
    void set(KestrovaError (*pfnSet)(KestrovaContext, T), T value) const
    {
        for (const Context& rContext : m_contexts) {
            bench::check(pfnSet(rContext.get(), value), "a setter");
        }
    }

    /** What a run consists of, called on this thread: no pool, no copies of the context. */
    [[nodiscard]] Work direct() const
    {
        return [pContext = kestrova::getActiveContext(m_contexts[0].get())] {
            kestrova::clearDisparityImages(*pContext);
            kestrova::standardStereo(*pContext);
            kestrova::standardValidate(*pContext);
        };
    }

    bench::Frames m_frames;
    std::vector<Context> m_contexts;
};

/** Whole correlations side by side, each on its own thread into its own image: what the processors give at most. */
Work copiesAtOnce(const Rigs& rRigs, std::size_t uCopies)
{
    const auto pContexts = std::make_shared<std::vector<kestrova::StereoContext>>(
        uCopies, *kestrova::getActiveContext(rRigs.m_contexts[0].get()));
    for (kestrova::StereoContext& rContext : *pContexts) {
        rContext.m_bSurfaceValidation = false;
        rContext.m_disparityImage16 = kestrova::Image<unsigned short>(rContext.m_nRows, rContext.m_nCols);
    }
    return [=] {
        std::vector<std::jthread> threads;
        for (kestrova::StereoContext& rContext : *pContexts) {
            threads.emplace_back([&] {
                for (int n = 0; n < 20; ++n) {
                    kestrova::standardStereo(rContext);
                }
            });
        }
    };
}

void printRatios(const char* pszWork, const std::vector<Times>& rTimes)
{
    std::printf("  %-42s", pszWork);
    for (std::size_t u = 0; u < rTimes.size(); ++u) {
        std::printf(" %8.3f", rTimes[u].m_dMedian);
        if (u > 0) {
            std::printf(" (%4.2f, %4.2f)", rTimes[0].m_dMedian / rTimes[u].m_dMedian,
                        rTimes[0].m_dShortest / rTimes[u].m_dShortest);
        }
    }
    std::printf("  %zu/%zu\n", s_uCalm, s_uAll);
}

void compareThreads(const Size& rSize, double dSeconds)
{
    std::printf("\n%d x %d, %d disparities, window %d: ms of a whole run (times as fast as one thread: medians, "
                "shortest)\n  %-42s %8s %8s %22s\n",
                rSize.m_nCols, rSize.m_nRows, rSize.m_nDisparities, sk_nMask, "threads", "1", "2", "4");
    for (const Shape eShape : {Shape::Horizontal, Shape::L}) {
        const bool bL = eShape == Shape::L;
        kestrova::enableSSE2IfAvailable(!bL);
        const Rigs rigs(eShape, rSize);
        for (const int nSurfaces : {0, 1}) {
            rigs.set(kestrovaSetSurfaceValidation, nSurfaces);
            const std::string name =
                std::string(bL ? "L" : "pair") + ", 16-bit with checks" + (nSurfaces != 0 ? ", surfaces" : "");
            printRatios(name.c_str(), wallTimes(rigs.runs(), dSeconds));
        }
        const auto copies = wallTimes({copiesAtOnce(rigs, 1), copiesAtOnce(rigs, 2)}, dSeconds);
        std::printf("  %-42s %17.2f\n", "  two at once, apart: of one alone",
                    2 * copies[0].m_dShortest / copies[1].m_dShortest);
    }
    kestrova::enableSSE2IfAvailable(true);
}

/** There and back between two threads that sleep until they are called. */
Work signalThereAndBack()
{
    struct Line
    {
        std::mutex mutex;
        std::condition_variable_any changed;
        int nSent = 0;
        int nAnswered = 0;
        std::jthread thread;
    };
    const auto pLine = std::make_shared<Line>();
    pLine->thread = std::jthread([p = pLine.get()](const std::stop_token& rStop) {
        std::unique_lock lock(p->mutex);
        while (p->changed.wait(lock, rStop, [&] { return p->nSent != p->nAnswered; })) {
            p->nAnswered = p->nSent;
            p->changed.notify_all();
        }
    });
    return [pLine] {
        std::unique_lock lock(pLine->mutex);
        ++pLine->nSent;
        pLine->changed.notify_all();
        pLine->changed.wait(lock, [&] { return pLine->nSent == pLine->nAnswered; });
    };
}

/** A run that has next to nothing to correlate, less the same steps called directly. */
void compareStart(double dSeconds)
{
    std::printf("\nStarting a run: microseconds over the same steps called directly (medians, shortest)\n"
                "  %-42s %8s %18s %18s %18s   %s\n",
                "", "direct", "1 thread", "2", "4", "a signal there and back");
    const Size sizes[] = {{24, 32, 8}, {240, 320, 32}, {480, 640, 64}};
    for (const Size& rSize : sizes) {
        const Rigs rigs(Shape::Horizontal, rSize);
        rigs.set(kestrovaSetSurfaceValidation, 0);
        for (const bool bStereo : {true, false}) {
            if (bStereo && rSize.m_nRows > 24) {
                continue;
            }
            rigs.set(kestrovaSetDoStereo, bStereo ? 1 : 0);
            for (const int nPause : {0, 300, 20000}) {
                std::vector<Work> works = rigs.runs();
                works.insert(works.begin(), rigs.direct());
                works.push_back(signalThereAndBack());
                const auto times = wallTimes(works, dSeconds, std::chrono::microseconds(nPause));
                char szWork[64];
                std::snprintf(szWork, sizeof(szWork), "%d x %d, %s, pause of %.1f ms", rSize.m_nCols, rSize.m_nRows,
                              bStereo ? "8 disparities" : "stereo off", nPause * 1e-3);
                std::printf("  %-42s %8.1f", szWork, 1e3 * times[0].m_dMedian);
                for (std::size_t u = 1; u <= sk_anThreads.size(); ++u) {
                    std::printf("    %6.1f (%6.1f)", 1e3 * (times[u].m_dMedian - times[0].m_dMedian),
                                1e3 * (times[u].m_dShortest - times[0].m_dShortest));
                }
                std::printf("    %6.1f (%6.1f)  %zu/%zu\n", 1e3 * times.back().m_dMedian,
                            1e3 * times.back().m_dShortest, s_uCalm, s_uAll);
            }
        }
    }
}

} // namespace

int main(int nArguments, char** apszArguments)
{
    const double dSeconds = nArguments > 1 ? std::atof(apszArguments[1]) : 2;
    std::printf("%u processors, %s\n", std::thread::hardware_concurrency(), kestrova::instructionSet().m_pszName);
    const std::string part = nArguments > 2 ? apszArguments[2] : "";
    if (part != "runs") {
        compareStart(dSeconds);
    }
    if (part == "start") {
        return 0;
    }
    const Size sizes[] = {{240, 320, 32}, {480, 640, 64}, {960, 1280, 128}};
    for (const Size& rSize : sizes) {
        compareThreads(rSize, dSeconds);
    }
    return 0;
}
