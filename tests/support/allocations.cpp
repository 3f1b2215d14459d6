#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<unsigned long> g_nAllocations{0};

} // namespace

unsigned long support::allocations()
{
    return g_nAllocations;
}

// The array forms end up here as well.
void* operator new(std::size_t uBytes)
{
    ++g_nAllocations;
    if (void* const p = std::malloc(uBytes != 0 ? uBytes : 1)) {
        return p;
    }
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}
