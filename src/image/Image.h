// Views of rows over counted storage. Copying a view or cutting a region out of one never copies pixels.
//
// Nothing here checks sizes, regions or row indices: callers pass values that fit. Only the reference count may be
// used from several threads.
#pragma once

#include "image/PixelBuffer.h"
#include "image/Row.h"
#include "image/pixels.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace kestrova {

template<typename T>
class Image
{
public:
    /** One empty image per pixel type; members that await a real image are copies of it and share its buffer. */
    static Image defaultImage;

    /** An empty image. The pointer is not read; it keeps a null literal from meaning anything else. */
    explicit Image(T* = nullptr);
    Image(int nRows, int nCols);
    explicit Image(const ImageDim& rDim);
    Image(int nRows, int nCols, FastScratchMemory&);
    Image(const ImageDim& rDim, FastScratchMemory&);
    /** Wraps memory of the caller, stride = cols. */
    Image(int nRows, int nCols, T* pPixels);
    Image(const ImageDim& rDim, T* pPixels);
    /** Wraps memory of the caller, stride in pixels. */
    Image(int nRows, int nCols, int nStride, T* pPixels);
    Image(int nRows, int nCols, int nStride, T* pPixels, OneFrameMemory);
    Image(const Image& rOther);
    /** A view of a part of parent; with bKeepFrame it remembers where in the parent's frame it lies. */
    Image(const Image& rParent, const ImageROI& rROI, bool bKeepFrame);
    /** As above, and fills everything of parent outside the region with value. */
    Image(Image& rParent, const ImageROI& rROI, bool bKeepFrame, const T& rValue);
    ~Image() { unlink(); }

    Image& operator=(const Image& rOther);

    /** Makes self a whole-buffer view with its own frame; self.m_pBuffer is set already. */
    static void makeImage(Image& rSelf, const ImageDim& rDim);
    /** The one routine behind all views; self.m_pBuffer is the parent's already. */
    static void makeImage(Image& rSelf, const Image& rParent, const ImageROI& rROI, bool bKeepFrame);
    static void makeImage(Image& rSelf, Image& rParent, const ImageROI& rROI, bool bKeepFrame, const T& rValue);

    /** An image of any height over one row of storage: all its rows are the same memory. */
    [[nodiscard]] static Image constImage(int nRows, int nCols, T value);
    [[nodiscard]] static Image constImage(const ImageDim& rDim, T value);

    /** Writes value to n consecutive pixels. */
    static void init(T* pPixels, T value, int n);

    [[nodiscard]] int nRows() const { return m_nRows; }
    [[nodiscard]] int nCols() const { return m_nCols; }
    [[nodiscard]] ImageDim size() const { return {m_nRows, m_nCols}; }
    [[nodiscard]] ImageDim offset() const { return {m_nRowOffset, m_nColOffset}; }
    [[nodiscard]] ImageDim maxSize() const { return {m_nMaxRows, m_nMaxCols}; }
    /** Distance between rows in pixels; 0 in a constant image. */
    [[nodiscard]] int rowDistance() const { return m_nRowInc; }
    [[nodiscard]] T* data() { return m_pPixels; }
    [[nodiscard]] const T* data() const { return m_pPixels; }
    [[nodiscard]] const PixelBuffer<T>& buffer() const { return *m_pBuffer; }

    Row<T> operator[](int nRow) { return Row<T>(rowPointer(nRow), m_nCols); }
    Row<const T> operator[](int nRow) const { return Row<const T>(rowPointer(nRow), m_nCols); }

    [[nodiscard]] Image region(int nRow, int nCol, int nRows, int nCols) const;
    [[nodiscard]] Image region(int nRow, int nCol, const ImageDim& rDim) const;
    /** The view that stays when so many rows and columns are removed from the four sides. */
    [[nodiscard]] Image crop(int nTop, int nLeft, int nBottom, int nRight) const;
    /** As above, but the rectangle only. */
    [[nodiscard]] ImageROI crop(const ImageDim& rTopLeft, const ImageDim& rBottomRight) const;
    /** Positions at which a window of that size, centred on the pixel, lies wholly in the view. */
    [[nodiscard]] ImageROI mask(const ImageDim& rMaskSize) const;
    /** Makes the view its own frame. */
    void shrinkROI();
    /** True when both views share storage, whether or not their rectangles meet. */
    [[nodiscard]] bool overlap(const Image& rOther) const { return m_pBuffer == rOther.m_pBuffer; }

    /** Fills the view; a constant image is written once. */
    void init(T value);
    /** Copies pixels. This view's size rules: a smaller source is read past its end. */
    void init(const Image& rSource);
    /** Fills a frame of the given widths around the inside of the view. */
    void border(T value, int nTop, int nLeft, int nBottom, int nRight);

protected:
    // Offsets are widened before the product: a view may lie anywhere in a large buffer.
    [[nodiscard]] T* rowPointer(int nRow) const { return m_pPixels + static_cast<std::ptrdiff_t>(nRow) * m_nRowInc; }
    void adopt(std::unique_ptr<PixelBuffer<T>> pBuffer, const ImageDim& rDim);
    void copyView(const Image& rOther);
    void unlink();

    T* m_pPixels = nullptr;
    std::int32_t m_nRowInc = 0; // pixels, not bytes
    std::int32_t m_nRows = 0;
    std::int32_t m_nCols = 0;
    std::int32_t m_nRowOffset = 0; // of this view in its frame
    std::int32_t m_nColOffset = 0;
    std::int32_t m_nMaxRows = 0; // of the frame
    std::int32_t m_nMaxCols = 0;
    PixelBuffer<T>* m_pBuffer = nullptr; // shared, counted; never null once constructed
};

extern template class Image<unsigned char>;
extern template class Image<unsigned short>;
extern template class Image<unsigned int>;
extern template class Image<int>;
extern template class Image<double>;
extern template class Image<Pixel8x4>;
extern template class Image<Pixel8x8>;
extern template class Image<Pixel16x4>;
extern template class Image<Pixel16x8>;

/** Row distance in bytes, as the public image records carry it; 0 when there are no rows or no columns. */
[[nodiscard]] int rowInc(const Image<unsigned char>& rImage);
[[nodiscard]] int rowInc(const Image<unsigned short>& rImage);
[[nodiscard]] int rowInc(const Image<Pixel8x4>& rImage);

} // namespace kestrova
