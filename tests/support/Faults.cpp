#include "support/Faults.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <new>
#include <pthread.h>

namespace {

struct Counter
{
    std::atomic<unsigned> m_nRequests{0};
    std::atomic<int> m_nUntilRefusal{INT_MAX};
    std::atomic<bool> m_bAndAllLater{false};

    bool refuses()
    {
        ++m_nRequests;
        if (m_nUntilRefusal == INT_MAX) {
            return false;
        }
        const int n = --m_nUntilRefusal;
        return n == 0 || (n < 0 && m_bAndAllLater);
    }
};

Counter g_aCounters[2];

Counter& counterOf(kestrova::test::Fault eFault)
{
    return g_aCounters[static_cast<int>(eFault)];
}

void* given(void* p)
{
    return p != nullptr ? p : throw std::bad_alloc();
}

bool refusesMemory()
{
    return counterOf(kestrova::test::Fault::Allocation).refuses();
}

} // namespace

// Inlined without its counterpart, one of these would look mismatched to the compiler.
[[gnu::noinline]] void* operator new(std::size_t uBytes) // array forms end up here as well
{
    return given(refusesMemory() ? nullptr : std::malloc(uBytes + 1));
}

[[gnu::noinline]] void* operator new(std::size_t uBytes, std::align_val_t alignment)
{
    const auto uAlignment = static_cast<std::size_t>(alignment);
    return given(refusesMemory() ? nullptr : std::aligned_alloc(uAlignment, (uBytes / uAlignment + 1) * uAlignment));
}

[[gnu::noinline]] void operator delete(void* p, std::align_val_t) noexcept
{
    std::free(p);
}

[[gnu::noinline]] void operator delete(void* p) noexcept
{
    std::free(p);
}

[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

extern "C" int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes, void* (*pfnStart)(void*),
                              void* pArgument) noexcept
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto s_pfnCreate = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return counterOf(kestrova::test::Fault::Thread).refuses() ? EAGAIN
                                                              : s_pfnCreate(pThread, pAttributes, pfnStart, pArgument);
}

namespace kestrova::test {

unsigned allocations()
{
    return counterOf(Fault::Allocation).m_nRequests;
}

Refusal::Refusal(Fault eFault, int n, bool bAndAllLater) : m_eFault(eFault)
{
    counterOf(eFault).m_bAndAllLater = bAndAllLater;
    counterOf(eFault).m_nUntilRefusal = n;
}

Refusal::~Refusal()
{
    counterOf(m_eFault).m_nUntilRefusal = INT_MAX;
}

bool Refusal::happened() const
{
    return counterOf(m_eFault).m_nUntilRefusal <= 0;
}

} // namespace kestrova::test
