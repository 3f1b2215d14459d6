// A view with a row cursor, for loops that walk several images together.
#pragma once

#include "image/Image.h"

namespace kestrova {

/** The cursor is not bounded: past the ends it is only a pointer that must not be read. */
template<typename T>
class ImageRow : public Image<T>
{
public:
    explicit ImageRow(const Image<T>& rImage) : Image<T>(rImage), m_pCurrentRow(this->m_pPixels) {}

    ImageRow(const ImageRow& rOther) = default;
    ImageRow& operator=(const ImageRow& rOther) = default;

    /** Start of row i counted from the cursor. */
    T* pixels(int i) { return at(i); }
    const T* pixels(int i) const { return at(i); }
    T* operator()(int i) { return at(i); }
    const T* operator()(int i) const { return at(i); }
    Row<T> row(int i) { return Row<T>(at(i), this->m_nCols); }
    Row<const T> row(int i) const { return Row<const T>(at(i), this->m_nCols); }

    void gotoFirst() const { Goto(0); }
    void gotoLast() const { Goto(this->m_nRows - 1); }
    void Goto(int nRow) const
    {
        m_nCurrentRow = nRow;
        m_pCurrentRow = this->rowPointer(nRow);
    }
    void gotoNext(int n) const { *this += n; }
    void gotoPrev(int n) const { *this -= n; }
    // Stepping is const: a row loop walks images that it may only read.
    const ImageRow& operator+=(int n) const
    {
        m_nCurrentRow += n;
        m_pCurrentRow = at(n);
        return *this;
    }
    const ImageRow& operator-=(int n) const { return *this += -n; }

    [[nodiscard]] int currentRow() const { return m_nCurrentRow; }

private:
    [[nodiscard]] T* at(int i) const { return m_pCurrentRow + static_cast<std::ptrdiff_t>(i) * this->m_nRowInc; }

    mutable T* m_pCurrentRow;
    mutable std::int32_t m_nCurrentRow = 0;
};

} // namespace kestrova
