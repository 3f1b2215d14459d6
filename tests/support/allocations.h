// Counts what the whole test program takes from the allocator; the counting operators stand in allocations.cpp.
#pragma once

namespace support {

/** Calls of the plain operator new so far, array form included. */
[[nodiscard]] unsigned long allocations();

} // namespace support
