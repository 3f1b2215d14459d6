// The reader of transform files.
#include "fuzz.h"
#include "geometry/LYRTransform3d.h"

using namespace kestrova;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes)
{
    const FilePtr pStream = fuzz::streamOver(pBytes, uBytes);
    LYRTransform3d motion;
    if (pStream != nullptr && motion.read(pStream.get())) {
        double dX = 1;
        double dY = 2;
        double dZ = 3;
        motion.apply(dX, dY, dZ);
        motion.invert();
    }
    return 0;
}
