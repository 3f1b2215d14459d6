// Reference counting across threads: the only operations that may touch a shared counter.
#pragma once

#include <atomic>
#include <cstdint>

namespace kestrova {

/** Adds 1 to a counter that other threads may be changing. */
inline void atomic_incr(std::uint32_t& rCounter)
{
    std::atomic_ref<std::uint32_t>(rCounter).fetch_add(1, std::memory_order_relaxed);
}

/** Subtracts 1; nonzero exactly for the one caller whose subtraction reached zero. */
[[nodiscard]] inline int atomic_decr(std::uint32_t& rCounter)
{
    // The old value is the result of the locked instruction itself; a second read could see another thread's work.
    return std::atomic_ref<std::uint32_t>(rCounter).fetch_sub(1, std::memory_order_acq_rel) == 1 ? 1 : 0;
}

/** The count as it stands; 1 stays 1 for the one that holds the only link. */
[[nodiscard]] inline std::uint32_t atomic_read(std::uint32_t& rCounter)
{
    return std::atomic_ref<std::uint32_t>(rCounter).load(std::memory_order_acquire);
}

} // namespace kestrova
