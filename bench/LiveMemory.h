// What the program holds from operator new, counted by operators of its own. OpenCV allocates past them.
#pragma once

#include <cstddef>

namespace bench {

/** Bytes held now. */
std::size_t liveBytes();
/** The most since the last call of resetPeak. */
std::size_t peakBytes();
void resetPeak();

} // namespace bench
