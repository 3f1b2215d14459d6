// The table that turns a winning lane into the byte that a disparity image shows.
#pragma once

#include <array>
#include <cstdint>

namespace kestrova {

/** One entry for every value that a lane number or an 8-bit code can have, so no look-up can leave it. */
using LabelTable = std::array<std::uint8_t, 256>;

/** Every lane as itself. */
[[nodiscard]] constexpr LabelTable identityLabels()
{
    LabelTable labels{};
    for (unsigned u = 0; u < labels.size(); ++u) {
        labels[u] = static_cast<std::uint8_t>(u);
    }
    return labels;
}

} // namespace kestrova
