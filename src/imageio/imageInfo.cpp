#include "imageio/imageInfo.h"

#include "context/words.h"
#include "imageio/commentItems.h"
#include "imageio/commentValues.h"
#include "kestrova.h"

#include <cstring>
#include <utility>

namespace kestrova {

namespace {

/** The pointer behind leading blanks; null stays null. Other white space is left alone. */
char* stripSpaces(char* psz)
{
    return psz != nullptr ? psz + std::strspn(psz, " ") : nullptr;
}

/** Cuts the next token off; as strtok, a run of delimiters counts as one, and delimiters in front are skipped. */
class Tokens
{
public:
    explicit Tokens(char* pszText) : m_pszText(pszText) {}
    char* upTo(const char* pszDelimiters)
    {
        return strtok_r(std::exchange(m_pszText, nullptr), pszDelimiters, &m_pszRest);
    }

private:
    char* m_pszText; // until the first token is cut off
    char* m_pszRest = nullptr;
};

/** The lines "key=value" of the items in the range: store(item, value) for each. There must be one. */
template<class Store>
KestrovaError parseParameters(Tokens& rTokens, int nFirst, int nLast, Store store)
{
    char* pszKey = stripSpaces(rTokens.upTo("="));
    if (pszKey == nullptr) {
        return KestrovaErrorImageComment;
    }
    for (; pszKey != nullptr; pszKey = stripSpaces(rTokens.upTo("="))) {
        const int nItem = getCommentIndex(pszKey, nFirst, nLast);
        const char* const pszValue = nItem >= 0 ? stripSpaces(rTokens.upTo("\n")) : nullptr;
        if (pszValue == nullptr || !store(nItem, pszValue)) {
            return KestrovaErrorImageComment;
        }
    }
    return KestrovaErrorOk;
}

KestrovaError parseRectifiedParameters(Tokens& rTokens, RectifiedImageInfo& r)
{
    return parseParameters(rTokens, CommentRectificationQuality, CommentRectificationQuality,
                           [&](int, const char* psz) { return parseWord(psz, kesRectQltyStr, r.rectQuality); });
}

KestrovaError parseEdgeParameters(Tokens& rTokens, EdgeImageInfo& r)
{
    return parseParameters(rTokens, CommentRectificationQuality, CommentSmoothing, [&](int nItem, const char* psz) {
        switch (nItem) {
        case CommentRectificationQuality:
            return parseWord(psz, kesRectQltyStr, r.rectQuality);
        case CommentEdgeMask:
            readComment(psz, r.edgeMask);
            return true;
        case CommentSmoothing:
            readComment(psz, r.smoothing);
            return true;
        default:
            return true; // that edges were correlated
        }
    });
}

KestrovaError parseDisparityParameters(Tokens& rTokens, DisparityImageInfo& r)
{
    r.disparityOffset = 0;
    r.disparityMapping = false;
    return parseParameters(rTokens, 0, sk_nCommentItems - 1,
                           [&](int nItem, const char* psz) { return commentItem(nItem).m_pfnRead(psz, r); });
}

/** Product, serial number, image type and camera: the two lines behind the marker. */
bool parseIdentity(Tokens& rTokens, KestrovaImageInfo& rInfo, bool& rb16)
{
    const char* const pszProduct = rTokens.upTo(" ");
    const std::size_t uLength = pszProduct != nullptr ? std::strlen(pszProduct) : sizeof rInfo.product;
    if (uLength >= sizeof rInfo.product) {
        return false;
    }
    std::memcpy(rInfo.product, pszProduct, uLength + 1);
    const char* const pszSerial = rTokens.upTo("\n");
    if (pszSerial == nullptr) {
        return false;
    }
    readComment(pszSerial, rInfo.serialNumber);
    const char* const pszType = rTokens.upTo(" ");
    if (pszType == nullptr) {
        return false;
    }
    rb16 = parseWord(pszType, kesImage16TypeStr, rInfo.imageType);
    if (!rb16 && !parseWord(pszType, kesImageTypeStr, rInfo.imageType)) {
        return false;
    }
    const char* const pszCamera = rTokens.upTo(" ");
    return pszCamera != nullptr && parseWord(pszCamera, kesCameraStr, rInfo.camera) && rTokens.upTo("\n") != nullptr;
}

template<class Record, class Sample>
bool readImage(bool (*pfnRead)(const char*, char*, int*, int*, Sample**), const char* pszPath, Record* pImage,
               char* pszComment)
{
    int nRows = 0;
    int nCols = 0;
    Sample* pPixels = nullptr;
    if (!pfnRead(pszPath, pszComment, &nRows, &nCols, &pPixels)) {
        return false;
    }
    *pImage = {nRows, nCols, nCols, pPixels};
    return true;
}

} // namespace

KestrovaError parseImageInfo(char* pszComment, KestrovaImageInfo* pInfo)
{
    Tokens tokens(pszComment);
    const char* const pszMarker = stripSpaces(tokens.upTo("\n"));
    pInfo->hasComment = pszMarker != nullptr && std::strcmp(pszMarker, sk_szCommentMarker) == 0;
    if (!pInfo->hasComment) {
        return KestrovaErrorOk;
    }
    bool b16 = false;
    if (!parseIdentity(tokens, *pInfo, b16)) {
        return KestrovaErrorImageComment;
    }
    if (b16 || pInfo->imageType == KestrovaImgDisparity) {
        return parseDisparityParameters(tokens, pInfo->parameters.disparity);
    }
    switch (pInfo->imageType) {
    case KestrovaImgRectified:
        return parseRectifiedParameters(tokens, pInfo->parameters.rectified);
    case KestrovaImgEdge:
        return parseEdgeParameters(tokens, pInfo->parameters.edge);
    default:
        return KestrovaErrorOk; // raw and packed images have no parameters
    }
}

bool pgmReadToKestrovaImageWithComment(const char* pszPath, KestrovaImage* pImage, char* pszComment)
{
    return readImage(pgm8Read, pszPath, pImage, pszComment);
}

bool pgmReadToKestrovaImage16WithComment(const char* pszPath, KestrovaImage16* pImage, char* pszComment)
{
    return readImage(pgm16Read, pszPath, pImage, pszComment);
}

} // namespace kestrova
