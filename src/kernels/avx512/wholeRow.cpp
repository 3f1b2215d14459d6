// Whole rows in registers of 512 bits. Compiled for processors that have them, and reached on no other.
#include "kernels/wide/wholeRow_form.h"

#include <immintrin.h>

namespace kestrova {

namespace {

struct Avx512
{
    using V = __m512i;
    static constexpr int sk_nLanes = 32;
    static constexpr int sk_nMost = 8; // vectors of a block, which is all that there are
    static constexpr std::uint16_t sk_uBias = 0;

    // Pixels of a fit.
    typedef std::int32_t Int __attribute__((vector_size(64)));
    typedef std::uint32_t Unsigned __attribute__((vector_size(64)));
    typedef float Float __attribute__((vector_size(64)));
    typedef std::uint16_t Words __attribute__((vector_size(32)));
    typedef std::uint8_t Bytes __attribute__((vector_size(16)));

    template<bool bOdd>
    static Int halves(V low, V high)
    {
        const V even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
        const V picked = bOdd ? _mm512_add_epi32(even, _mm512_set1_epi32(1)) : even;
        return reinterpret_cast<Int>(_mm512_permutex2var_epi32(low, picked, high));
    }

    static V load(const std::uint16_t* p) { return _mm512_load_si512(p); }
    static V loadUnaligned(const std::uint16_t* p) { return _mm512_loadu_si512(p); }
    static void store(std::uint16_t* p, V v) { _mm512_store_si512(p, v); }
    static void storeUnaligned(std::uint16_t* p, V v) { _mm512_storeu_si512(p, v); }
    static V broadcast(std::uint32_t u) { return _mm512_set1_epi32(static_cast<int>(u)); }
    static V spread(std::uint16_t u) { return _mm512_set1_epi16(static_cast<short>(u)); }
    static V add(V a, V b) { return _mm512_add_epi16(a, b); }
    static V subtract(V a, V b) { return _mm512_sub_epi16(a, b); }
    static V min(V a, V b) { return _mm512_min_epu16(a, b); }
    static V max(V a, V b) { return _mm512_max_epu16(a, b); }

    static V addDifference(V sum, V reference, const std::uint16_t* pSearch)
    {
        const V search = loadUnaligned(pSearch);
        const V pairs = _mm512_or_si512(_mm512_subs_epu8(reference, search), _mm512_subs_epu8(search, reference));
        return add(sum, _mm512_maddubs_epi16(pairs, _mm512_set1_epi16(static_cast<short>(0xFF01))));
    }

    static V spreadMinimum(V v)
    {
        const __m256i half = _mm256_min_epu16(_mm512_castsi512_si256(v), _mm512_extracti64x4_epi64(v, 1));
        const __m128i quarter = _mm_min_epu16(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
        return _mm512_broadcastw_epi16(_mm_minpos_epu16(quarter));
    }

    static std::uint16_t firstLane(V v)
    {
        return static_cast<std::uint16_t>(_mm_cvtsi128_si32(_mm512_castsi512_si128(v)));
    }

    /** Of anything, also of 0. */
    static unsigned trailingZeros(std::uint64_t u) { return static_cast<unsigned>(_tzcnt_u64(u)); }

    static V whereEqual(V a, V b, V then, V otherwise)
    {
        return _mm512_mask_mov_epi16(otherwise, _mm512_cmpeq_epi16_mask(a, b), then);
    }

    template<int K>
    [[gnu::always_inline]] static std::uint64_t equalBits(const V* p, V v)
    {
        const __mmask32 low = _mm512_cmpeq_epi16_mask(p[0], v);
        if constexpr (K == 1) {
            return low;
        } else {
            return _mm512_kunpackd(_mm512_cmpeq_epi16_mask(p[1], v), low);
        }
    }
};

} // namespace

constinit const WholeRowForm g_wholeRowAvx512 = wholeRowFormOf<Avx512>(sumWindowsSse2);

} // namespace kestrova
