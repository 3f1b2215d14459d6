#include "image/Image.h"

namespace kestrova {

template<typename T>
Image<T> Image<T>::defaultImage;

template<typename T>
Image<T>::Image(T*)
{
    adopt(std::make_unique<PixelBuffer<T>>(), {0, 0});
}

template<typename T>
Image<T>::Image(int nRows, int nCols)
{
    adopt(std::make_unique<PixelBuffer<T>>(nRows, nCols), {nRows, nCols});
}

template<typename T>
Image<T>::Image(const ImageDim& rDim) : Image(rDim.m_nRows, rDim.m_nCols)
{}

template<typename T>
Image<T>::Image(int nRows, int nCols, FastScratchMemory&) : Image(nRows, nCols)
{}

template<typename T>
Image<T>::Image(const ImageDim& rDim, FastScratchMemory&) : Image(rDim.m_nRows, rDim.m_nCols)
{}

template<typename T>
Image<T>::Image(int nRows, int nCols, T* pPixels) : Image(nRows, nCols, nCols, pPixels)
{}

template<typename T>
Image<T>::Image(const ImageDim& rDim, T* pPixels) : Image(rDim.m_nRows, rDim.m_nCols, pPixels)
{}

template<typename T>
Image<T>::Image(int nRows, int nCols, int nStride, T* pPixels)
{
    adopt(std::make_unique<PixelBuffer<T>>(nRows, nStride, pPixels), {nRows, nCols});
}

template<typename T>
Image<T>::Image(int nRows, int nCols, int nStride, T* pPixels, OneFrameMemory tag)
{
    adopt(std::make_unique<PixelBuffer<T>>(nRows, nStride, pPixels, tag), {nRows, nCols});
}

template<typename T>
Image<T>::Image(const Image& rOther)
{
    copyView(rOther);
}

template<typename T>
Image<T>::Image(const Image& rParent, const ImageROI& rROI, bool bKeepFrame) : m_pBuffer(rParent.m_pBuffer)
{
    makeImage(*this, rParent, rROI, bKeepFrame);
}

template<typename T>
Image<T>::Image(Image& rParent, const ImageROI& rROI, bool bKeepFrame, const T& rValue) : m_pBuffer(rParent.m_pBuffer)
{
    makeImage(*this, rParent, rROI, bKeepFrame, rValue);
}

template<typename T>
Image<T>& Image<T>::operator=(const Image& rOther)
{
    if (this != &rOther) {
        unlink();
        copyView(rOther);
    }
    return *this;
}

template<typename T>
void Image<T>::adopt(std::unique_ptr<PixelBuffer<T>> pBuffer, const ImageDim& rDim)
{
    m_pBuffer = pBuffer.release();
    makeImage(*this, rDim);
}

template<typename T>
void Image<T>::copyView(const Image& rOther)
{
    m_pBuffer = rOther.m_pBuffer;
    makeImage(*this, rOther, {0, 0, rOther.m_nRows, rOther.m_nCols}, true);
}

template<typename T>
void Image<T>::unlink()
{
    if (m_pBuffer->free()) {
        delete m_pBuffer;
    }
}

template<typename T>
void Image<T>::makeImage(Image& rSelf, const ImageDim& rDim)
{
    rSelf.m_pPixels = rSelf.m_pBuffer->link();
    rSelf.m_nRowInc = rSelf.m_pBuffer->nCols();
    rSelf.m_nRows = rDim.m_nRows;
    rSelf.m_nCols = rDim.m_nCols;
    rSelf.shrinkROI();
}

template<typename T>
void Image<T>::makeImage(Image& rSelf, const Image& rParent, const ImageROI& rROI, bool bKeepFrame)
{
    rSelf.m_nRowInc = rParent.m_nRowInc;
    rSelf.m_pPixels = rParent.rowPointer(rROI.m_nRowOffset) + rROI.m_nColOffset;
    rSelf.m_nRows = rROI.m_nRows;
    rSelf.m_nCols = rROI.m_nCols;
    rSelf.m_pBuffer->link();
    if (!bKeepFrame) {
        rSelf.shrinkROI();
        return;
    }
    rSelf.m_nRowOffset = rParent.m_nRowOffset + rROI.m_nRowOffset;
    rSelf.m_nColOffset = rParent.m_nColOffset + rROI.m_nColOffset;
    rSelf.m_nMaxRows = rParent.m_nMaxRows;
    rSelf.m_nMaxCols = rParent.m_nMaxCols;
}

template<typename T>
void Image<T>::makeImage(Image& rSelf, Image& rParent, const ImageROI& rROI, bool bKeepFrame, const T& rValue)
{
    makeImage(rSelf, rParent, rROI, bKeepFrame);
    rParent.border(rValue, rROI.m_nRowOffset, rROI.m_nColOffset, rParent.m_nRows - rROI.m_nRowOffset - rROI.m_nRows,
                   rParent.m_nCols - rROI.m_nColOffset - rROI.m_nCols);
}

template<typename T>
Image<T> Image<T>::constImage(int nRows, int nCols, T value)
{
    Image image(1, nCols);
    image.init(value);
    image.m_nRowInc = 0;
    image.m_nRows = nRows;
    image.m_nMaxRows = nRows;
    return image;
}

template<typename T>
Image<T> Image<T>::constImage(const ImageDim& rDim, T value)
{
    return constImage(rDim.m_nRows, rDim.m_nCols, value);
}

template<typename T>
void Image<T>::init(T* pPixels, T value, int n)
{
    for (int i = n; i-- > 0;) {
        pPixels[i] = value;
    }
}

template<typename T>
Image<T> Image<T>::region(int nRow, int nCol, int nRows, int nCols) const
{
    return Image(*this, ImageROI{nRow, nCol, nRows, nCols}, false);
}

template<typename T>
Image<T> Image<T>::region(int nRow, int nCol, const ImageDim& rDim) const
{
    return region(nRow, nCol, rDim.m_nRows, rDim.m_nCols);
}

template<typename T>
Image<T> Image<T>::crop(int nTop, int nLeft, int nBottom, int nRight) const
{
    return region(nTop, nLeft, m_nRows - nTop - nBottom, m_nCols - nLeft - nRight);
}

template<typename T>
ImageROI Image<T>::crop(const ImageDim& rTopLeft, const ImageDim& rBottomRight) const
{
    return {rTopLeft.m_nRows, rTopLeft.m_nCols, m_nRows - rTopLeft.m_nRows - rBottomRight.m_nRows,
            m_nCols - rTopLeft.m_nCols - rBottomRight.m_nCols};
}

template<typename T>
ImageROI Image<T>::mask(const ImageDim& rMaskSize) const
{
    // An even window uses the formula of an odd one, so it leans up and left by one pixel.
    return {rMaskSize.m_nRows / 2, rMaskSize.m_nCols / 2, m_nRows - rMaskSize.m_nRows + 1,
            m_nCols - rMaskSize.m_nCols + 1};
}

template<typename T>
void Image<T>::shrinkROI()
{
    m_nRowOffset = 0;
    m_nColOffset = 0;
    m_nMaxRows = m_nRows;
    m_nMaxCols = m_nCols;
}

template<typename T>
void Image<T>::init(T value)
{
    const int nStoredRows = m_nRowInc == 0 ? 1 : m_nRows;
    for (int nRow = 0; nRow < nStoredRows; ++nRow) {
        init(rowPointer(nRow), value, m_nCols);
    }
}

template<typename T>
void Image<T>::init(const Image& rSource)
{
    if (this == &rSource) {
        return;
    }
    for (int nRow = 0; nRow < m_nRows; ++nRow) {
        T* pTarget = rowPointer(nRow);
        const T* pSource = rSource.rowPointer(nRow);
        for (int nCol = 0; nCol < m_nCols; ++nCol) {
            pTarget[nCol] = pSource[nCol];
        }
    }
}

template<typename T>
void Image<T>::border(T value, int nTop, int nLeft, int nBottom, int nRight)
{
    if (m_nRowInc == 0) {
        // A top or bottom border of a constant image covers the only row there is.
        if (nBottom < 1 && nTop <= 0) {
            init(m_pPixels, value, nLeft);
            init(m_pPixels + m_nCols - nRight, value, nRight);
        } else {
            init(m_pPixels, value, m_nCols);
        }
        return;
    }
    const int nMiddle = m_nRows - (nTop + nBottom);
    for (int nRow = 0; nRow < nTop; ++nRow) {
        init(rowPointer(nRow), value, m_nCols);
    }
    for (int nRow = nTop; nRow < nTop + nMiddle; ++nRow) {
        init(rowPointer(nRow), value, nLeft);
        init(rowPointer(nRow) + m_nCols - nRight, value, nRight);
    }
    for (int nRow = nTop + nMiddle; nRow < nTop + nMiddle + nBottom; ++nRow) {
        init(rowPointer(nRow), value, m_nCols);
    }
}

template class Image<unsigned char>;
template class Image<unsigned short>;
template class Image<unsigned int>;
template class Image<int>;
template class Image<double>;
template class Image<Pixel8x4>;
template class Image<Pixel8x8>;
template class Image<Pixel16x4>;
template class Image<Pixel16x8>;

} // namespace kestrova
