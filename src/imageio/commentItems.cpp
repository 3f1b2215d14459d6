#include "imageio/commentItems.h"

#include "context/settings.h"
#include "context/words.h"
#include "imageio/commentValues.h"

#include <array>
#include <string_view>

namespace kestrova {

namespace {

using Prepared = PreprocessSnapshot;
using Stereo = StereoSnapshot;
using Info = DisparityImageInfo;
using Now = StereoContext;

template<class T>
const T& saved(const SavedSettings& r, T Prepared::*pSetting)
{
    return r.m_rPrepared.*pSetting;
}

template<class T>
const T& saved(const SavedSettings& r, T Stereo::*pSetting)
{
    return r.m_rCorrelated.*pSetting;
}

/** An item that is written as the type of its field tells. */
template<auto pSaved, auto pField>
constexpr CommentItem always(const char* pszKey)
{
    return {pszKey, nullptr, [](const SavedSettings& r) { return commentText(saved(r, pSaved)); },
            [](const char* psz, Info& rInfo) {
                readComment(psz, rInfo.*pField);
                return true;
            }};
}

/** The same, written only when the switch is on. */
template<auto pSwitch, auto pSaved, auto pField>
constexpr CommentItem with(const char* pszKey)
{
    CommentItem item = always<pSaved, pField>(pszKey);
    item.m_pfnApplies = [](const SavedSettings& r) { return saved(r, pSwitch); };
    return item;
}

/** What the table of settings calls it. */
consteval const char* key(auto setting)
{
    return settingOf(setting).m_pszComment;
}

std::string qualityWord(const SavedSettings& r)
{
    KestrovaRectImgQuality eQuality = KestrovaRectStandard;
    StereoContext::kernelParmsToImageQuality(r.m_rPrepared.m_eSavedKernelType, r.m_rPrepared.m_nSavedKernelSize,
                                             &eQuality);
    return kesRectQltyStr[eQuality];
}

constexpr std::array<CommentItem, sk_nCommentItems> sk_aItems = {{
    {key(SettingWord::RectificationQuality), nullptr, qualityWord,
     [](const char* psz, Info& r) { return parseWord(psz, kesRectQltyStr, r.rectQuality); }},
    always<&Prepared::m_bSavedEdgeCorrelation, &Info::edgeCorrelation>(key(&Now::m_bEdgeCorrelation)),
    with<&Prepared::m_bSavedEdgeCorrelation, &Prepared::m_nSavedEdgeMaskSize, &Info::edgeMask>(
        key(&Now::m_nEdgeMaskSize)),
    always<&Prepared::m_bSavedLowpass, &Info::smoothing>(key(&Now::m_bLowpass)),
    {key(SettingWord::StereoQuality), nullptr,
     [](const SavedSettings& r) -> std::string { return kesStereoQltyStr[r.m_rCorrelated.m_bSavedEnhancedStereo]; },
     [](const char* psz, Info& r) { return parseWord(psz, kesStereoQltyStr, r.stereoQuality); }},
    {"CameraConfiguration", nullptr,
     [](const SavedSettings& r) -> std::string { return kesCamConfigStr[r.m_rCorrelated.m_eSavedCameraConfiguration]; },
     [](const char* psz, Info& r) { return parseWord(psz, kesCamConfigStr, r.cameraConfiguration); }},
    always<&Stereo::m_nSavedStereoMaskSize, &Info::stereoMask>(key(&Now::m_nStereoMaskSize)),
    always<&Stereo::m_nSavedMinDisparity, &Info::minDisparity>("MinDisparity"),
    always<&Stereo::m_nSavedMaxDisparity, &Info::maxDisparity>("MaxDisparity"),
    always<&Stereo::m_nSavedDisparityOffset, &Info::disparityOffset>("DisparityOffset"),
    always<&Stereo::m_bSavedDisparityMappingOn, &Info::disparityMapping>(key(&Now::m_bDisparityMappingOn)),
    with<&Stereo::m_bSavedDisparityMappingOn, &Stereo::m_nSavedDisparityMappingMin, &Info::minDisparityMapping>(
        "MinDisparityMapping"),
    with<&Stereo::m_bSavedDisparityMappingOn, &Stereo::m_nSavedDisparityMappingMax, &Info::maxDisparityMapping>(
        "MaxDisparityMapping"),
    always<&Stereo::m_bSavedTextureValidation, &Info::textureValidation>(key(&Now::m_bTextureValidation)),
    with<&Stereo::m_bSavedTextureValidation, &Stereo::m_dSavedTextureValidationThreshold,
         &Info::textureValidationThreshold>(key(&Now::m_dTextureValidationThreshold)),
    with<&Stereo::m_bSavedTextureValidation, &Stereo::m_ucSavedTextureValidationMapping,
         &Info::textureValidationMapping>(key(&Now::m_ucTextureValidationMapping)),
    always<&Stereo::m_bSavedUniquenessValidation, &Info::uniquenessValidation>(key(&Now::m_bUniquenessValidation)),
    with<&Stereo::m_bSavedUniquenessValidation, &Stereo::m_dSavedUniquenessValidationThreshold,
         &Info::uniquenessValidationThreshold>(key(&Now::m_dUniquenessValidationThreshold)),
    with<&Stereo::m_bSavedUniquenessValidation, &Stereo::m_ucSavedUniquenessValidationMapping,
         &Info::uniquenessValidationMapping>(key(&Now::m_ucUniquenessValidationMapping)),
    always<&Stereo::m_bSavedBackForthValidation, &Info::backForthValidation>(key(&Now::m_bBackForthValidation)),
    with<&Stereo::m_bSavedBackForthValidation, &Stereo::m_ucSavedBackForthValidationMapping,
         &Info::backForthValidationMapping>(key(&Now::m_ucBackForthValidationMapping)),
    always<&Stereo::m_bSavedSurfaceValidation, &Info::surfaceValidation>(key(&Now::m_bSurfaceValidation)),
    with<&Stereo::m_bSavedSurfaceValidation, &Stereo::m_dSavedSurfaceValidationDifference,
         &Info::surfaceValidationDiff>(key(&Now::m_dSurfaceValidationDifference)),
    with<&Stereo::m_bSavedSurfaceValidation, &Stereo::m_nSavedSurfaceValidationSize, &Info::surfaceValidationSize>(
        key(&Now::m_nSurfaceValidationSize)),
    with<&Stereo::m_bSavedSurfaceValidation, &Stereo::m_ucSavedSurfaceValidationMapping,
         &Info::surfaceValidationMapping>(key(&Now::m_ucSurfaceValidationMapping)),
}};

constexpr bool isCalled(KestrovaCommentType eItem, std::string_view name)
{
    return sk_aItems[eItem].m_pszKey == name;
}
static_assert(isCalled(CommentRectificationQuality, "RectificationQuality") &&
              isCalled(CommentEdgeCorrelation, "EdgeCorrelation") && isCalled(CommentEdgeMask, "EdgeMask") &&
              isCalled(CommentSmoothing, "Smoothing") && isCalled(CommentDisparityOffset, "DisparityOffset") &&
              isCalled(CommentTextureValidation, "TextureValidation"));

} // namespace

const CommentItem& commentItem(int nItem)
{
    return sk_aItems[static_cast<std::size_t>(nItem)];
}

int getCommentIndex(const char* pszKey, int nFirst, int nLast)
{
    for (int nItem = nFirst; nItem <= nLast; ++nItem) {
        if (std::strcmp(pszKey, commentItem(nItem).m_pszKey) == 0) {
            return nItem;
        }
    }
    return -1;
}

} // namespace kestrova
