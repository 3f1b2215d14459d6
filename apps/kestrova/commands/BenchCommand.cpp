// kestrova bench: what the stages of the library take on this machine, warm-up left out, medians of many frames.
//
// Only the library's own calls are timed, on frames that wait in memory as a camera driver would hand them over.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "basics/Units.h"
#include "cameras/RigBuilder.h"
#include "commands/Commands.h"
#include "demo/SceneRenderer.h"
#include "outputs/Results.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>

namespace kestrova::app {

namespace {

struct BenchOptions
{
    std::string m_size = "640x480";
    int m_nDisparities = 64;
    int m_nFrames = 50;
    std::optional<std::string> m_calibration, m_right, m_left;
    int m_nThreads = 1;
    SettingWishes m_settings;
};

struct BenchInput
{
    std::unique_ptr<StereoSession> m_pSession;
    PerCamera<cv::Mat1b> m_frames;
    std::string m_what;
};

// ---- what to work on ----

BenchInput madeUp(const BenchOptions& rOptions)
{
    const cv::Size size = parseSize(rOptions.m_size, "--size");
    if (size.height * 4 != size.width * 3 || size.width < 160 || size.width > 1280) {
        throw AppError("--size: needs a 4 by 3 size from 160x120 to 1280x960", ExitStatus::Usage);
    }
    const CameraSet set = exampleCameraSet(size);
    RigWishes wishes;
    wishes.m_canvas = size;
    wishes.m_dAlpha = 0.0;
    const Rig rig = buildRig(set, wishes);
    const Scene scene = demoRoom(1, rig.m_plan.m_dFocal);
    BenchInput input;
    for (const auto& [eCamera, rCamera] : set) {
        input.m_frames[eCamera] = renderRaw(scene, rCamera.m_model, {rCamera.m_translation, rCamera.m_rotation},
                                            {1.0, 1.2, eCamera == KestrovaCamLeft ? 1u : 2u}, 1)
                                      .m_grey;
    }
    const std::filesystem::path calibration =
        std::filesystem::temp_directory_path() / line("kestrova-bench-%d.txt", static_cast<int>(::getpid()));
    const std::unique_ptr<const std::filesystem::path, void (*)(const std::filesystem::path*)> gone(
        &calibration, [](const std::filesystem::path* p) {
            std::error_code ignored;
            std::filesystem::remove(*p, ignored);
        });
    writeText(calibration, rig.text());
    input.m_pSession = std::make_unique<StereoSession>(calibration);
    input.m_what = "a made-up room";
    return input;
}

BenchInput ownFrames(const BenchOptions& rOptions)
{
    if (!rOptions.m_calibration || !rOptions.m_right || !rOptions.m_left) {
        throw AppError("--calibration, --right and --left go together", ExitStatus::Usage);
    }
    BenchInput input;
    input.m_frames[KestrovaCamRight] = readGrey(*rOptions.m_right);
    input.m_frames[KestrovaCamLeft] = readGrey(*rOptions.m_left);
    if (input.m_frames[KestrovaCamLeft].size() != input.m_frames[KestrovaCamRight].size()) {
        throw AppError(*rOptions.m_left + ": has another size than " + *rOptions.m_right + "; give a pair of one size",
                       ExitStatus::Content);
    }
    input.m_pSession = std::make_unique<StereoSession>(*rOptions.m_calibration);
    input.m_what = *rOptions.m_right;
    return input;
}

// ---- the stages ----

void check(KestrovaError eError, const char* pszStage)
{
    if (eError != KestrovaErrorOk) {
        throw AppError(std::string(pszStage) + ": " + kestrovaErrorToString(eError), ExitStatus::Unfit);
    }
}

/** One frame in the two forms that the library takes. */
class BenchFrame
{
public:
    BenchFrame(const StereoSession& rSession, const PerCamera<cv::Mat1b>& rFrames)
    {
        m_aPlanes.fill(cv::Mat1b(rFrames.at(KestrovaCamRight).size(), uchar(0)));
        for (const auto& [eCamera, rFrame] : rFrames) {
            const cv::Vec3i place(eCamera == KestrovaCamLeft ? -1 : 0, 0, 0);
            const std::string channel = rSession.outline().camera(place)->m_channel;
            m_aPlanes[channel == "RED" ? 0 : channel == "GREEN" ? 1 : 2] = rFrame.clone();
        }
        cv::merge(std::vector<cv::Mat>{m_aPlanes[2], m_aPlanes[1], m_aPlanes[0], m_aPlanes[0]}, m_packed);
    }

