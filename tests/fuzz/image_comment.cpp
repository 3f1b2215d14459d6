// The parser of image comments.
#include "fuzz.h"
#include "imageio/imageInfo.h"

#include <cstring>
#include <string>

using namespace kestrova;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes)
{
    std::string text(pBytes, pBytes + uBytes);
    KestrovaImageInfo info{};
    const KestrovaError eError = parseImageInfo(text.data(), &info);
    fuzz::require(eError == KestrovaErrorOk || (eError == KestrovaErrorImageComment && info.hasComment));
    fuzz::require(std::memchr(info.product, 0, sizeof info.product) != nullptr);
    fuzz::require(info.camera >= KestrovaCamReference && info.camera <= KestrovaCamColor);
    fuzz::require(info.imageType >= KestrovaImgDisparity && info.imageType <= KestrovaImgPacked);
    return 0;
}
