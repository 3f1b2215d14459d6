// Storage of an image's pixels, counted by the views that link it.
//
// Own storage starts every row on a 32-byte boundary and rounds the stride up to 32 bytes, so a row may be read and
// written up to the next boundary past its last pixel. Memory of a caller gives no such promise.
#pragma once

#include "image/atomics.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace kestrova {

/** Marks an image as a temporary where it is made. Nobody reads it: such an image is allocated as any other. */
struct FastScratchMemory
{
};

/** Marks memory that a caller lends for one frame only; whoever stores the next frame must not write into it. */
struct OneFrameMemory
{
};

template<typename T>
class PixelBuffer
{
public:
    static constexpr int sk_nAlignment = 32;                                      // bytes
    static constexpr int sk_nGroup = sk_nAlignment / static_cast<int>(sizeof(T)); // pixels in 32 bytes

    PixelBuffer() = default;

    /** Allocates rows by cols pixels, uncleared; throws std::bad_alloc. */
    PixelBuffer(int nRows, int nCols) : m_nRows(nRows), m_nCols(strideOf(nCols))
    {
        // Pixels are counted in 32 bits. A count beyond them would wrap to a buffer smaller than its image.
        const std::int64_t nTotal = std::int64_t{m_nRows} * m_nCols + (sk_nGroup - 1);
        if (nTotal != static_cast<std::int32_t>(nTotal)) {
            throw std::bad_array_new_length();
        }
        m_pAllocation.reset(new T[static_cast<std::size_t>(nTotal)]);
        m_pPixels = alignedStart(m_pAllocation.get());
    }

    PixelBuffer(int nRows, int nCols, FastScratchMemory&) : PixelBuffer(nRows, nCols) {}

    /** Wraps memory of the caller, which is never freed here; cols is taken as the stride as it stands. */
    PixelBuffer(int nRows, int nCols, T* pPixels) : m_pPixels(pPixels), m_nRows(nRows), m_nCols(nCols) {}

    PixelBuffer(int nRows, int nCols, T* pPixels, OneFrameMemory) : PixelBuffer(nRows, nCols, pPixels)
    {
        m_bOneFrame = true;
    }

    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;

    [[nodiscard]] int nRows() const { return m_nRows; }
    /** The stride in pixels, not the width that was asked for. */
    [[nodiscard]] int nCols() const { return m_nCols; }
    [[nodiscard]] bool isOneFrame() const { return m_bOneFrame; }
    /** Whether the pixels were allocated here, not lent by a caller; an empty buffer has none. */
    [[nodiscard]] bool isOwn() const { return m_pAllocation != nullptr; }

    /** Whether more than one view links it. */
    [[nodiscard]] bool isShared() const { return atomic_read(m_nReferenceCount) > 1; }
    /** The stride, in pixels, of own storage for rows of that width. */
    [[nodiscard]] static std::int32_t strideOf(int nCols)
    {
        // Unsigned, so that an absurd width wraps as the product above does instead of being undefined.
        return static_cast<std::int32_t>((static_cast<std::uint32_t>(nCols) + (sk_nGroup - 1)) & ~(sk_nGroup - 1U));
    }

    T* link()
    {
        atomic_incr(m_nReferenceCount);
        return m_pPixels;
    }

    /** True for the caller that dropped the last link; deleting is left to it. */
    [[nodiscard]] bool free() { return atomic_decr(m_nReferenceCount) != 0; }

private:
    // For an allocation aligned to sizeof(T) this rounds up to 32 bytes; the slack of sk_nGroup - 1 pixels pays for it.
    static T* alignedStart(T* pAllocation)
    {
        const auto uMask = static_cast<std::uintptr_t>(sk_nAlignment - static_cast<int>(sizeof(T)));
        const auto uOffset = (0 - reinterpret_cast<std::uintptr_t>(pAllocation)) & uMask;
        return pAllocation + uOffset / sizeof(T);
    }

    T* m_pPixels = nullptr;
    std::int32_t m_nRows = 0;
    std::int32_t m_nCols = 0;                    // stride in pixels
    mutable std::uint32_t m_nReferenceCount = 0; // mutable: reading an atomic needs it
    bool m_bOneFrame = false;
    std::unique_ptr<T[]> m_pAllocation; // null for external memory and for an empty buffer
};

} // namespace kestrova
