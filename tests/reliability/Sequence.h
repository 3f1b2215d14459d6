// A random sequence of calls of the public functions, with what the header lets a caller know between them: which
// memory is still lent, and which images hold something.
#pragma once

#define KESTROVA_NUMERICS
#include "reliability/Digest.h"
#include "reliability/Frames.h"

#include <array>
#include <functional>
#include <map>
#include <set>

namespace kestrova::test {

enum class Slot
{
    Raw,
    Rectified,
    Edge,
    Disparity,
    Disparity16,
    Colour,
    Packed
};
/** An image of a camera; the reference is the right camera, and the colour camera has its storage. */
using SlotOfCamera = std::pair<Slot, int>;

struct OpenHandle
{
    KestrovaContext context = nullptr;
    std::map<SlotOfCamera, std::vector<Block>> lent{}; // buffers in force
    std::vector<Block> frame{};                        // what raw images may point at
    std::vector<Block> kept{};                         // of sections that were left, until the handle goes
    std::set<SlotOfCamera> undefined{};                // told to be: their pixels are not looked at
};

struct Op
{
    const char* pszName;
    int nWeight;
    std::function<void(class Sequence&)> run;
};

struct Options
{
    bool bOddWindows = false; // no even windows, whose results changed between versions
    int nThreadShift = 0;     // thread counts are exchanged for others
    std::string folder;       // for files
};

class Sequence
{
public:
    Sequence(std::uint64_t uSeed, const Options& rOptions);
    ~Sequence();
    Sequence(const Sequence&) = delete;
    Sequence& operator=(const Sequence&) = delete;

    /** Makes that many calls, counting them by name. */
    void run(int nCalls, std::map<std::string, long>& rCounts);
    [[nodiscard]] const std::vector<std::pair<const char*, std::uint64_t>>& steps() const { return m_steps; }

    // For the calls.
    Random& random() { return m_random; }
    const Options& options() const { return m_options; }
    /** One of the open handles; null when there is none, and now and then. */
    OpenHandle* anyHandle();
    KestrovaContext context();
    void opened(KestrovaContext context, const OpenHandle* pSource = nullptr);
    void close(OpenHandle* pHandle);
    [[nodiscard]] std::size_t handleCount() const { return m_handles.size(); }
    /** By reference: what a call in the same list fills is read after the call. */
    template<class... T>
    void note(const T&... values)
    {
        (m_digest.add(values), ...);
    }
    void noteBytes(const void* pBytes, std::size_t uBytes) { m_digest.add(pBytes, uBytes); }
    [[nodiscard]] std::string file(const char* pszName) const { return m_options.folder + '/' + pszName; }
    /** The count that stands for this one in this run, and back. */
    [[nodiscard]] int threads(int nCount, bool bBack = false) const;

private:
    Options m_options;
    Random m_random;
    Digest m_digest;
    std::vector<std::unique_ptr<OpenHandle>> m_handles;
    std::vector<std::pair<const char*, std::uint64_t>> m_steps;
};

/** Calls of one kind, each under the name of its function. */
std::vector<Op> handleCalls();
std::vector<Op> frameCalls();
std::vector<Op> imageCalls();
std::vector<Op> settingCalls();
std::vector<Op> pointCalls();
std::vector<Op> fileCalls();
std::vector<Op> numericCalls();
const std::vector<Op>& allCalls();

/** Where the program is, for the line that it leaves behind when it ends early. */
extern std::uint64_t g_uSeed;
extern int g_nStep;
extern const char* g_pszCall;

/** The camera whose images these are. */
inline int ownerOf(KestrovaCamera eCamera)
{
    return eCamera == KestrovaCamColor || eCamera == KestrovaCamReference ? KestrovaCamRight
                                                                          : static_cast<int>(eCamera);
}

inline KestrovaCamera anyCamera(Random& rRandom)
{
    return static_cast<KestrovaCamera>(rRandom.oneIn(20) ? rRandom.pick({-1, 5, 77}) : rRandom.between(0, 4));
}

} // namespace kestrova::test

#define KESTROVA_NAMED(function) #function, function
