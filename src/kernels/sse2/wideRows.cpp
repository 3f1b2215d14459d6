// Preprocessing rows in the registers that every processor of this architecture has. Without byte shuffles, warp and
// unpacking stay with the plain code.
#include "kernels/wide/wideRows_box.h"

#include <emmintrin.h>

namespace kestrova {

namespace {

struct Sse2
{
    using V = __m128i;
    static constexpr int sk_nLanes = 8;

    static V loadWords(const std::uint16_t* p) { return _mm_loadu_si128(reinterpret_cast<const V*>(p)); }
    static void storeWords(std::uint16_t* p, V v) { _mm_storeu_si128(reinterpret_cast<V*>(p), v); }
    static V widen(const std::uint8_t* p)
    {
        return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const V*>(p)), _mm_setzero_si128());
    }
    static V spread(std::int16_t n) { return _mm_set1_epi16(n); }
    static V add(V a, V b) { return _mm_add_epi16(a, b); }
    static V subtract(V a, V b) { return _mm_sub_epi16(a, b); }
    static V multiplyHigh(V a, V b) { return _mm_mulhi_epi16(a, b); }
    static V multiplyLow(V a, V b) { return _mm_mullo_epi16(a, b); }
    static void storeSaturated(std::uint8_t* p, V v)
    {
        _mm_storel_epi64(reinterpret_cast<V*>(p), _mm_packus_epi16(v, v));
    }
};

} // namespace

constinit const WideRowsForm g_wideRowsSse2 = {0, nullptr, addRow<Sse2>, packSums<Sse2>, bandpassSums<Sse2>,
                                               0, nullptr};

} // namespace kestrova
