// What a loop that waits for another thread does between two looks.
#pragma once

namespace kestrova {

/** Lets the other thread of the core, and the bus, have this moment. */
inline void relax()
{
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

} // namespace kestrova
