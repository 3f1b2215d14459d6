// Settings of one field each: switches, what rejected pixels show, and numbers, whose range is in their row of the
// table. No function here touches an image or the threads; the next frame or run reads the fields.
#include "api/settingShims.h"
#include "kestrova.h"

using namespace kestrova;

// ---- switches ----

KestrovaError kestrovaSetEdgeCorrelation(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bEdgeCorrelation>(context, on);
}

KestrovaError kestrovaGetEdgeCorrelation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bEdgeCorrelation, on);
}

KestrovaError kestrovaSetDoStereo(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bDoStereo>(context, on);
}

KestrovaError kestrovaGetDoStereo(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bDoStereo, on);
}

KestrovaError kestrovaSetSubpixelInterpolation(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bSubpixelInterpolation>(context, on);
}

KestrovaError kestrovaGetSubpixelInterpolation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bSubpixelInterpolation, on);
}

KestrovaError kestrovaSetDisparityMappingOn(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bDisparityMappingOn>(context, on);
}

KestrovaError kestrovaGetDisparityMappingOn(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bDisparityMappingOn, on);
}

KestrovaError kestrovaSetLowpass(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bLowpass>(context, on);
}

KestrovaError kestrovaGetLowpass(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bLowpass, on);
}

KestrovaError kestrovaSetRectify(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bRectify>(context, on);
}

KestrovaError kestrovaGetRectify(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bRectify, on);
}

KestrovaError kestrovaSetTextureValidation(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bTextureValidation>(context, on);
}

KestrovaError kestrovaGetTextureValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bTextureValidation, on);
}

KestrovaError kestrovaSetUniquenessValidation(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bUniquenessValidation>(context, on);
}

KestrovaError kestrovaGetUniquenessValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bUniquenessValidation, on);
}

KestrovaError kestrovaSetBackForthValidation(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bBackForthValidation>(context, on);
}

KestrovaError kestrovaGetBackForthValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bBackForthValidation, on);
}

KestrovaError kestrovaSetSurfaceValidation(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bSurfaceValidation>(context, on);
}

KestrovaError kestrovaGetSurfaceValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bSurfaceValidation, on);
}

KestrovaError kestrovaSetStrictSubpixelValidation(KestrovaContext context, int on)
{
    return storeSetting<&StereoContext::m_bStrictSubpixelValidation>(context, on);
}

KestrovaError kestrovaGetStrictSubpixelValidation(KestrovaContext context, int* on)
{
    return readSetting(context, &StereoContext::m_bStrictSubpixelValidation, on);
}

// ---- what rejected pixels show: the low byte of what is given ----

KestrovaError kestrovaSetTextureValidationMapping(KestrovaContext context, int value)
{
    return storeSetting<&StereoContext::m_ucTextureValidationMapping>(context, value);
}

KestrovaError kestrovaGetTextureValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucTextureValidationMapping, value);
}

KestrovaError kestrovaSetUniquenessValidationMapping(KestrovaContext context, int value)
{
    return storeSetting<&StereoContext::m_ucUniquenessValidationMapping>(context, value);
}

KestrovaError kestrovaGetUniquenessValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucUniquenessValidationMapping, value);
}

KestrovaError kestrovaSetBackForthValidationMapping(KestrovaContext context, int value)
{
    return storeSetting<&StereoContext::m_ucBackForthValidationMapping>(context, value);
}

KestrovaError kestrovaGetBackForthValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucBackForthValidationMapping, value);
}

KestrovaError kestrovaSetSurfaceValidationMapping(KestrovaContext context, int value)
{
    return storeSetting<&StereoContext::m_ucSurfaceValidationMapping>(context, value);
}

KestrovaError kestrovaGetSurfaceValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucSurfaceValidationMapping, value);
}

KestrovaError kestrovaSetSubpixelValidationMapping(KestrovaContext context, int value)
{
    return storeSetting<&StereoContext::m_ucSubpixelValidationMapping>(context, value);
}

KestrovaError kestrovaGetSubpixelValidationMapping(KestrovaContext context, uint8_t* value)
{
    return readSetting(context, &StereoContext::m_ucSubpixelValidationMapping, value);
}

// ---- numbers ----

KestrovaError kestrovaSetTextureValidationThreshold(KestrovaContext context, float value)
{
    return storeSetting<&StereoContext::m_dTextureValidationThreshold>(context, value);
}

KestrovaError kestrovaGetTextureValidationThreshold(KestrovaContext context, float* value)
{
    return readSetting(context, &StereoContext::m_dTextureValidationThreshold, value);
}

KestrovaError kestrovaSetUniquenessValidationThreshold(KestrovaContext context, float value)
{
    return storeSetting<&StereoContext::m_dUniquenessValidationThreshold>(context, value);
}

KestrovaError kestrovaGetUniquenessValidationThreshold(KestrovaContext context, float* value)
{
    return readSetting(context, &StereoContext::m_dUniquenessValidationThreshold, value);
}

KestrovaError kestrovaSetSurfaceValidationDifference(KestrovaContext context, float value)
{
    return storeSetting<&StereoContext::m_dSurfaceValidationDifference>(context, value);
}

KestrovaError kestrovaGetSurfaceValidationDifference(KestrovaContext context, float* value)
{
    return readSetting(context, &StereoContext::m_dSurfaceValidationDifference, value);
}

KestrovaError kestrovaSetSurfaceValidationSize(KestrovaContext context, int size)
{
    return storeSetting<&StereoContext::m_nSurfaceValidationSize>(context, size);
}

KestrovaError kestrovaGetSurfaceValidationSize(KestrovaContext context, int* size)
{
    return readSetting(context, &StereoContext::m_nSurfaceValidationSize, size);
}

KestrovaError kestrovaSetEdgeMask(KestrovaContext context, int size)
{
    return storeSetting<&StereoContext::m_nEdgeMaskSize>(context, size);
}

KestrovaError kestrovaGetEdgeMask(KestrovaContext context, int* size)
{
    return readSetting(context, &StereoContext::m_nEdgeMaskSize, size);
}

KestrovaError kestrovaSetStereoMask(KestrovaContext context, int size)
{
    return storeSetting<&StereoContext::m_nStereoMaskSize>(context, size);
}

KestrovaError kestrovaGetStereoMask(KestrovaContext context, int* size)
{
    return readSetting(context, &StereoContext::m_nStereoMaskSize, size);
}

KestrovaError kestrovaSetAnyStereoMask(KestrovaContext context, int size)
{
    constexpr auto pField = &StereoContext::m_nStereoMaskSize;
    return storeField(context, pField, size, size >= settingOf(pField).m_range.m_dLow);
}
