// Working memory of the correlators, kept from call to call, so that a frame allocates nothing once sizes are settled.
//
// It belongs to whoever gives work to threads, by band: which thread takes which band differs from run to run, and a
// thread's own memory would grow whenever it meets a larger band than before. Calls outside of that use their thread's.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace kestrova {

/** Memory that is handed out from its start again in every call, in pieces that begin at whole cache lines. */
class Scratch
{
public:
    static constexpr std::size_t sk_uAlignment = 64;

    /** What take() uses up. */
    template<typename T>
    [[nodiscard]] static constexpr std::size_t bytesFor(std::size_t uCount)
    {
        return (uCount * sizeof(T) + sk_uAlignment - 1) / sk_uAlignment * sk_uAlignment;
    }

    /** Everything that was handed out before is void. */
    void reset(std::size_t uBytes);

    template<typename T>
    T* take(std::size_t uCount)
    {
        auto* const p = reinterpret_cast<T*>(m_pBytes.get() + m_uUsed);
        m_uUsed += bytesFor<T>(uCount);
        return p;
    }

private:
    struct AlignedDelete
    {
        void operator()(std::byte* p) const { ::operator delete[](p, std::align_val_t(sk_uAlignment)); }
    };

    std::unique_ptr<std::byte[], AlignedDelete> m_pBytes;
    std::size_t m_uSize = 0;
    std::size_t m_uUsed = 0;
};

/** Counts what take() would hand out. */
struct ScratchCount
{
    template<typename T>
    T* take(std::size_t uCount)
    {
        m_uBytes += Scratch::bytesFor<T>(uCount);
        return nullptr;
    }

    std::size_t m_uBytes = 0;
};

/** Of the correlators, which never run inside each other: what the thread was given, else its own. */
[[nodiscard]] Scratch& threadScratch();

/** While it lives, the thread that made it works in the memory given. */
class ScratchUse
{
public:
    explicit ScratchUse(Scratch& rScratch);
    ~ScratchUse();
    ScratchUse(const ScratchUse&) = delete;
    ScratchUse& operator=(const ScratchUse&) = delete;

private:
    Scratch* m_pBefore;
};

} // namespace kestrova
