// The calibration reader, from a stream.
#include "calibration.h"
#include "calibration/load.h"

using namespace kestrova;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes)
{
    const FilePtr pStream = fuzz::streamOver(pBytes, uBytes);
    for (int nSection = 0; pStream != nullptr && nSection < 3; ++nSection) {
        StereoContext context;
        if (!loadContextFromStream(pStream.get(), &context, nSection)) {
            break;
        }
        fuzz::useLoaded(context);
    }
    return 0;
}
