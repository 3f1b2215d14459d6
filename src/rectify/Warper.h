// A table that says, for every pixel of a destination image, where to take its value in a source image.
//
// Built once from a warp map for one combination of sizes, stride, subpixel offset and kernel, then applied to each
// frame without floating point. Tables are indexed by destination pixel, so a warp is a gather. A warper does not
// change after build: several threads may warp different rows with it.
#pragma once

#include "image/Image.h"
#include "kernels/BoxFilter.h"
#include "rectify/KernelType.h"

#include <memory>

namespace kestrova {

class WarpMapFunc;
struct BoxPass;

/** What a warper is built for. Requests with equal keys are served by one warper. */
struct WarperKey
{
    std::int32_t m_nDestinationRows = 0;
    std::int32_t m_nDestinationCols = 0;
    std::int32_t m_nSourceRows = 0;
    std::int32_t m_nSourceCols = 0;
    std::int32_t m_nStride = 0;            // of the source image, in its pixels; above 0
    std::int32_t m_nSubpixelRowOffset = 0; // hundredths of a pixel, 0 to 99
    std::int32_t m_nSubpixelColOffset = 0;
    KernelType m_eKernelType = KernelNearest;
    std::int32_t m_nKernelSize = 0;

    friend bool operator==(const WarperKey&, const WarperKey&) = default;
};

/** The nearest-pixel warper, and the base of the others. */
class Warper
{
public:
    Warper();
    virtual ~Warper();
    Warper& operator=(const Warper&) = delete;

    /**
     * Fills the tables. Sizes and stride are above 0, source rows times stride fits 31 bits. An offset that is negative
     * or above 99 counts, and is kept, as 0. The kernel type is that of the class, whatever the key says.
     */
    virtual void build(const WarpMapFunc& rMap, const WarperKey& rKey);
    /** The same as a list, here alone the source first. Nothing in the library calls it. */
    void build(const WarpMapFunc& rMap, int nSrcRows, int nSrcCols, int nStride, int nDstRows, int nDstCols,
               int nRowOffset, int nColOffset, int nKernelSize)
    {
        build(rMap, {nDstRows, nDstCols, nSrcRows, nSrcCols, nStride, nRowOffset, nColOffset, {}, nKernelSize});
    }

    /** A new warper that shares all tables. */
    [[nodiscard]] virtual std::unique_ptr<Warper> clone() const;

    /**
     * Box average, gain and warp in one pass over the source. The stride of tmp is one that this warper was built for.
     *
     * Before a destination row is warped, just the source rows that it touches are filtered. The border of tmp is
     * blackened by a cursor that steps by the columns of tmp, not by its stride. Where the two differ (widths that are
     * no multiple of 32) it falls behind: it blackens single pixels inside rows that are filtered already, and the
     * border itself keeps what tmp held before.
     */
    void warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, const BoxPass& rPass) const;
    /** The same as a list. Nothing in the library calls it. */
    virtual void warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, Image<unsigned char>& rTmp,
                      Image<unsigned char>& rTmpInterior, Image<unsigned short>& rSums, BoxFilter& rBox, int nScale,
                      int nMaskRows, int nMaskCols) const;

    /** Fill the destination view. A slice of a destination reads the tables at its place in its frame. */
    virtual void warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc) const;
    virtual void warp(Image<unsigned short>& rDst, const Image<unsigned short>& rSrc) const;
    virtual void warp(Image<Pixel8x4>& rDst, const Image<Pixel8x4>& rSrc) const;

    /** Fill nWidth pixels of a destination row from the whole source; (row, col) is the first pixel in the tables. */
    virtual void warp(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const;
    virtual void warp(unsigned short* pDst, const unsigned short* pSrc, int nRow, int nCol, int nWidth) const;
    virtual void warp(Pixel8x4* pDst, const Pixel8x4* pSrc, int nRow, int nCol, int nWidth) const;

    [[nodiscard]] const WarperKey& key() const { return m_key; }
    /** Source index of each destination pixel: source row times stride plus source column. */
    [[nodiscard]] const Image<int>& map() const { return m_map; }
    /** Row 0: the lowest source row that each destination row touches. Row 1: the highest. */
    [[nodiscard]] const Image<int>& rowRange() const { return m_rowRange; }

protected:
    Warper(const Warper&);
    void setKey(const WarperKey& rKey, KernelType eKernelType);
    virtual void initRange();

    Image<int> m_map;
    Image<int> m_rowRange;
    WarperKey m_key;
};

} // namespace kestrova
