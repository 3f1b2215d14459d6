// A long run: one handle that goes on taking frames as in a robot, and beside it random sequences of calls that open
// and close others. Every result must be that of the first time, and memory and descriptors must stay where they are.
//
//   soak [SECONDS]     default: 10
#include "reliability/Sequence.h"

#include <malloc.h>
#include <unistd.h>

#include <chrono>

// There under the sanitizers, which hold on to memory that was given back, and count what was not themselves.
extern "C" void __sanitizer_set_death_callback(void (*)()) __attribute__((weak));

namespace kestrova::test {
namespace {

constexpr std::uint64_t sk_uSeeds = 25;
constexpr long sk_nHeapSlack = 256 * 1024;           // bytes in use: what the C library keeps
constexpr long sk_nResidentSlack = 32 * 1024 * 1024; // of the process: holes between blocks

struct Level
{
    long nHeap = 0, nResident = 0, nDescriptors = 0;
};

Level measure()
{
    long nPages = 0;
    std::ifstream("/proc/self/statm") >> nPages >> nPages;
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return {static_cast<long>(::mallinfo2().uordblks + ::mallinfo2().hblkhd), nPages * ::sysconf(_SC_PAGESIZE),
            std::distance(begin(descriptors), end(descriptors))};
}

/** The handle that stays, and its settings one after the other. */
class Robot
{
public:
    Robot()
    {
        Random random(7);
        const std::string text = CalibrationText(Shape::L).text();
        kestrovaGetDefaultContextFromMemory(&m_context, text.c_str());
        for (int i = 0; i < 4; ++i) {
            m_frames.push_back(makeFrame(random));
        }
    }
    ~Robot() { kestrovaDestroyContext(m_context); }
    Robot(const Robot&) = delete;
    Robot& operator=(const Robot&) = delete;

    std::uint64_t frames(std::uint64_t uRound)
    {
        Digest digest;
        kestrovaSetStereoQuality(m_context, static_cast<KestrovaStereoQuality>(uRound % 2));
        kestrovaSetRectImgQuality(m_context, static_cast<KestrovaRectImgQuality>(uRound % 4));
        kestrovaSetCameraConfiguration(m_context, uRound % 3 == 0 ? KestrovaCfg3CameraL : KestrovaCfg2CameraHorizontal);
        kestrovaSetMaxThreadCount(m_context, 1 + static_cast<int>(uRound % 4));
        for (Frame& rFrame : m_frames) {
            digest.add(kestrovaPreprocess(m_context, &rFrame.input));
            digest.add(kestrovaStereo(m_context));
            KestrovaImage16 image{};
            digest.add(kestrovaGetImage16(m_context, KestrovaImg16Disparity, KestrovaCamRight, &image));
            for (int nRow = 0; nRow < image.nrows; ++nRow) {
                digest.add(image.data + nRow * (image.rowinc / 2), 2 * static_cast<std::size_t>(image.ncols));
            }
        }
        m_nFrames += static_cast<long>(m_frames.size());
        return digest.value();
    }
    [[nodiscard]] long frameCount() const { return m_nFrames; }

private:
    KestrovaContext m_context = nullptr;
    std::vector<Frame> m_frames{};
    long m_nFrames = 0;
};

class Soak
{
public:
    explicit Soak(const std::string& rFolder) { m_options.folder = rFolder; }

    /** All seeds once; false when one gave something else than the first time. */
    bool round()
    {
        for (std::uint64_t u = 0; u < sk_uSeeds; ++u) {
            Sequence sequence(u, m_options);
            sequence.run(60, m_counts);
            const std::uint64_t uResult = sequence.steps().back().second ^ m_robot.frames(u);
            if (m_results.size() <= u) {
                m_results.push_back(uResult);
            } else if (m_results[u] != uResult) {
                std::fprintf(stderr, "soak: seed %llu gives something else in round %ld\n",
                             static_cast<unsigned long long>(u), m_nRounds);
                return false;
            }
        }
        ++m_nRounds;
        return true;
    }

    bool run(double dSeconds)
    {
        using Clock = std::chrono::steady_clock;
        const auto end = Clock::now() + std::chrono::duration<double>(dSeconds);
        Level first{};
        Level last{};
        for (bool bGoOn = true; bGoOn || m_nRounds < 4; bGoOn = Clock::now() < end) {
            for (const auto& rEntry : std::filesystem::directory_iterator(m_options.folder)) {
                std::filesystem::remove_all(rEntry.path());
            }
            if (!round()) {
                return false;
            }
            ::malloc_trim(0);
            last = measure();
            first = m_nRounds == 2 ? last : first; // tables that the process keeps are there
        }
        std::fprintf(stderr,
                     "soak: %ld rounds, %ld calls and %ld frames in %.0f s; heap %ld to %ld KiB, resident %ld to %ld "
                     "KiB, descriptors %ld to %ld\n",
                     m_nRounds, m_nRounds * static_cast<long>(sk_uSeeds) * 60, m_robot.frameCount(), dSeconds,
                     first.nHeap / 1024, last.nHeap / 1024, first.nResident / 1024, last.nResident / 1024,
                     first.nDescriptors, last.nDescriptors);
        return &__sanitizer_set_death_callback != nullptr ||
               (last.nHeap <= first.nHeap + sk_nHeapSlack && last.nResident <= first.nResident + sk_nResidentSlack &&
                last.nDescriptors == first.nDescriptors);
    }

private:
    Options m_options{};
    Robot m_robot{};
    std::map<std::string, long> m_counts{};
    std::vector<std::uint64_t> m_results{};
    long m_nRounds = 0;
};

} // namespace
} // namespace kestrova::test

int main(int argc, char** argv)
{
    std::string folder = (std::filesystem::temp_directory_path() / "kestrova-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 2;
    }
    const bool bGood = kestrova::test::Soak(folder).run(argc > 1 ? std::stod(argv[1]) : 10);
    std::filesystem::remove_all(folder);
    return bGood ? 0 : 1;
}
