#include "imageio/imageComment.h"

#include "context/StereoContext.h"
#include "context/words.h"

#include <cstdio>

namespace kestrova {

namespace {

const char* boolToString(bool b)
{
    return b ? "On" : "Off";
}

std::string oneDecimal(double d)
{
    char acText[352]; // the largest double has 309 digits
    std::snprintf(acText, sizeof acText, "%.1f", d);
    return acText;
}

const char* qualityWord(const PreprocessSnapshot& r)
{
    KestrovaRectImgQuality eQuality = KestrovaRectStandard;
    StereoContext::kernelParmsToImageQuality(r.m_eSavedKernelType, r.m_nSavedKernelSize, &eQuality);
    return kesRectQltyStr[eQuality];
}

/** Whether the item says anything under the saved settings. */
bool applies(const PreprocessSnapshot& rPrepared, const StereoSnapshot& r, KestrovaCommentType eItem)
{
    switch (eItem) {
    case CommentEdgeMask:
        return rPrepared.m_bSavedEdgeCorrelation;
    case CommentMinDisparityMapping:
    case CommentMaxDisparityMapping:
        return r.m_bSavedDisparityMappingOn;
    case CommentTextureValidationThreshold:
    case CommentTextureValidationMapping:
        return r.m_bSavedTextureValidation;
    case CommentUniquenessValidationThreshold:
    case CommentUniquenessValidationMapping:
        return r.m_bSavedUniquenessValidation;
    case CommentBackForthValidationMapping:
        return r.m_bSavedBackForthValidation;
    case CommentSurfaceValidationDiff:
    case CommentSurfaceValidationSize:
    case CommentSurfaceValidationMapping:
        return r.m_bSavedSurfaceValidation;
    default:
        return true;
    }
}

std::string valueOf(const PreprocessSnapshot& rPrepared, const StereoSnapshot& r, KestrovaCommentType eItem)
{
    switch (eItem) {
    case CommentRectificationQuality:
        return qualityWord(rPrepared);
    case CommentEdgeCorrelation:
        return boolToString(rPrepared.m_bSavedEdgeCorrelation);
    case CommentEdgeMask:
        return std::to_string(rPrepared.m_nSavedEdgeMaskSize);
    case CommentSmoothing:
        return boolToString(rPrepared.m_bSavedLowpass);
    case CommentStereoQuality:
        return kesStereoQltyStr[r.m_bSavedEnhancedStereo ? 1 : 0];
    case CommentCameraConfiguration:
        return kesCamConfigStr[r.m_eSavedCameraConfiguration];
    case CommentStereoMask:
        return std::to_string(r.m_nSavedStereoMaskSize);
    case CommentMinDisparity:
        return std::to_string(r.m_nSavedMinDisparity);
    case CommentMaxDisparity:
        return std::to_string(r.m_nSavedMaxDisparity);
    case CommentDisparityOffset:
        return std::to_string(r.m_nSavedDisparityOffset);
    case CommentDisparityMapping:
        return boolToString(r.m_bSavedDisparityMappingOn);
    case CommentMinDisparityMapping:
        return std::to_string(r.m_nSavedDisparityMappingMin);
    case CommentMaxDisparityMapping:
        return std::to_string(r.m_nSavedDisparityMappingMax);
    case CommentTextureValidation:
        return boolToString(r.m_bSavedTextureValidation);
    case CommentTextureValidationThreshold:
        return oneDecimal(r.m_dSavedTextureValidationThreshold);
    case CommentTextureValidationMapping:
        return std::to_string(r.m_ucSavedTextureValidationMapping);
    case CommentUniquenessValidation:
        return boolToString(r.m_bSavedUniquenessValidation);
    case CommentUniquenessValidationThreshold:
        return oneDecimal(r.m_dSavedUniquenessValidationThreshold);
    case CommentUniquenessValidationMapping:
        return std::to_string(r.m_ucSavedUniquenessValidationMapping);
    case CommentBackForthValidation:
        return boolToString(r.m_bSavedBackForthValidation);
    case CommentBackForthValidationMapping:
        return std::to_string(r.m_ucSavedBackForthValidationMapping);
    case CommentSurfaceValidation:
        return boolToString(r.m_bSavedSurfaceValidation);
    case CommentSurfaceValidationDiff:
        return oneDecimal(r.m_dSavedSurfaceValidationDifference);
    case CommentSurfaceValidationSize:
        return std::to_string(r.m_nSavedSurfaceValidationSize);
    case CommentSurfaceValidationMapping:
        return std::to_string(r.m_ucSavedSurfaceValidationMapping);
    }
    return "";
}

void addItems(const StereoContext& rContext, int nFirst, int nLast, std::string& rComment)
{
    for (int nItem = nFirst; nItem <= nLast; ++nItem) {
        addToImageComment(rContext, static_cast<KestrovaCommentType>(nItem), rComment);
    }
}

void addTypeLine(const char* pszType, const char* pszCamera, const char* pszImage, std::string& rComment)
{
    rComment.append("# ").append(pszType).append(" ").append(pszCamera).append(" ").append(pszImage).append("\n");
}

} // namespace

void addToImageComment(const StereoContext& rContext, KestrovaCommentType eItem, std::string& rComment)
{
    const PreprocessSnapshot& rPrepared = rContext.m_preprocessSnapshot;
    const StereoSnapshot& rCorrelated = rContext.m_stereoSnapshot;
    if (eItem >= 0 && eItem < sk_nCommentItems && applies(rPrepared, rCorrelated, eItem)) {
        rComment.append("# ").append(commentKey(eItem)).append("=");
        rComment.append(valueOf(rPrepared, rCorrelated, eItem)).append("\n");
    }
}

bool startPgmComment(StereoProduct eProduct, int nSerial, KestrovaCamera eCamera, const char*& rszCameraName,
                     std::string& rComment)
{
    rComment.assign("# ").append(sk_szCommentMarker).append("\n# ");
    rComment.append(kesProductStr[eProduct]).append(" ").append(std::to_string(nSerial)).append("\n");
    if (eCamera < KestrovaCamReference || eCamera >= KestrovaCamColor) {
        return false;
    }
    rszCameraName = kesCameraStr[eCamera == KestrovaCamReference ? KestrovaCamRight : eCamera];
    return true;
}

KestrovaError generatePgmComment(const StereoContext& rContext, KestrovaImageType eType, KestrovaCamera eCamera,
                                 std::string& rComment)
{
    const char* pszCamera = nullptr;
    if (eType < KestrovaImgDisparity || eType > KestrovaImgPacked ||
        !startPgmComment(rContext.m_eProduct, rContext.m_nSerialNumber, eCamera, pszCamera, rComment)) {
        return KestrovaErrorInvalidParameter;
    }
    addTypeLine(kesImageTypeStr[eType], pszCamera, "image", rComment);
    if (eType == KestrovaImgDisparity) {
        addItems(rContext, 0, sk_nCommentItems - 1, rComment);
    } else if (eType == KestrovaImgRectified || eType == KestrovaImgEdge) {
        addItems(rContext, CommentRectificationQuality, CommentRectificationQuality, rComment);
    }
    if (eType == KestrovaImgEdge) {
        addItems(rContext, CommentEdgeMask, CommentSmoothing, rComment); // that there are edges goes without saying
    }
    return KestrovaErrorOk;
}

KestrovaError generatePgm16Comment(const StereoContext& rContext, KestrovaImage16Type eType, KestrovaCamera eCamera,
                                   std::string& rComment)
{
    const char* pszCamera = nullptr;
    if (eType != KestrovaImg16Disparity ||
        !startPgmComment(rContext.m_eProduct, rContext.m_nSerialNumber, eCamera, pszCamera, rComment)) {
        return KestrovaErrorInvalidParameter;
    }
    addTypeLine(kesImage16TypeStr[eType], pszCamera, "Image", rComment);
    addItems(rContext, 0, CommentDisparityOffset, rComment);
    addItems(rContext, CommentTextureValidation, sk_nCommentItems - 1, rComment);
    return KestrovaErrorOk;
}

} // namespace kestrova
