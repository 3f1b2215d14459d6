// Whole rows in registers of 256 bits. Compiled for processors that have them, and reached on no other.
#include "kernels/wide/wholeRow_form.h"

#include <immintrin.h>

namespace kestrova {

namespace {

struct Avx2
{
    using V = __m256i;
    static constexpr int sk_nLanes = 16;
    static constexpr int sk_nMost = 12; // vectors of a block
    static constexpr std::uint16_t sk_uBias = 0;

    // Pixels of a fit.
    typedef std::int32_t Int __attribute__((vector_size(32)));
    typedef std::uint32_t Unsigned __attribute__((vector_size(32)));
    typedef float Float __attribute__((vector_size(32)));
    typedef std::uint16_t Words __attribute__((vector_size(16)));
    typedef std::uint8_t Bytes __attribute__((vector_size(8)));

    template<bool bOdd>
    static Int halves(V low, V high)
    {
        const __m256 a = _mm256_castsi256_ps(low);
        const __m256 b = _mm256_castsi256_ps(high);
        constexpr int sk_nPick = bOdd ? _MM_SHUFFLE(3, 1, 3, 1) : _MM_SHUFFLE(2, 0, 2, 0);
        const V picked = _mm256_castps_si256(_mm256_shuffle_ps(a, b, sk_nPick));
        return reinterpret_cast<Int>(_mm256_permute4x64_epi64(picked, _MM_SHUFFLE(3, 1, 2, 0)));
    }

    static V load(const std::uint16_t* p) { return _mm256_load_si256(reinterpret_cast<const V*>(p)); }
    static V loadUnaligned(const std::uint16_t* p) { return _mm256_loadu_si256(reinterpret_cast<const V*>(p)); }
    static void store(std::uint16_t* p, V v) { _mm256_store_si256(reinterpret_cast<V*>(p), v); }
    static void storeUnaligned(std::uint16_t* p, V v) { _mm256_storeu_si256(reinterpret_cast<V*>(p), v); }
    static V broadcast(std::uint32_t u) { return _mm256_set1_epi32(static_cast<int>(u)); }
    static V spread(std::uint16_t u) { return _mm256_set1_epi16(static_cast<short>(u)); }
    static V add(V a, V b) { return _mm256_add_epi16(a, b); }
    static V subtract(V a, V b) { return _mm256_sub_epi16(a, b); }
    static V min(V a, V b) { return _mm256_min_epu16(a, b); }
    static V max(V a, V b) { return _mm256_max_epu16(a, b); }

    static V addDifference(V sum, V reference, const std::uint16_t* pSearch)
    {
        const V search = loadUnaligned(pSearch);
        const V pairs = _mm256_or_si256(_mm256_subs_epu8(reference, search), _mm256_subs_epu8(search, reference));
        return add(sum, _mm256_maddubs_epi16(pairs, _mm256_set1_epi16(static_cast<short>(0xFF01))));
    }

    static V spreadMinimum(V v)
    {
        const __m128i half = _mm_min_epu16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        return _mm256_broadcastw_epi16(_mm_minpos_epu16(half));
    }

    static std::uint16_t firstLane(V v)
    {
        return static_cast<std::uint16_t>(_mm_cvtsi128_si32(_mm256_castsi256_si128(v)));
    }

    /** Of anything, also of 0. */
    static unsigned trailingZeros(std::uint64_t u) { return static_cast<unsigned>(_tzcnt_u64(u)); }

    static V whereEqual(V a, V b, V then, V otherwise)
    {
        return _mm256_blendv_epi8(otherwise, then, _mm256_cmpeq_epi16(a, b));
    }

    template<int K>
    [[gnu::always_inline]] static std::uint64_t equalBits(const V* p, V v)
    {
        std::uint64_t uBits = 0;
#pragma GCC unroll 2
        for (int i = 0; i < K; i += 2) {
            const V low = _mm256_cmpeq_epi16(p[i], v);
            const V high = i + 1 < K ? _mm256_cmpeq_epi16(p[i + 1], v) : _mm256_setzero_si256();
            // Packing goes by halves of a register.
            const V packed = _mm256_permute4x64_epi64(_mm256_packs_epi16(low, high), _MM_SHUFFLE(3, 1, 2, 0));
            uBits |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm256_movemask_epi8(packed))) << 16 * i;
        }
        return uBits;
    }
};

} // namespace

constinit const WholeRowForm g_wholeRowAvx2 = wholeRowFormOf<Avx2>(sumWindowsSse2);

} // namespace kestrova
