// Whole rows in the registers that every processor has. Sums are biased: the minimum of this set is a signed one.
#include "kernels/wide/wholeRow_form.h"

#include <emmintrin.h>

namespace kestrova {

namespace {

struct Sse2
{
    using V = __m128i;
    static constexpr int sk_nLanes = 8;
    static constexpr int sk_nMost = 12; // vectors of a block
    static constexpr std::uint16_t sk_uBias = 0x8000;

    // Pixels of a fit.
    typedef std::int32_t Int __attribute__((vector_size(16)));
    typedef std::uint32_t Unsigned __attribute__((vector_size(16)));
    typedef float Float __attribute__((vector_size(16)));
    typedef std::uint16_t Words __attribute__((vector_size(8)));
    typedef std::uint8_t Bytes __attribute__((vector_size(4)));

    template<bool bOdd>
    static Int halves(V low, V high)
    {
        const __m128 a = _mm_castsi128_ps(low);
        const __m128 b = _mm_castsi128_ps(high);
        constexpr int sk_nPick = bOdd ? _MM_SHUFFLE(3, 1, 3, 1) : _MM_SHUFFLE(2, 0, 2, 0);
        return reinterpret_cast<Int>(_mm_shuffle_ps(a, b, sk_nPick));
    }

    static V load(const std::uint16_t* p) { return _mm_load_si128(reinterpret_cast<const V*>(p)); }
    static V loadUnaligned(const std::uint16_t* p) { return _mm_loadu_si128(reinterpret_cast<const V*>(p)); }
    static void store(std::uint16_t* p, V v) { _mm_store_si128(reinterpret_cast<V*>(p), v); }
    static void storeUnaligned(std::uint16_t* p, V v) { _mm_storeu_si128(reinterpret_cast<V*>(p), v); }
    static V broadcast(std::uint32_t u) { return _mm_set1_epi32(static_cast<int>(u)); }
    static V spread(std::uint16_t u) { return _mm_set1_epi16(static_cast<short>(u)); }
    static V add(V a, V b) { return _mm_add_epi16(a, b); }
    static V subtract(V a, V b) { return _mm_sub_epi16(a, b); }
    static V min(V a, V b) { return _mm_min_epi16(a, b); }
    static V max(V a, V b) { return _mm_max_epi16(a, b); }

    static V addDifference(V sum, V reference, const std::uint16_t* pSearch)
    {
        const V search = loadUnaligned(pSearch);
        const V pairs = _mm_or_si128(_mm_subs_epu8(reference, search), _mm_subs_epu8(search, reference));
        const V entering = _mm_and_si128(pairs, _mm_set1_epi16(0xFF));
        return _mm_sub_epi16(_mm_add_epi16(sum, entering), _mm_srli_epi16(pairs, 8));
    }

    static V spreadMinimum(V v)
    {
        v = min(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)));
        v = min(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 3, 0, 1)));
        const V low = _mm_shufflelo_epi16(v, _MM_SHUFFLE(2, 3, 0, 1));
        return min(v, _mm_shufflehi_epi16(low, _MM_SHUFFLE(2, 3, 0, 1)));
    }

    static std::uint16_t firstLane(V v) { return static_cast<std::uint16_t>(_mm_cvtsi128_si32(v)); }

    /** Of anything, also of 0. */
    static unsigned trailingZeros(std::uint64_t u) { return static_cast<unsigned>(__builtin_ctzll(u | 1ULL << 63)); }

    // Lanes of then are not below those of otherwise.
    static V whereEqual(V a, V b, V then, V otherwise)
    {
        return max(_mm_and_si128(_mm_cmpeq_epi16(a, b), then), otherwise);
    }

    template<int K>
    [[gnu::always_inline]] static std::uint64_t equalBits(const V* p, V v)
    {
        std::uint64_t uBits = 0;
#pragma GCC unroll 4
        for (int i = 0; i < K; i += 2) {
            const V low = _mm_cmpeq_epi16(p[i], v);
            const V high = i + 1 < K ? _mm_cmpeq_epi16(p[i + 1], v) : _mm_setzero_si128();
            const auto uPair = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
            uBits |= static_cast<std::uint64_t>(uPair) << 8 * i;
        }
        return uBits;
    }
};

} // namespace

// Eight columns at a time: the running sum of what enters and leaves.
void sumWindowsSse2(std::uint16_t* pOut, const std::uint16_t* pColumns, int nMask, unsigned uStart, int nCount)
{
    unsigned uSum = uStart;
    for (int x = 0; x < nMask - 1; ++x) {
        uSum += pColumns[x];
    }
    __m128i before = _mm_set1_epi16(static_cast<short>(uSum));
    for (int x = 0; x < nCount; x += 8) {
        const __m128i entering = Sse2::loadUnaligned(pColumns + x + nMask - 1);
        const __m128i leaving = Sse2::loadUnaligned(pColumns + x);
        __m128i change = _mm_sub_epi16(entering, leaving);
        change = _mm_add_epi16(change, _mm_slli_si128(change, 2));
        change = _mm_add_epi16(change, _mm_slli_si128(change, 4));
        change = _mm_add_epi16(change, _mm_slli_si128(change, 8));
        const __m128i after = _mm_add_epi16(before, change);
        Sse2::storeUnaligned(pOut + x, _mm_add_epi16(after, leaving));
        before = _mm_shuffle_epi32(_mm_shufflehi_epi16(after, _MM_SHUFFLE(3, 3, 3, 3)), _MM_SHUFFLE(3, 3, 3, 3));
    }
}

constinit const WholeRowForm g_wholeRowSse2 = wholeRowFormOf<Sse2>(sumWindowsSse2);

} // namespace kestrova
