// Votes for circles of one radius.
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <vector>

namespace {

/** Offsets of the ring in an accumulator with nStep pixels a row: 4 * nRadius of them, four for each row above 0. */
std::vector<std::ptrdiff_t> ringOffsets(std::ptrdiff_t nRadius, std::ptrdiff_t nStep)
{
    std::vector<std::ptrdiff_t> offsets = {nRadius, -nRadius, nStep * nRadius, -nStep * nRadius};
    for (std::ptrdiff_t y = 1; y < nRadius; ++y) {
        const auto nReach = static_cast<std::ptrdiff_t>(std::sqrt(static_cast<double>(nRadius * nRadius - y * y)));
        const std::ptrdiff_t u = nReach * nStep;
        offsets.insert(offsets.end(), {u + y, y - u, u - y, -y - u});
    }
    return offsets;
}

} // namespace

void LYRImageHoughTransform(const uint8_t* image, uint16_t* accumulator, int rows, int cols, int rowInc,
                            int accumulatorRowBytes, int radius)
{
    const std::ptrdiff_t nBytes = static_cast<std::ptrdiff_t>(accumulatorRowBytes) * rows;
    if (nBytes > 0) {
        std::memset(accumulator, 0, static_cast<std::size_t>(nBytes));
    }
    if (radius < 1 || static_cast<std::ptrdiff_t>(radius) >= static_cast<std::ptrdiff_t>(rows) - radius) {
        return;
    }
    const std::ptrdiff_t nStep = accumulatorRowBytes / 2;
    const auto offsets = ringOffsets(radius, nStep);
    for (std::ptrdiff_t r = radius; r < rows - radius; ++r) {
        const uint8_t* pRow = image + r * rowInc;
        uint16_t* pVotes = accumulator + r * nStep;
        for (const std::ptrdiff_t nOffset : offsets) {
            for (std::ptrdiff_t c = radius; c < cols - radius; ++c) {
                uint16_t& rVotes = pVotes[c + nOffset];
                rVotes = static_cast<uint16_t>(rVotes + pRow[c]);
            }
        }
    }
}
