// What a test program takes from the allocator, counted by operators of its own.
#pragma once

#include <atomic>

namespace support {

/** Calls of the plain operator new so far; the array form ends up there as well. */
extern std::atomic<unsigned long> g_nAllocations;

} // namespace support
