#include "LiveMemory.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<std::size_t> g_uLive{0};
std::atomic<std::size_t> g_uPeak{0};

void* counted(void* p)
{
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    const std::size_t uLive = g_uLive += malloc_usable_size(p);
    std::size_t uPeak = g_uPeak;
    while (uLive > uPeak && !g_uPeak.compare_exchange_weak(uPeak, uLive)) {
    }
    return p;
}

void release(void* p)
{
    g_uLive -= malloc_usable_size(p);
    std::free(p);
}

} // namespace

// Inlined without its counterpart, one of these would look mismatched to the compiler.
[[gnu::noinline]] void* operator new(std::size_t uBytes)
{
    return counted(std::malloc(uBytes + 1));
}

[[gnu::noinline]] void* operator new(std::size_t uBytes, std::align_val_t alignment)
{
    const auto uAlignment = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(uAlignment, (uBytes / uAlignment + 1) * uAlignment));
}

[[gnu::noinline]] void operator delete(void* p, std::align_val_t) noexcept
{
    release(p);
}

[[gnu::noinline]] void operator delete(void* p) noexcept
{
    release(p);
}

[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept
{
    release(p);
}

namespace bench {

std::size_t liveBytes()
{
    return g_uLive;
}

std::size_t peakBytes()
{
    return g_uPeak;
}

void resetPeak()
{
    g_uPeak = g_uLive.load();
}

} // namespace bench
