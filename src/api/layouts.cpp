// The layout of everything that crosses the boundary, pinned. A line that fails here breaks programs that were built
// against an earlier header: raise the version of the shared object, or undo the change.
#include "image/pixels.h"
#include "kestrova.h"

#include <cstddef>
#include <type_traits>

namespace {

/** A plain record of that size, so that C sees what C++ sees. */
template<class Record, std::size_t nSize>
constexpr bool sk_bPlain = std::is_standard_layout_v<Record>&& std::is_trivial_v<Record> && sizeof(Record) == nSize;

template<class... Enums>
constexpr bool sk_b32Bits = (std::is_same_v<std::underlying_type_t<Enums>, std::int32_t> && ...);

template<class Image>
constexpr bool sk_bImageRecord = sk_bPlain<Image, 24>&& offsetof(Image, nrows) == 0 && offsetof(Image, ncols) == 4 &&
                                 offsetof(Image, rowinc) == 8 && offsetof(Image, data) == 16;

static_assert(
    sk_b32Bits<KestrovaError, KestrovaCamera, KestrovaImageType, KestrovaImage16Type, KestrovaCameraConfiguration,
               KestrovaRectImgQuality, KestrovaStereoQuality, KestrovaInputType>);
static_assert(sizeof(KestrovaContext) == 8);

static_assert(sk_bPlain<Pixel8x4, 4>);
static_assert(offsetof(Pixel8x4, m_ucBlue) == 0 && offsetof(Pixel8x4, m_ucGreen) == 1 &&
              offsetof(Pixel8x4, m_ucRed) == 2 && offsetof(Pixel8x4, m_ucFourth) == 3);

static_assert(sk_bImageRecord<KestrovaImage> && sk_bImageRecord<KestrovaImage16> &&
              sk_bImageRecord<KestrovaPackedColorImage>);

static_assert(sk_bPlain<KestrovaColorImage, 40>);
static_assert(offsetof(KestrovaColorImage, nrows) == 0 && offsetof(KestrovaColorImage, ncols) == 4 &&
              offsetof(KestrovaColorImage, rowinc) == 8 && offsetof(KestrovaColorImage, red) == 16 &&
              offsetof(KestrovaColorImage, green) == 24 && offsetof(KestrovaColorImage, blue) == 32);

static_assert(sk_bPlain<KestrovaTransform, 128>);

static_assert(sk_bPlain<KestrovaInput, 64>);
static_assert(offsetof(KestrovaInput, inputType) == 0 && offsetof(KestrovaInput, ulTag1) == 8 &&
              offsetof(KestrovaInput, ulTag2) == 16);
static_assert(offsetof(KestrovaInput, nrows) == 24 && offsetof(KestrovaInput, ncols) == 28 &&
              offsetof(KestrovaInput, rowinc) == 32);
static_assert(offsetof(KestrovaInput, pPlane0) == 40 && offsetof(KestrovaInput, pPlane1) == 48 &&
              offsetof(KestrovaInput, pPlane2) == 56);

static_assert(sk_bPlain<KestrovaROI, 16>);
static_assert(offsetof(KestrovaROI, m_nRowOffset) == 0 && offsetof(KestrovaROI, m_nColOffset) == 4 &&
              offsetof(KestrovaROI, m_nRows) == 8 && offsetof(KestrovaROI, m_nCols) == 12);

// Kernels load several lanes at once, so these hold inside the library.
static_assert(sk_bPlain<kestrova::ImageDim, 8> && sk_bPlain<kestrova::Pixel8x8, 8>);
static_assert(sk_bPlain<kestrova::Pixel16x4, 8> && sk_bPlain<kestrova::Pixel16x8, 16>);

} // namespace
