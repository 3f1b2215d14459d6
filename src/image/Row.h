// A span of pixels in one row. It links nothing and must not outlive the view it came from.
#pragma once

#include <cstdint>

namespace kestrova {

template<typename T>
class Row
{
public:
    Row(T* pPixels, int nCols) : m_pPixels(pPixels), m_nCols(nCols) {}

    [[nodiscard]] int nCols() const { return m_nCols; }
    T& operator[](int nCol) { return m_pPixels[nCol]; }
    const T& operator[](int nCol) const { return m_pPixels[nCol]; }

    /** What stays when so many pixels are removed from both ends. */
    [[nodiscard]] Row crop(int nLeft, int nRight) const { return Row(m_pPixels + nLeft, m_nCols - nLeft - nRight); }
    [[nodiscard]] Row region(int nStart, int nCount) const { return Row(m_pPixels + nStart, nCount); }

private:
    T* m_pPixels;
    std::int32_t m_nCols;
};

} // namespace kestrova
