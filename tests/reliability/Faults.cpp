#include "reliability/Faults.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

using kestrova::test::Fault;

std::atomic<Fault> s_eKind{Fault::None};
std::atomic<int> s_nBefore{0};
std::atomic<bool> s_bRefused{false};
std::atomic<long> s_nLive{0};

bool refuses(bool bMemory)
{
    const bool bMeant = s_eKind == (bMemory ? Fault::Memory : Fault::Thread);
    if (!bMeant || s_nBefore-- != 0) {
        return false;
    }
    s_bRefused = true;
    return true;
}

template<class Give>
void* given(Give give)
{
    void* const p = refuses(true) ? nullptr : give();
    s_nLive += p != nullptr;
    return p;
}

void* thrownIfNull(void* p)
{
    return p != nullptr ? p : throw std::bad_alloc();
}

void* aligned(std::size_t uBytes, std::align_val_t alignment)
{
    const auto uAlignment = static_cast<std::size_t>(alignment);
    return given([=] { return std::aligned_alloc(uAlignment, (uBytes / uAlignment + 1) * uAlignment); });
}

void back(void* p)
{
    s_nLive -= p != nullptr;
    std::free(p);
}

} // namespace

namespace kestrova::test {

void refuse(Fault eKind, int nBefore)
{
    s_bRefused = false;
    s_nBefore = nBefore;
    s_eKind = eKind;
}

bool refused()
{
    s_eKind = Fault::None;
    return s_bRefused;
}

long liveBlocks()
{
    return s_nLive;
}

} // namespace kestrova::test

// Inlined without their counterparts, these would look mismatched to the compiler. Array forms end up here as well.
[[gnu::noinline]] void* operator new(std::size_t u)
{
    return thrownIfNull(given([u] { return std::malloc(u + 1); }));
}
[[gnu::noinline]] void* operator new(std::size_t u, const std::nothrow_t&) noexcept
{
    return given([u] { return std::malloc(u + 1); });
}
[[gnu::noinline]] void* operator new(std::size_t u, std::align_val_t a)
{
    return thrownIfNull(aligned(u, a));
}
[[gnu::noinline]] void* operator new(std::size_t u, std::align_val_t a, const std::nothrow_t&) noexcept
{
    return aligned(u, a);
}
[[gnu::noinline]] void operator delete(void* p) noexcept
{
    back(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept
{
    back(p);
}
[[gnu::noinline]] void operator delete(void* p, std::align_val_t) noexcept
{
    back(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t, std::align_val_t) noexcept
{
    back(p);
}

// The linker sends the library's own calls here (--wrap). Blocks of these go to the caller's free(), so nobody counts.
extern "C" {
void* __real_malloc(std::size_t);
void* __real_realloc(void*, std::size_t);

void* __wrap_malloc(std::size_t u)
{
    return refuses(true) ? nullptr : __real_malloc(u);
}
void* __wrap_realloc(void* p, std::size_t u)
{
    return refuses(true) ? nullptr : __real_realloc(p, u);
}

int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes, void* (*pfn)(void*), void* pArgument)
{
    static const auto s_pfnNext = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
    return refuses(false) ? EAGAIN : s_pfnNext(pThread, pAttributes, pfn, pArgument);
}
}
