#include "support/allocations.h"

#include <cstdlib>
#include <new>

std::atomic<unsigned long> support::g_nAllocations{0};

void* operator new(std::size_t uBytes)
{
    ++support::g_nAllocations;
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
