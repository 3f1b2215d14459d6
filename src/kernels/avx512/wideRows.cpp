// Preprocessing rows in registers of 512 bits. Compiled for processors that have them, and reached on no other.
#include "kernels/wide/wideRows_blend.h"
#include "kernels/wide/wideRows_box.h"
#include "kernels/wide/wideRows_extract.h"

#include <immintrin.h>

namespace kestrova {

namespace {

struct Avx512
{
    using V = __m512i;
    static constexpr int sk_nBytes = 64;
    static constexpr int sk_nLanes = 32;

    static __m128i loadLane(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
    static V everyLane(__m128i lane) { return _mm512_broadcast_i32x4(lane); }

    static V loadWords(const std::uint16_t* p) { return _mm512_loadu_si512(p); }
    static void storeWords(std::uint16_t* p, V v) { _mm512_storeu_si512(p, v); }
    static V widen(const std::uint8_t* p)
    {
        return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
    }
    static V spread(std::int16_t n) { return _mm512_set1_epi16(n); }
    static V add(V a, V b) { return _mm512_add_epi16(a, b); }
    static V subtract(V a, V b) { return _mm512_sub_epi16(a, b); }
    static V multiplyHigh(V a, V b) { return _mm512_mulhi_epi16(a, b); }
    static V multiplyLow(V a, V b) { return _mm512_mullo_epi16(a, b); }
    static void storeSaturated(std::uint8_t* p, V v)
    {
        const V positive = _mm512_max_epi16(v, _mm512_setzero_si512()); // the conversion reads its words as unsigned
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvtusepi16_epi8(positive));
    }

    static V windows(const std::uint8_t* pSrc, const std::int32_t* pBases)
    {
        V v = _mm512_castsi128_si512(loadLane(pSrc + pBases[0]));
        v = _mm512_inserti32x4(v, loadLane(pSrc + pBases[1]), 1);
        v = _mm512_inserti32x4(v, loadLane(pSrc + pBases[2]), 2);
        return _mm512_inserti32x4(v, loadLane(pSrc + pBases[3]), 3);
    }
    /** Every byte two times over, eight bytes to a window. */
    static V twice(const std::uint8_t* p)
    {
        const __m128i doubled = _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
        return _mm512_shuffle_epi8(widen(p), everyLane(doubled));
    }
    static V shuffle(V bytes, V indices) { return _mm512_shuffle_epi8(bytes, indices); }
    static V addBytes(V a, V b) { return _mm512_add_epi8(a, b); }
    static V exclusiveOr(V a, V b) { return _mm512_xor_si512(a, b); }
    static V either(V a, V b) { return _mm512_or_si512(a, b); }
    static V both(V a, V b) { return _mm512_and_si512(a, b); }
    /** Bytes of a where the top bit of mask is set. */
    static V whereTop(V mask, V a, V b) { return _mm512_mask_blend_epi8(_mm512_movepi8_mask(mask), b, a); }
    static V multiplyPairs(V weights, V pixels) { return _mm512_maddubs_epi16(weights, pixels); }
    template<int nBits>
    static V shiftLeft(V v)
    {
        return _mm512_slli_epi16(v, nBits);
    }
    template<int nBits>
    static V shiftRight(V v)
    {
        return _mm512_srai_epi16(v, nBits);
    }

    static V gatherChannels(const std::uint8_t* p)
    {
        const __m128i order = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        return _mm512_shuffle_epi8(_mm512_loadu_si512(p), everyLane(order));
    }
    static V interleaveLow32(V a, V b) { return _mm512_unpacklo_epi32(a, b); }
    static V interleaveHigh32(V a, V b) { return _mm512_unpackhi_epi32(a, b); }
    static V interleaveLow64(V a, V b) { return _mm512_unpacklo_epi64(a, b); }
    static V interleaveHigh64(V a, V b) { return _mm512_unpackhi_epi64(a, b); }
    static void storeInOrder(std::uint8_t* p, V v)
    {
        const V order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        _mm512_storeu_si512(p, _mm512_permutexvar_epi32(order, v));
    }
};

} // namespace

constinit const WideRowsForm g_wideRowsAvx512 = {
    Avx512::sk_nLanes,    blendWindows<Avx512>, addRow<Avx512>,  packSums<Avx512>,
    bandpassSums<Avx512>, Avx512::sk_nBytes,    extract<Avx512>,
};

} // namespace kestrova
