// Preprocessing rows in registers of 256 bits. Compiled for processors that have them, and reached on no other.
#include "kernels/wide/wideRows_blend.h"
#include "kernels/wide/wideRows_box.h"
#include "kernels/wide/wideRows_extract.h"

#include <immintrin.h>

namespace kestrova {

namespace {

struct Avx2
{
    using V = __m256i;
    static constexpr int sk_nBytes = 32;
    static constexpr int sk_nLanes = 16;

    static V load(const void* p) { return _mm256_loadu_si256(static_cast<const V*>(p)); }
    static __m128i loadHalf(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
    static V everyLane(__m128i lane) { return _mm256_broadcastsi128_si256(lane); }

    static V loadWords(const std::uint16_t* p) { return load(p); }
    static void storeWords(std::uint16_t* p, V v) { _mm256_storeu_si256(reinterpret_cast<V*>(p), v); }
    static V widen(const std::uint8_t* p) { return _mm256_cvtepu8_epi16(loadHalf(p)); }
    static V spread(std::int16_t n) { return _mm256_set1_epi16(n); }
    static V add(V a, V b) { return _mm256_add_epi16(a, b); }
    static V subtract(V a, V b) { return _mm256_sub_epi16(a, b); }
    static V multiplyHigh(V a, V b) { return _mm256_mulhi_epi16(a, b); }
    static V multiplyLow(V a, V b) { return _mm256_mullo_epi16(a, b); }
    static void storeSaturated(std::uint8_t* p, V v)
    {
        const __m128i bytes = _mm_packus_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), bytes);
    }

    static V windows(const std::uint8_t* pSrc, const std::int32_t* pBases)
    {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(loadHalf(pSrc + pBases[0])), loadHalf(pSrc + pBases[1]),
                                       1);
    }
    /** Every byte two times over, eight bytes to a window. */
    static V twice(const std::uint8_t* p)
    {
        const __m128i doubled = _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
        return _mm256_shuffle_epi8(widen(p), everyLane(doubled));
    }
    static V shuffle(V bytes, V indices) { return _mm256_shuffle_epi8(bytes, indices); }
    static V addBytes(V a, V b) { return _mm256_add_epi8(a, b); }
    static V exclusiveOr(V a, V b) { return _mm256_xor_si256(a, b); }
    static V either(V a, V b) { return _mm256_or_si256(a, b); }
    static V both(V a, V b) { return _mm256_and_si256(a, b); }
    /** Bytes of a where the top bit of mask is set. */
    static V whereTop(V mask, V a, V b) { return _mm256_blendv_epi8(b, a, mask); }
    static V multiplyPairs(V weights, V pixels) { return _mm256_maddubs_epi16(weights, pixels); }
    template<int nBits>
    static V shiftLeft(V v)
    {
        return _mm256_slli_epi16(v, nBits);
    }
    template<int nBits>
    static V shiftRight(V v)
    {
        return _mm256_srai_epi16(v, nBits);
    }

    static V gatherChannels(const std::uint8_t* p)
    {
        const __m128i order = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        return _mm256_shuffle_epi8(load(p), everyLane(order));
    }
    static V interleaveLow32(V a, V b) { return _mm256_unpacklo_epi32(a, b); }
    static V interleaveHigh32(V a, V b) { return _mm256_unpackhi_epi32(a, b); }
    static V interleaveLow64(V a, V b) { return _mm256_unpacklo_epi64(a, b); }
    static V interleaveHigh64(V a, V b) { return _mm256_unpackhi_epi64(a, b); }
    static void storeInOrder(std::uint8_t* p, V v)
    {
        const V order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
        _mm256_storeu_si256(reinterpret_cast<V*>(p), _mm256_permutevar8x32_epi32(v, order));
    }
};

} // namespace

constinit const WideRowsForm g_wideRowsAvx2 = {
    Avx2::sk_nLanes,    blendWindows<Avx2>, addRow<Avx2>,  packSums<Avx2>,
    bandpassSums<Avx2>, Avx2::sk_nBytes,    extract<Avx2>,
};

} // namespace kestrova
