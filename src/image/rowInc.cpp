#include "image/Image.h"

namespace kestrova {

namespace {

template<typename T>
int rowIncInBytes(const Image<T>& rImage)
{
    const bool bEmpty = rImage.nRows() == 0 || rImage.nCols() == 0;
    return bEmpty ? 0 : rImage.rowDistance() * static_cast<int>(sizeof(T));
}

} // namespace

int rowInc(const Image<unsigned char>& rImage)
{
    return rowIncInBytes(rImage);
}

int rowInc(const Image<unsigned short>& rImage)
{
    return rowIncInBytes(rImage);
}

int rowInc(const Image<Pixel8x4>& rImage)
{
    return rowIncInBytes(rImage);
}

} // namespace kestrova
