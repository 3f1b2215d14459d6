// Settings of one field each: switches, what rejected pixels show, and numbers with a range. No function here touches
// an image or the threads; the next frame or run reads the fields.
#include "api/settingShims.h"
#include "kestrova.h"

using namespace kestrova;

namespace {

/** True numeric comparisons, so that a not-a-number is refused. */
template<class T>
bool within(T value, T low, T high)
{
    return value >= low && value <= high;
}

bool isOdd(int n)
{
    return n % 2 != 0;
}

} // namespace

// ---- switches ----

KestrovaError kestrovaSetEdgeCorrelation(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bEdgeCorrelation, on != 0);
}

KestrovaError kestrovaGetEdgeCorrelation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bEdgeCorrelation, on);
}

KestrovaError kestrovaSetDoStereo(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bDoStereo, on != 0);
}

KestrovaError kestrovaGetDoStereo(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bDoStereo, on);
}

KestrovaError kestrovaSetSubpixelInterpolation(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bSubpixelInterpolation, on != 0);
}

KestrovaError kestrovaGetSubpixelInterpolation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bSubpixelInterpolation, on);
}

KestrovaError kestrovaSetDisparityMappingOn(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bDisparityMappingOn, on != 0);
}

KestrovaError kestrovaGetDisparityMappingOn(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bDisparityMappingOn, on);
}

KestrovaError kestrovaSetLowpass(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bLowpass, on != 0);
}

KestrovaError kestrovaGetLowpass(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bLowpass, on);
}

KestrovaError kestrovaSetRectify(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bRectify, on != 0);
}

KestrovaError kestrovaGetRectify(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bRectify, on);
}

KestrovaError kestrovaSetTextureValidation(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bTextureValidation, on != 0);
}

KestrovaError kestrovaGetTextureValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bTextureValidation, on);
}

KestrovaError kestrovaSetUniquenessValidation(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bUniquenessValidation, on != 0);
}

KestrovaError kestrovaGetUniquenessValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bUniquenessValidation, on);
}

KestrovaError kestrovaSetBackForthValidation(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bBackForthValidation, on != 0);
}

KestrovaError kestrovaGetBackForthValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bBackForthValidation, on);
}

KestrovaError kestrovaSetSurfaceValidation(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bSurfaceValidation, on != 0);
}

KestrovaError kestrovaGetSurfaceValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bSurfaceValidation, on);
}

KestrovaError kestrovaSetStrictSubpixelValidation(KestrovaContext context, int on)
{
    return storeSetting(context, &StereoContext::m_bStrictSubpixelValidation, on != 0);
}

KestrovaError kestrovaGetStrictSubpixelValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bStrictSubpixelValidation, on);
}

// ---- what rejected pixels show: the low byte of what is given ----

KestrovaError kestrovaSetTextureValidationMapping(KestrovaContext context, int value)
{
    return storeSetting(context, &StereoContext::m_ucTextureValidationMapping, static_cast<std::uint8_t>(value));
}

KestrovaError kestrovaGetTextureValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucTextureValidationMapping, value);
}

KestrovaError kestrovaSetUniquenessValidationMapping(KestrovaContext context, int value)
{
    return storeSetting(context, &StereoContext::m_ucUniquenessValidationMapping, static_cast<std::uint8_t>(value));
}

KestrovaError kestrovaGetUniquenessValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucUniquenessValidationMapping, value);
}

KestrovaError kestrovaSetBackForthValidationMapping(KestrovaContext context, int value)
{
    return storeSetting(context, &StereoContext::m_ucBackForthValidationMapping, static_cast<std::uint8_t>(value));
}

KestrovaError kestrovaGetBackForthValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucBackForthValidationMapping, value);
}

KestrovaError kestrovaSetSurfaceValidationMapping(KestrovaContext context, int value)
{
    return storeSetting(context, &StereoContext::m_ucSurfaceValidationMapping, static_cast<std::uint8_t>(value));
}

KestrovaError kestrovaGetSurfaceValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucSurfaceValidationMapping, value);
}

KestrovaError kestrovaSetSubpixelValidationMapping(KestrovaContext context, int value)
{
    return storeSetting(context, &StereoContext::m_ucSubpixelValidationMapping, static_cast<std::uint8_t>(value));
}

KestrovaError kestrovaGetSubpixelValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucSubpixelValidationMapping, value);
}

// ---- numbers ----

KestrovaError kestrovaSetTextureValidationThreshold(KestrovaContext context, float value)
{
    return storeSetting(context, &StereoContext::m_dTextureValidationThreshold, value, within(value, 0.0F, 128.0F));
}

KestrovaError kestrovaGetTextureValidationThreshold(KestrovaContext context, float* value)
{
    return readSetting(context, &StereoContext::m_dTextureValidationThreshold, value);
}

KestrovaError kestrovaSetUniquenessValidationThreshold(KestrovaContext context, float value)
{
    return storeSetting(context, &StereoContext::m_dUniquenessValidationThreshold, value, within(value, 0.0F, 10.0F));
}

KestrovaError kestrovaGetUniquenessValidationThreshold(KestrovaContext context, float* value)
{
    return readSetting(context, &StereoContext::m_dUniquenessValidationThreshold, value);
}

KestrovaError kestrovaSetSurfaceValidationDifference(KestrovaContext context, float value)
{
    return storeSetting(context, &StereoContext::m_dSurfaceValidationDifference, value, value >= 0.0F);
}

KestrovaError kestrovaGetSurfaceValidationDifference(KestrovaContext context, float* value)
{
    return readSetting(context, &StereoContext::m_dSurfaceValidationDifference, value);
}

KestrovaError kestrovaSetSurfaceValidationSize(KestrovaContext context, int size)
{
    return storeSetting(context, &StereoContext::m_nSurfaceValidationSize, size, size >= 0);
}

KestrovaError kestrovaGetSurfaceValidationSize(KestrovaContext context, int* size)
{
    return readSetting(context, &StereoContext::m_nSurfaceValidationSize, size);
}

KestrovaError kestrovaSetEdgeMask(KestrovaContext context, int size)
{
    return storeSetting(context, &StereoContext::m_nEdgeMaskSize, size, isOdd(size) && within(size, 3, 11));
}

KestrovaError kestrovaGetEdgeMask(KestrovaContext context, int* size)
{
    return readSetting(context, &StereoContext::m_nEdgeMaskSize, size);
}

KestrovaError kestrovaSetStereoMask(KestrovaContext context, int size)
{
    return storeSetting(context, &StereoContext::m_nStereoMaskSize, size, isOdd(size) && within(size, 1, 23));
}

KestrovaError kestrovaGetStereoMask(KestrovaContext context, int* size)
{
    return readSetting(context, &StereoContext::m_nStereoMaskSize, size);
}

KestrovaError kestrovaSetAnyStereoMask(KestrovaContext context, int size)
{
    return storeSetting(context, &StereoContext::m_nStereoMaskSize, size, size >= 1);
}
