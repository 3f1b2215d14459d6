// Seeded pixels, and rows between canaries at a chosen alignment.
//
// A GuardedRow starts nOffset bytes after a 64-byte boundary. What follows its last element is a canary, which the
// address sanitizer sees as poisoned: in that build a read past the end stops the test, in the others a write is found
// by intact().
#pragma once

#include "image/Image.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <sanitizer/asan_interface.h> // its macros do nothing in other builds
#include <vector>

namespace support {

/** Random values of which every fourth is an extreme or a neighbour of one, so that limits and ties are common. */
template<typename T>
std::vector<T> seededValues(std::size_t uCount, unsigned uSeed)
{
    constexpr unsigned sk_uMax = std::numeric_limits<T>::max();
    constexpr unsigned sk_auExtremes[] = {0, 1, sk_uMax / 2, sk_uMax / 2 + 1, sk_uMax - 1, sk_uMax};
    std::mt19937 random(uSeed);
    std::vector<T> values(uCount);
    for (T& rValue : values) {
        const unsigned u = static_cast<unsigned>(random());
        rValue = static_cast<T>(u % 4 == 0 ? sk_auExtremes[u / 4 % 6] : u >> 8);
    }
    return values;
}

template<typename T>
class GuardedRow
{
public:
    GuardedRow(const std::vector<T>& rValues, int nOffset)
        : m_uBytes(rValues.size() * sizeof(T)), m_uStart(sk_uGuard + static_cast<std::size_t>(nOffset)),
          m_pBlock(static_cast<unsigned char*>(::operator new (m_uStart + m_uBytes + sk_uGuard, std::align_val_t{64})))
    {
        std::memset(m_pBlock.get(), sk_ucCanary, m_uStart + m_uBytes + sk_uGuard);
        if (m_uBytes != 0) {
            std::memcpy(m_pBlock.get() + m_uStart, rValues.data(), m_uBytes);
        }
        ASAN_POISON_MEMORY_REGION(m_pBlock.get() + m_uStart + m_uBytes, sk_uGuard);
    }

    [[nodiscard]] T* data() { return reinterpret_cast<T*>(m_pBlock.get() + m_uStart); }
    [[nodiscard]] std::vector<T> values() { return std::vector<T>(data(), data() + m_uBytes / sizeof(T)); }

    /** True as long as nothing around the row was written. */
    [[nodiscard]] bool intact()
    {
        const unsigned char* pEnd = m_pBlock.get() + m_uStart + m_uBytes;
        ASAN_UNPOISON_MEMORY_REGION(pEnd, sk_uGuard);
        const auto isCanary = [](unsigned char uc) { return uc == sk_ucCanary; };
        return std::all_of(m_pBlock.get(), m_pBlock.get() + m_uStart, isCanary) &&
               std::all_of(pEnd, pEnd + sk_uGuard, isCanary);
    }

private:
    struct Release
    {
        void operator()(unsigned char* p) const { ::operator delete (p, std::align_val_t{64}); }
    };

    static constexpr std::size_t sk_uGuard = 64;
    static constexpr unsigned char sk_ucCanary = 0xC5;

    std::size_t m_uBytes;
    std::size_t m_uStart;
    std::unique_ptr<unsigned char, Release> m_pBlock;
};

/** A whole-buffer image of seeded values; its slack is seeded as well. */
template<typename T>
kestrova::Image<T> seededImage(int nRows, int nCols, unsigned uSeed)
{
    kestrova::Image<T> image(nRows, nCols);
    const auto uCount = static_cast<std::size_t>(nRows) * static_cast<std::size_t>(image.rowDistance());
    const std::vector<T> values = seededValues<T>(uCount, uSeed);
    std::copy(values.begin(), values.end(), image.data());
    return image;
}

/** The pixels of a view, row after row. */
template<typename T>
std::vector<T> pixelsOf(const kestrova::Image<T>& rImage)
{
    std::vector<T> pixels;
    for (int nRow = 0; nRow < rImage.nRows(); ++nRow) {
        const T* pRow = rImage.data() + static_cast<std::ptrdiff_t>(nRow) * rImage.rowDistance();
        pixels.insert(pixels.end(), pRow, pRow + rImage.nCols());
    }
    return pixels;
}

} // namespace support
