#include "imageio/commentItems.h"

#include <cstring>

namespace kestrova {

namespace {

constexpr const char* sk_apszKeys[sk_nCommentItems] = {
    "RectificationQuality",
    "EdgeCorrelation",
    "EdgeMask",
    "Smoothing",
    "StereoQuality",
    "CameraConfiguration",
    "StereoMask",
    "MinDisparity",
    "MaxDisparity",
    "DisparityOffset",
    "DisparityMapping",
    "MinDisparityMapping",
    "MaxDisparityMapping",
    "TextureValidation",
    "TextureValidationThreshold",
    "TextureValidationMapping",
    "UniquenessValidation",
    "UniquenessValidationThreshold",
    "UniquenessValidationMapping",
    "BackForthValidation",
    "BackForthValidationMapping",
    "SurfaceValidation",
    "SurfaceValidationDiff",
    "SurfaceValidationSize",
    "SurfaceValidationMapping",
};

} // namespace

const char* commentKey(KestrovaCommentType eItem)
{
    return sk_apszKeys[eItem];
}

int getCommentIndex(const char* pszKey, int nFirst, int nLast)
{
    for (int nItem = nFirst; nItem <= nLast; ++nItem) {
        if (std::strcmp(pszKey, sk_apszKeys[nItem]) == 0) {
            return nItem;
        }
    }
    return -1;
}

} // namespace kestrova
