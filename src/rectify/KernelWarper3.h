// The base of the kernel warpers: a nearest source pixel and a small two-dimensional kernel for every pixel.
//
// The tables hold the nearest pixel, but fractions that count from the floor pixel; the kernels of a class are made for
// that. Pixels whose window would leave the source take the nearest pixel, so the weights need no test of bounds. Only
// 8-bit images and packed pixels meet the kernels; 16-bit images are warped by the nearest-pixel rule.
#pragma once

#include "rectify/InterpKernels.h"
#include "rectify/Warper3.h"

namespace kestrova {

class KernelWarper3 : public Warper3
{
public:
    ~KernelWarper3() override;

    /** As Warper3::buildWarper3Maps, but positions are those of the nearest pixel. */
    static void buildWarper3Maps(const WarpMapFunc& rMap, int nSrcRows, int nSrcCols, int nStride, int nDstRows,
                                 int nDstCols, int nRowOffset, int nColOffset, Image<int>& rPositions,
                                 Image<unsigned char>& rRowFraction, Image<unsigned char>& rColFraction);

    /**
     * Fill the destination view: rows from the first to the last kernel row through the kernels, the others by the
     * nearest pixel. A view that ends above the last kernel row gets one row more than it has, if its frame has that
     * row: the row just behind it is warped as well.
     */
    void warp(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc) const override;
    void warp(Image<unsigned short>& rDst, const Image<unsigned short>& rSrc) const override;
    void warp(Image<Pixel8x4>& rDst, const Image<Pixel8x4>& rSrc) const override;

    using Warper3::warp;
    void warp(unsigned char* pDst, const unsigned char* pSrc, int nRow, int nCol, int nWidth) const override;
    /** Blue, green and red; the fourth lane is 0 where a kernel was applied, and copied where the nearest pixel was. */
    void warp(Pixel8x4* pDst, const Pixel8x4* pSrc, int nRow, int nCol, int nWidth) const override;

    /** The kernel of each pixel, row phase times 32 plus column phase; sk_uNoKernel where its window would not fit. */
    [[nodiscard]] const Image<unsigned short>& kernelMap() const { return m_kernelMap; }
    /** Side of the kernels in force; the key keeps the size that was asked for. */
    [[nodiscard]] int kernelSize() const { return m_nKernelSize; }
    [[nodiscard]] int kernelHalfSize() const { return m_nKernelHalfSize; }
    /** Destination rows and columns that windows fit into: -1 for a first, the size for a last that there is none of.
     */
    [[nodiscard]] ImageDim firstKernelPixel() const { return {m_nFirstKernelRow, m_nFirstKernelCol}; }
    [[nodiscard]] ImageDim lastKernelPixel() const { return {m_nLastKernelRow, m_nLastKernelCol}; }

    static constexpr unsigned short sk_uNoKernel = InterpKernels::sk_nEntries;

protected:
    KernelWarper3();
    KernelWarper3(const KernelWarper3&);

    /** Tables, and kernel size and half size as the key asks for them. */
    void buildTables(const WarpMapFunc& rMap, const WarperKey& rKey, KernelType eKernelType);
    using Warper3::initRange;
    /** Row ranges, and the rows and columns that a window of that half size fits into. */
    void initRange(int nHalfSize);
    /** Quantises the fractions to phases. */
    void initKernelMap();

    Image<unsigned short> m_kernelMap;
    const double* m_pKernels = nullptr; // borrowed from the tables of the class
    std::int32_t m_nKernelHalfSize = 0;
    std::int32_t m_nKernelSize = 0;
    std::int32_t m_nFirstKernelRow = -1;
    std::int32_t m_nLastKernelRow = 0;
    std::int32_t m_nFirstKernelCol = -1;
    std::int32_t m_nLastKernelCol = 0;

private:
    void initRowRange(int nHalfSize);
    void initColRange(int nHalfSize);
    template<typename T>
    void warpImage(Image<T>& rDst, const Image<T>& rSrc) const;
    template<typename T>
    void kernelWarp(T* pDst, const T* pSrc, int nRow, int nCol, int nWidth) const;
};

} // namespace kestrova
