#include "imageio/imageInfo.h"

#include "context/words.h"
#include "imageio/commentItems.h"
#include "kestrova.h"

#include <cstdio>
#include <cstdlib>
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

bool stringToBool(const char* psz)
{
    if (std::strcmp(psz, "On") != 0 && std::strcmp(psz, "Off") != 0) {
        std::puts("Error in stringToBool!");
    }
    return std::strcmp(psz, "On") == 0;
}

std::int32_t number(const char* psz)
{
    return static_cast<std::int32_t>(std::strtol(psz, nullptr, 10)); // keeps the low 32 bits
}

std::uint8_t byte(const char* psz)
{
    return static_cast<std::uint8_t>(std::strtol(psz, nullptr, 10));
}

/** Sets the value whose word in the table this is. */
template<class T, std::size_t nWords>
bool parseWord(const char* psz, const char* const (&rapszWords)[nWords], T& rValue)
{
    for (std::size_t uWord = 0; uWord < nWords; ++uWord) {
        if (std::strcmp(psz, rapszWords[uWord]) == 0) {
            rValue = static_cast<T>(uWord);
            return true;
        }
    }
    return false;
}

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
            r.edgeMask = number(psz);
            return true;
        case CommentSmoothing:
            r.smoothing = stringToBool(psz);
            return true;
        default:
            return true; // that edges were correlated
        }
    });
}

/** The switches and numbers, which take any text. */
void storeDisparityValue(DisparityImageInfo& r, int nItem, const char* psz)
{
    switch (nItem) {
    case CommentEdgeCorrelation:
        r.edgeCorrelation = stringToBool(psz);
        break;
    case CommentEdgeMask:
        r.edgeMask = number(psz);
        break;
    case CommentSmoothing:
        r.smoothing = stringToBool(psz);
        break;
    case CommentStereoMask:
        r.stereoMask = number(psz);
        break;
    case CommentMinDisparity:
        r.minDisparity = number(psz);
        break;
    case CommentMaxDisparity:
        r.maxDisparity = number(psz);
        break;
    case CommentDisparityOffset:
        r.disparityOffset = number(psz);
        break;
    case CommentDisparityMapping:
        r.disparityMapping = stringToBool(psz);
        break;
    case CommentMinDisparityMapping:
        r.minDisparityMapping = number(psz);
        break;
    case CommentMaxDisparityMapping:
        r.maxDisparityMapping = number(psz);
        break;
    case CommentTextureValidation:
        r.textureValidation = stringToBool(psz);
        break;
    case CommentTextureValidationThreshold:
        r.textureValidationThreshold = std::strtod(psz, nullptr);
        break;
    case CommentTextureValidationMapping:
        r.textureValidationMapping = byte(psz);
        break;
    case CommentUniquenessValidation:
        r.uniquenessValidation = stringToBool(psz);
        break;
    case CommentUniquenessValidationThreshold:
        r.uniquenessValidationThreshold = std::strtod(psz, nullptr);
        break;
    case CommentUniquenessValidationMapping:
        r.uniquenessValidationMapping = byte(psz);
        break;
    case CommentBackForthValidation:
        r.backForthValidation = stringToBool(psz);
        break;
    case CommentBackForthValidationMapping:
        r.backForthValidationMapping = byte(psz);
        break;
    case CommentSurfaceValidation:
        r.surfaceValidation = stringToBool(psz);
        break;
    case CommentSurfaceValidationDiff:
        r.surfaceValidationDiff = std::strtod(psz, nullptr);
        break;
    case CommentSurfaceValidationSize:
        r.surfaceValidationSize = number(psz);
        break;
    case CommentSurfaceValidationMapping:
        r.surfaceValidationMapping = byte(psz);
        break;
    default:
        break;
    }
}

KestrovaError parseDisparityParameters(Tokens& rTokens, DisparityImageInfo& r)
{
    r.disparityOffset = 0;
    r.disparityMapping = false;
    return parseParameters(rTokens, 0, sk_nCommentItems - 1, [&](int nItem, const char* psz) {
        switch (nItem) {
        case CommentRectificationQuality:
            return parseWord(psz, kesRectQltyStr, r.rectQuality);
        case CommentStereoQuality:
            return parseWord(psz, kesStereoQltyStr, r.stereoQuality);
        case CommentCameraConfiguration:
            return parseWord(psz, kesCamConfigStr, r.cameraConfiguration);
        default:
            storeDisparityValue(r, nItem, psz);
            return true;
        }
    });
}

/** Product, serial number, image type and camera: the two lines behind the marker. */
bool parseIdentity(Tokens& rTokens, KestrovaImageInfo& rInfo, bool& rb16)
{
    const char* const pszProduct = rTokens.upTo(" ");
    if (pszProduct == nullptr || std::strlen(pszProduct) >= sizeof rInfo.product) {
        return false;
    }
    std::strcpy(rInfo.product, pszProduct);
    const char* const pszSerial = rTokens.upTo("\n");
    if (pszSerial == nullptr) {
        return false;
    }
    rInfo.serialNumber = number(pszSerial);
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
