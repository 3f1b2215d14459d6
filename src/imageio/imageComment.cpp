#include "imageio/imageComment.h"

#include "context/StereoContext.h"
#include "context/words.h"

namespace kestrova {

namespace {

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
    if (eItem < 0 || eItem >= sk_nCommentItems) {
        return;
    }
    const SavedSettings settings{rContext.m_preprocessSnapshot, rContext.m_stereoSnapshot};
    const CommentItem& rItem = commentItem(eItem);
    if (rItem.m_pfnApplies == nullptr || rItem.m_pfnApplies(settings)) {
        rComment.append("# ").append(rItem.m_pszKey).append("=").append(rItem.m_pfnValue(settings)).append("\n");
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