    KestrovaInput planes()
    {
        KestrovaInput input{};
        const cv::Mat1b& r = m_aPlanes[0];
        kestrovaBuildRGBKestrovaInput(r.cols, r.rows, r.cols, 0, 0, m_aPlanes[0].data, m_aPlanes[1].data,
                                      m_aPlanes[2].data, &input);
        return input;
    }

    KestrovaInput packed()
    {
        KestrovaInput input{};
        kestrovaBuildPackedKestrovaInput(m_packed.cols, m_packed.rows, static_cast<int>(m_packed.step), 0, 0,
                                         m_packed.data, &input);
        return input;
    }

private:
    std::array<cv::Mat1b, 3> m_aPlanes; // red, green, blue
    cv::Mat m_packed;
};

double median(std::vector<double> times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

/**
 * Median times of some stages in turn, milliseconds: what else the machine does falls on all alike. The first tenth,
 * at least 3 rounds, warms up tables, caches and threads.
 */
std::vector<double> medianTimes(int nFrames, const std::vector<std::function<void()>>& rStages)
{
    using Clock = std::chrono::steady_clock;
    std::vector<std::vector<double>> times(rStages.size());
    for (int i = -std::max(3, nFrames / 10); i < nFrames; ++i) {
        for (std::size_t n = 0; n < rStages.size(); ++n) {
            const Clock::time_point start = Clock::now();
            rStages[n]();
            if (i >= 0) {
                times[n].push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
            }
        }
    }
    std::vector<double> medians;
    for (const std::vector<double>& rTimes : times) {
        medians.push_back(median(rTimes));
    }
    return medians;
}

struct BenchTimes
{
    double m_dPacked = 0.0, m_dPlanes = 0.0;
    double m_dStereo = 0.0;
    std::optional<double> m_surface; // only while the calibration or the command line has it on
    std::optional<double> m_points;  // only with a baseline
    std::size_t m_nPoints = 0;
};

double timePoints(const StereoSession& rSession, const cv::Mat1w& rDisparity, int nFrames, std::size_t& rCount)
{
    std::vector<cv::Point3f> points(rDisparity.total());
    const auto allPoints = [&] {
        rCount = 0;
        for (int nRow = 0; nRow < rDisparity.rows; ++nRow) {
            for (int nCol = 0; nCol < rDisparity.cols; ++nCol) {
                if (const std::uint16_t uDisparity = rDisparity(nRow, nCol);
                    !KESTROVA_DISPARITY16_IS_INVALID(uDisparity)) {
                    cv::Point3f& r = points[rCount++];
                    kestrovaRCD16ToXYZ(rSession.handle(), nRow, nCol, uDisparity, &r.x, &r.y, &r.z);
                }
            }
        }
    };
    return medianTimes(nFrames, {allPoints}).front();
}

BenchTimes measure(StereoSession& rSession, BenchFrame& rFrame, int nFrames)
{
    const KestrovaContext handle = rSession.handle();
    BenchTimes times;
    KestrovaInput planes = rFrame.planes();
    KestrovaInput packed = rFrame.packed();
    const auto preprocess = [&](KestrovaInput& rInput) { check(kestrovaPreprocess(handle, &rInput), "rectification"); };
    // One after the other: the library's buffers change with the form, which a program settles on.
    times.m_dPlanes = medianTimes(nFrames, {[&] { preprocess(planes); }}).front();
    times.m_dPacked = medianTimes(nFrames, {[&] { preprocess(packed); }}).front();
    const cv::Mat1w disparity = rSession.matchTo16();
    int nSurface = 0;
    kestrovaGetSurfaceValidation(handle, &nSurface);
    const auto stereo = [&](int nWith) {
        kestrovaSetSurfaceValidation(handle, nWith); // a switch, far below what is measured
        check(kestrovaStereo(handle), "stereo");
    };
    const auto passes = medianTimes(nFrames, {[&] { stereo(0); }, [&] { stereo(nSurface); }});
    times.m_dStereo = passes[1];
    if (nSurface) {
        times.m_surface = passes[1] - passes[0];
    }
    if (rSession.optics().m_fBaseline > 0.0f) {
        times.m_points = timePoints(rSession, disparity, nFrames, times.m_nPoints);
    }
    return times;
}

// ---- telling ----

std::string processor()
{
    std::ifstream in("/proc/cpuinfo");
    std::string name = "unknown";
    for (std::string text; std::getline(in, text);) {
        if (text.starts_with("model name")) {
            name = text.substr(std::min(text.size(), text.find(':') + 2));
            break;
        }
    }
    std::string features;
    const auto add = [&](bool bHas, const char* pszName) { features += bHas ? std::string(" ") + pszName : ""; };
    add(__builtin_cpu_supports("sse2"), "SSE2");
    add(__builtin_cpu_supports("avx2"), "AVX2");
    add(__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"),
        "AVX-512");
    return name + ";" + features + ": the library takes the last of these";
}

std::string timesText(const BenchTimes& r)
{
    std::string text = "                                                        ms      frames/s\n";
    const auto row = [&](const char* pszStage, double dTime) {
        text += line("  %-48s %8.3f %12.1f\n", pszStage, dTime, dTime > 0.0 ? 1000.0 / dTime : 0.0);
    };
    row("unpack, rectify, edge images (packed frame)", r.m_dPacked);
    row("rectify, edge images (three planes)", r.m_dPlanes);
    row("stereo, 16-bit disparity", r.m_dStereo);
    if (r.m_surface) {
        text += line("    of it surface validation, by difference %15.3f\n", *r.m_surface);
    }
    if (r.m_points) {
        row(line("%zu points in metres", r.m_nPoints).c_str(), *r.m_points);
    }
    row("packed frame to disparity", r.m_dPacked + r.m_dStereo);
    if (r.m_points) {
        row("packed frame to points", r.m_dPacked + r.m_dStereo + *r.m_points);
    }
    return text;
}

void bench(const BenchOptions& rOptions, bool bDisparitiesGiven)
{
    const bool bOwn = rOptions.m_calibration || rOptions.m_right || rOptions.m_left;
    BenchInput input = bOwn ? ownFrames(rOptions) : madeUp(rOptions);
    StereoSession& rSession = *input.m_pSession;
    rSession.useCameras(KestrovaCfg2CameraHorizontal);
    SettingWishes wishes = rOptions.m_settings;
    wishes.m_threads = rOptions.m_nThreads;
    if (wishes.m_anDisparity.empty() && (!bOwn || bDisparitiesGiven)) {
        wishes.m_anDisparity = {0, rOptions.m_nDisparities - 1};
    }
    applySettings(rSession.handle(), wishes);
    rSession.preprocess(input.m_frames, FrameForm::Planes); // tells a frame that does not fit
    BenchFrame frame(rSession, input.m_frames);
    const BenchTimes times = measure(rSession, frame, rOptions.m_nFrames);

    int nThreads = 0;
    int nMask = 0;
    kestrovaGetMaxThreadCount(rSession.handle(), &nThreads);
    kestrovaGetStereoMask(rSession.handle(), &nMask);
    const cv::Size raw = input.m_frames.at(KestrovaCamRight).size();
    const cv::Size canvas = rSession.canvas();
    const cv::Vec2i range = rSession.disparityRange();
    std::printf("%s: frames of %dx%d, rectified %dx%d, disparity %d to %d, window %d, %d thread%s\n"
                "medians of %d frames after a warm-up; only the library's calls are timed\n%s\n\n%s",
                input.m_what.c_str(), raw.width, raw.height, canvas.width, canvas.height, range[0], range[1], nMask,
                nThreads, nThreads == 1 ? "" : "s", rOptions.m_nFrames, processor().c_str(), timesText(times).c_str());
}

} // namespace

void addBenchCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<BenchOptions>();
    BenchOptions& r = *pOptions;
    CLI::App* pCommand = rProgram.add_subcommand("bench", "What the stages take on this machine");
    CLI::Option* pSize = pCommand->add_option("--size", r.m_size, "size of made-up frames, 4 by 3, 160x120 to 1280x960")
                             ->capture_default_str();
    CLI::Option* pDisparities =
        pCommand
            ->add_option("--disparities", r.m_nDisparities,
                         "disparities to search, from 0 on (own frames: as the calibration says)")
            ->check(CLI::Range(2, 241))
            ->capture_default_str();
    pCommand->add_option("--frames", r.m_nFrames, "runs of each stage")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    pCommand->add_option("--threads", r.m_nThreads, "worker threads: 1 to 255")->capture_default_str();
    pCommand->add_option("--calibration", r.m_calibration, "own frames: their calibration file")->excludes(pSize);
    pCommand->add_option("--right", r.m_right, "own frame of the right camera");
    pCommand->add_option("--left", r.m_left, "own frame of the left camera");
    addSettings(*pCommand, r.m_settings);
    pCommand->callback([pOptions, pDisparities] { bench(*pOptions, pDisparities->count() > 0); });
}

} // namespace kestrova::app
