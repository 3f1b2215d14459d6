// Windows of the source for groups of neighbouring destination pixels: the table of a bilinear warp in the form that
// wide registers want. See wideRows_blend.h.
//
// A window is three rows of 16 or 32 bytes, a stride apart. With 32 it lies between the first and the last pixel of the
// source, whatever its own width. A group whose pixels need more (a map that shrinks more than four times, or tilts
// steeply) has none and is warped pixel by pixel.
#pragma once

#include "image/Image.h"
#include "kernels/WideRows.h"

namespace kestrova {

struct WarperKey;

class WarpWindows
{
public:
    /** From the positions of a bilinear table: each entry's pixel, its right neighbour and the two below are read. */
    void build(const Image<int>& rPositions, const WarperKey& rKey);

    [[nodiscard]] bool isBuilt() const { return m_bases.nRows() > 0; }
    [[nodiscard]] const std::int32_t* bases(int nRow) const { return &m_bases[nRow][0]; }
    [[nodiscard]] const std::uint8_t* indices(int nRow) const { return &m_indices[nRow][0]; }

private:
    Image<int> m_bases;             // one for each group of a row
    Image<unsigned char> m_indices; // one for each pixel
};

} // namespace kestrova
