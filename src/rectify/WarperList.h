// The warpers that one camera has built, kept until its map changes.
//
// Building a warper evaluates a spline map at every destination pixel, far too slow for each frame; changing resolution
// or kernel therefore leaves old warpers in place, to be found again.
#pragma once

#include "rectify/Warper.h"

#include <vector>

namespace kestrova {

class WarperList
{
public:
    static constexpr int m_nMaxWarperInc = 16; // first capacity, and the step of each growth

    /** Empties the list and forgets the map; false if memory for the first entries is refused. */
    bool init();
    /** Names the map, borrowed, that new warpers are built from, and drops all warpers. */
    void setWarpFunc(const WarpMapFunc* pWarpFunc);
    /** Makes room for m_nMaxWarperInc more; the warpers stay where they are. False if memory is refused. */
    [[nodiscard]] bool reallocate();

    /**
     * A new warper of the class for the kernel type, not listed yet. Null without a map and for sizes that the tables
     * cannot hold.
     */
    [[nodiscard]] std::unique_ptr<Warper> buildWarper(const WarperKey& rKey) const;
    /** The same as a list. Nothing in the library calls it. */
    [[nodiscard]] std::unique_ptr<Warper> buildWarper(int nDstRows, int nDstCols, int nSrcRows, int nSrcCols,
                                                      int nStride, int nRowOffset, int nColOffset,
                                                      KernelType eKernelType, int nKernelSize) const
    {
        return buildWarper(
            {nDstRows, nDstCols, nSrcRows, nSrcCols, nStride, nRowOffset, nColOffset, eKernelType, nKernelSize});
    }

    /** The listed warper with this key, or null. */
    [[nodiscard]] const Warper* find(const WarperKey& rKey) const;
    /** Lists a warper. There is room for it: see isFull. */
    const Warper* append(std::unique_ptr<Warper> pWarper);
    [[nodiscard]] bool isFull() const { return count() == m_nCapacity; }
    [[nodiscard]] int count() const { return static_cast<int>(m_warpers.size()); }
    [[nodiscard]] int capacity() const { return m_nCapacity; }

private:
    std::vector<std::unique_ptr<Warper>> m_warpers;
    std::int32_t m_nCapacity = 0;
    const WarpMapFunc* m_pWarpFunc = nullptr; // borrowed from the camera
};

} // namespace kestrova
