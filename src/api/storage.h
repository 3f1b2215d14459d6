// Storage of an image slot: the caller's memory or the library's own.
#pragma once

#include "image/Image.h"

namespace kestrova {

/** The caller's memory, rows without gaps, or new memory, not cleared, for a null pointer. */
template<class T>
[[nodiscard]] Image<T> storage(T* pBuffer, int nRows, int nCols)
{
    return pBuffer != nullptr ? Image<T>(nRows, nCols, pBuffer) : Image<T>(nRows, nCols);
}

} // namespace kestrova
