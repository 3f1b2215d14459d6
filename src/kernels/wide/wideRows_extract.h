// Channels out of packed pixels: within each 16 bytes the bytes of a channel are brought together, then four registers
// are transposed. Written once over a vector type.
#pragma once

#include "kernels/WideRows.h"

namespace kestrova {
namespace {

template<typename T>
[[gnu::always_inline]] inline void extractStep(const ChannelRows& rOut, int i, const std::uint8_t* pPacked)
{
    const auto gathered = [&](int k) { return T::gatherChannels(pPacked + 4 * i + k * T::sk_nBytes); };
    const auto a = gathered(0);
    const auto b = gathered(1);
    const auto c = gathered(2);
    const auto d = gathered(3);
    if (rOut.m_apOut[0] != nullptr || rOut.m_apOut[1] != nullptr) {
        const auto ab = T::interleaveLow32(a, b);
        const auto cd = T::interleaveLow32(c, d);
        if (rOut.m_apOut[0] != nullptr) {
            T::storeInOrder(rOut.m_apOut[0] + i, T::interleaveLow64(ab, cd));
        }
        if (rOut.m_apOut[1] != nullptr) {
            T::storeInOrder(rOut.m_apOut[1] + i, T::interleaveHigh64(ab, cd));
        }
    }
    if (rOut.m_apOut[2] != nullptr) {
        T::storeInOrder(rOut.m_apOut[2] + i, T::interleaveLow64(T::interleaveHigh32(a, b), T::interleaveHigh32(c, d)));
    }
}

/** At least T::sk_nBytes pixels; the last step overlaps the one before. */
template<typename T>
void extract(const ChannelRows& rOut, int n, const std::uint8_t* pPacked)
{
    int i = 0;
    for (; i + T::sk_nBytes <= n; i += T::sk_nBytes) {
        extractStep<T>(rOut, i, pPacked);
    }
    if (i < n) {
        extractStep<T>(rOut, n - T::sk_nBytes, pPacked);
    }
}

} // namespace
} // namespace kestrova
