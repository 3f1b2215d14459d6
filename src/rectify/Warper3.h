// The bilinear warpers: position tables with two fractions of 7 bits.
//
// The four weights of a pixel add up to 2^14 and the blend is truncated, so a flat source stays exactly flat. 16-bit
// images are warped by the nearest-pixel rule, whatever the class.
#pragma once

#include "rectify/WarpWindows.h"
#include "rectify/Warper.h"

namespace kestrova {

class Warper3 : public Warper
{
public:
    Warper3();
    ~Warper3() override;

    void build(const WarpMapFunc& rMap, const WarperKey& rKey) override;
    using Warper::build;

    /** Fills the three tables, which have destination size. Nothing in the library calls it. */
    static void buildWarper3Maps(const WarpMapFunc& rMap, int nSrcRows, int nSrcCols, int nStride, int nDstRows,
                                 int nDstCols, int nRowOffset, int nColOffset, Image<int>& rPositions,
                                 Image<unsigned char>& rRowFraction, Image<unsigned char>& rColFraction);

    [[nodiscard]] std::unique_ptr<Warper> clone() const override;

    using Warper::warp;
    void warp(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const override;
    /** Blends blue, green and red; the fourth lane of the result is 0. */
    void warp(Pixel8x4* pDst, const Pixel8x4* pSrc, int nRow, int nCol, int nWidth) const override;

    /** Weight of the next row in 128ths, 0 to 127; the column weight likewise. */
    [[nodiscard]] const Image<unsigned char>& rowFraction() const { return m_rowFraction; }
    [[nodiscard]] const Image<unsigned char>& colFraction() const { return m_colFraction; }

protected:
    Warper3(const Warper3&);
    void buildTables(const WarpMapFunc& rMap, const WarperKey& rKey, KernelType eKernelType);
    void initRange() override;

    Image<unsigned char> m_rowFraction;
    Image<unsigned char> m_colFraction;
    WarpWindows m_windows; // only where this class warps by itself: a kernel warper has none

private:
    void blendPixels(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const;
};

/** The same tables and the same pixels; the class for every kernel type without one of its own. */
class BilinearWarper3 : public Warper3
{
public:
    BilinearWarper3();
    ~BilinearWarper3() override;

    void build(const WarpMapFunc& rMap, const WarperKey& rKey) override;
    using Warper::build;
    [[nodiscard]] std::unique_ptr<Warper> clone() const override;

protected:
    BilinearWarper3(const BilinearWarper3&);
    virtual void init();
};

} // namespace kestrova
