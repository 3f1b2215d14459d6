// The calibration reader, from memory.
#include "calibration.h"
#include "calibration/load.h"

#include <string>

using namespace kestrova;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes)
{
    const std::string text(pBytes, pBytes + uBytes);
    for (int nSection = 0; nSection < 3; ++nSection) {
        StereoContext context;
        if (!loadContextFromMemory(text.c_str(), &context, nSection)) {
            break;
        }
        fuzz::useLoaded(context);
    }
    return 0;
}
