#include "context/StereoContext.h"

#include <algorithm>
#include <utility>

namespace kestrova {

namespace {

Image<unsigned char>& emptyImage()
{
    return Image<unsigned char>::defaultImage;
}

ColorPlanes emptyPlanes()
{
    return {emptyImage(), emptyImage(), emptyImage()};
}

} // namespace

StereoContext::StereoContext()
    : m_pCalibration(std::make_shared<CalibrationGroup>()), m_packedInputImage(Image<Pixel8x4>::defaultImage),
      m_rawImages{emptyImage(), emptyImage(), emptyImage()}, m_idlePlanes{emptyImage(), emptyImage(), emptyImage()},
      m_rectifiedImages{emptyImage(), emptyImage(), emptyImage()}, m_edgeImages{emptyImage(), emptyImage(),
                                                                                emptyImage()},
      m_disparityImage(emptyImage()), m_disparityImage16(Image<unsigned short>::defaultImage),
      m_surfaceLabelImage(Image<unsigned int>::defaultImage), m_stereoImages{emptyImage(), emptyImage(), emptyImage()},
      m_colorPlaneImages{emptyPlanes(), emptyPlanes(), emptyPlanes()},
      m_packedColorImages{Image<Pixel8x4>::defaultImage, Image<Pixel8x4>::defaultImage, Image<Pixel8x4>::defaultImage}
{
    // The world transforms are the identity as they are made; the other two have their matrix built at once, since
    // they are read without being set.
    m_skewingTransform.setEulerZYX(0, 0, 0, 0, 0, 0);
    m_unskewingTransform.setEulerZYX(0, 0, 0, 0, 0, 0);
}

StereoContext::StereoContext(const StereoContext& rOther) : StereoContext()
{
    *this = rOther;
}

StereoContext::~StereoContext() = default;

StereoContext& StereoContext::operator=(const StereoContext& rOther)
{
    if (this == &rOther) {
        return *this;
    }
    assignOnePass(rOther);
    if (rOther.m_pFurrowContext == nullptr) {
        m_pFurrowContext.reset();
    } else if (m_pFurrowContext == nullptr) {
        m_pFurrowContext = std::make_unique<StereoContext>(*rOther.m_pFurrowContext);
    } else {
        *m_pFurrowContext = *rOther.m_pFurrowContext;
    }
    return *this;
}

void StereoContext::assignOnePass(const StereoContext& rOther)
{
    static_cast<CalibrationScalars&>(*this) = rOther;
    static_cast<DeviceFreeSettings&>(*this) = rOther;
    m_pCalibration = rOther.m_pCalibration;
    m_apCameras = rOther.m_apCameras;
    m_pColorCamera = rOther.m_pColorCamera;
    m_bHasColorCamera = rOther.m_bHasColorCamera;

    m_packedInputImage = rOther.m_packedInputImage;
    m_surfaceLabelImage = rOther.m_surfaceLabelImage;
    for (int nCamera = 0; nCamera < 3; ++nCamera) {
        m_rawImages[nCamera] = rOther.m_rawImages[nCamera];
        m_rectifiedImages[nCamera] = rOther.m_rectifiedImages[nCamera];
        m_edgeImages[nCamera] = rOther.m_edgeImages[nCamera];
        m_stereoImages[nCamera] = rOther.m_stereoImages[nCamera];
    }
    m_disparityImage = rOther.m_disparityImage;
    m_disparityImage16 = rOther.m_disparityImage16;
    m_anCameraOfChannel = rOther.m_anCameraOfChannel;
    m_anChannelOfCamera = rOther.m_anChannelOfCamera;
    m_bEnhancedStereo = rOther.m_bEnhancedStereo;
    m_bIsFurrowContext = rOther.m_bIsFurrowContext;
}

namespace {

template<typename T>
void ownPixels(Image<T>& rImage)
{
    Image<T> own(rImage.size());
    own.init(rImage);
    rImage = own;
}

} // namespace

void StereoContext::ownHiddenImages()
{
    m_surfaceLabelImage = Image<unsigned int>::defaultImage;
    if (!m_bIsFurrowContext) {
        if (m_pFurrowContext != nullptr) {
            m_pFurrowContext->ownHiddenImages();
        }
        return;
    }
    m_disparityImage = emptyImage(); // made anew by every run
    m_disparityImage16 = Image<unsigned short>::defaultImage;
    for (int nCamera = 0; nCamera < 3; ++nCamera) {
        if (nCamera != getRightCameraIndex()) {  // those are the main context's
            m_rawImages[nCamera] = emptyImage(); // made anew by every frame
            ownPixels(m_rectifiedImages[nCamera]);
            ownPixels(m_edgeImages[nCamera]);
        }
    }
}

void StereoContext::freeSharedResources()
{
    m_pCalibration = std::make_shared<CalibrationGroup>();
    m_apCameras = {};
    m_pColorCamera = nullptr;
}

void StereoContext::copyFixedContextInfo(const StereoContext& rOther)
{
    m_pCalibration = rOther.m_pCalibration;
    m_nVersionMajor = rOther.m_nVersionMajor;
    m_nVersionMinor = rOther.m_nVersionMinor;
    m_eProduct = rOther.m_eProduct;
    m_nSerialNumber = rOther.m_nSerialNumber;
    m_nCameraCount = rOther.m_nCameraCount;
    m_dBaseline = rOther.m_dBaseline;
    m_dFocalLength = rOther.m_dFocalLength;
    m_dImageCenterRowFactor = rOther.m_dImageCenterRowFactor;
    m_dImageCenterColFactor = rOther.m_dImageCenterColFactor;
    m_apCameras = rOther.m_apCameras;
    m_pColorCamera = rOther.m_pColorCamera;
    m_bHasColorCamera = rOther.m_bHasColorCamera;
    m_anCameraOfChannel = rOther.m_anCameraOfChannel;
    m_anChannelOfCamera = rOther.m_anChannelOfCamera;
}

bool StereoContext::copyDeviceFreeStereoSettings(const StereoContext& rOther)
{
    static_cast<DeviceFreeSettings&>(*this) = rOther;
    return true;
}

bool StereoContext::copyStereoSettings(const StereoContext& rOther)
{
    // The same device is the same loaded text: the pointer is compared, not the characters.
    if (productName() != rOther.productName() || m_nSerialNumber != rOther.m_nSerialNumber ||
        m_eProduct != rOther.m_eProduct) {
        return false;
    }
    m_eCameraConfiguration = rOther.m_eCameraConfiguration;
    m_nConfiguredCameraCount = rOther.m_nConfiguredCameraCount;
    m_dImageCenterRow = rOther.m_dImageCenterRow;
    m_dImageCenterCol = rOther.m_dImageCenterCol;
    return copyDeviceFreeStereoSettings(rOther);
}

bool StereoContext::setDisparityRange(int nMin, int nMax)
{
    if (nMin < 0 || nMin >= nMax || nMax - nMin > sk_nMaxDisparityWidth) {
        return false;
    }
    const bool bAlongCols = m_eCameraConfiguration == 0 || m_eCameraConfiguration == 1;
    const bool bAlongRows = m_eCameraConfiguration != 1;
    if ((bAlongRows && nMax > m_nRows - m_nStereoMaskSize) || (bAlongCols && nMax > m_nCols - m_nStereoMaskSize) ||
        nMax > sk_nMaxDisparity) {
        return false;
    }
    m_nMinDisparity = nMin;
    m_nMaxDisparity = nMax;
    m_nDisparityOffset = std::max(0, nMax - sk_nMaxDisparityWidth);
    return true;
}

bool StereoContext::isFourByThree(int nRows, int nCols)
{
    return nRows >= 1 && nCols >= 1 && std::int64_t{nRows} * 4 == std::int64_t{nCols} * 3;
}

bool StereoContext::setResolution(int nRows, int nCols)
{
    if (!isFourByThree(nRows, nCols)) {
        return false;
    }
    m_nRows = nRows;
    m_nCols = nCols;
    m_dImageCenterRow = nRows * m_dImageCenterRowFactor - 0.5;
    m_dImageCenterCol = nCols * m_dImageCenterColFactor - 0.5;
    return true;
}

bool StereoContext::setSourceResolution(int nRows, int nCols)
{
    if (!isFourByThree(nRows, nCols)) {
        return false;
    }
    m_nSourceRows = nRows;
    m_nSourceCols = nCols;
    return true;
}

bool StereoContext::setDisparityMapping(int nMin, int nMax)
{
    const auto ucMin = static_cast<std::uint8_t>(nMin); // low bytes count: 256 and 300 are 0 and 44
    const auto ucMax = static_cast<std::uint8_t>(nMax);
    if (ucMax <= ucMin) {
        return false;
    }
    m_nDisparityMappingMin = ucMin;
    m_nDisparityMappingMax = ucMax;
    return true;
}

KestrovaError StereoContext::setCameraConfiguration(KestrovaCameraConfiguration eConfiguration)
{
    bool bAccepted = false;
    switch (eConfiguration) {
    case KestrovaCfg3CameraL:
        bAccepted = m_eProduct == ProductHalvorine;
        break;
    case KestrovaCfg2CameraHorizontal:
    case KestrovaCfg2CameraWide:
        bAccepted = m_eProduct != ProductTandrell;
        break;
    case KestrovaCfg2CameraVertical:
        bAccepted = m_eProduct == ProductHalvorine || m_eProduct == ProductTandrell;
        break;
    default:
        return KestrovaErrorInvalidParameter;
    }
    if (!bAccepted) {
        return KestrovaErrorInvalidRequest;
    }
    m_eCameraConfiguration = eConfiguration;
    m_nConfiguredCameraCount = eConfiguration == KestrovaCfg3CameraL ? 3 : 2;
    return KestrovaErrorOk;
}

void StereoContext::imageQualityToKernelParms(KestrovaRectImgQuality eQuality, KernelType* pType, int* pSize)
{
    switch (eQuality) {
    case KestrovaRectFast:
        *pType = KernelNearest;
        *pSize = 2;
        return;
    case KestrovaRectEnhanced1:
        *pType = KernelSinc;
        *pSize = 3;
        return;
    case KestrovaRectEnhanced2:
        *pType = KernelSinc;
        *pSize = 5;
        return;
    default:
        *pType = KernelBilinear;
        *pSize = 2;
        return;
    }
}

void StereoContext::kernelParmsToImageQuality(KernelType eType, int nSize, KestrovaRectImgQuality* pQuality)
{
    // The size counts only for the sinc kernel: a new context's (1, 5) reads back as Standard, which writes (1, 2).
    switch (eType) {
    case KernelNearest:
        *pQuality = KestrovaRectFast;
        return;
    case KernelSinc:
        *pQuality = nSize == 3 ? KestrovaRectEnhanced1 : KestrovaRectEnhanced2;
        return;
    default:
        *pQuality = KestrovaRectStandard;
        return;
    }
}

int StereoContext::getRightCameraIndex() const
{
    return m_eProduct < ProductSelvane4 ? 0 : -1;
}

void StereoContext::shareRightImages(const StereoContext& rOther)
{
    const int nRight = getRightCameraIndex();
    if (nRight >= 0) {
        m_rawImages[nRight] = rOther.m_rawImages[nRight];
        m_rectifiedImages[nRight] = rOther.m_rectifiedImages[nRight];
        m_edgeImages[nRight] = rOther.m_edgeImages[nRight];
        m_stereoImages[nRight] = rOther.m_stereoImages[nRight];
    }
}

KestrovaError StereoContext::initFurrowFix()
{
    m_pFurrowContext = std::make_unique<StereoContext>();
    m_pFurrowContext->m_bIsFurrowContext = true;
    m_pFurrowContext->copyFixedContextInfo(*this);
    return syncFurrowFixSettings();
}

KestrovaError StereoContext::syncFurrowFixSettings()
{
    if (!m_pFurrowContext->copyStereoSettings(*this)) {
        return KestrovaErrorInvalidContext;
    }
    m_pFurrowContext->m_nFurrowOffset = sk_nFurrowOffset; // the copy brought this context's
    m_pFurrowContext->shareRightImages(*this);            // the last frame may have brought new ones
    return KestrovaErrorOk;
}

void StereoContext::savePreprocessParameters()
{
    m_preprocessSnapshot = {m_eKernelType, m_nKernelSize, m_bEdgeCorrelation, m_nEdgeMaskSize, m_bLowpass};
}

void StereoContext::saveStereoParameters()
{
    m_stereoSnapshot = {
        .m_bSavedEnhancedStereo = m_bEnhancedStereo,
        .m_eSavedCameraConfiguration = m_eCameraConfiguration,
        .m_nSavedStereoMaskSize = m_nStereoMaskSize,
        .m_nSavedMinDisparity = m_nMinDisparity,
        .m_nSavedMaxDisparity = m_nMaxDisparity,
        .m_nSavedDisparityOffset = m_nDisparityOffset,
        .m_bSavedDisparityMappingOn = m_bDisparityMappingOn,
        .m_nSavedDisparityMappingMin = m_nDisparityMappingMin,
        .m_nSavedDisparityMappingMax = m_nDisparityMappingMax,
        .m_bSavedTextureValidation = m_bTextureValidation,
        .m_dSavedTextureValidationThreshold = m_dTextureValidationThreshold,
        .m_ucSavedTextureValidationMapping = m_ucTextureValidationMapping,
        .m_bSavedUniquenessValidation = m_bUniquenessValidation,
        .m_dSavedUniquenessValidationThreshold = m_dUniquenessValidationThreshold,
        .m_ucSavedUniquenessValidationMapping = m_ucUniquenessValidationMapping,
        .m_bSavedBackForthValidation = m_bBackForthValidation,
        .m_ucSavedBackForthValidationMapping = m_ucBackForthValidationMapping,
        .m_bSavedSurfaceValidation = m_bSurfaceValidation,
        .m_nSavedSurfaceValidationSize = m_nSurfaceValidationSize,
        .m_dSavedSurfaceValidationDifference = m_dSurfaceValidationDifference,
        .m_ucSavedSurfaceValidationMapping = m_ucSurfaceValidationMapping,
        .m_bSavedStrictSubpixelValidation = m_bStrictSubpixelValidation,
        .m_ucSavedSubpixelValidationMapping = m_ucSubpixelValidationMapping,
    };
}

bool StereoContext::getImage16(KestrovaImage16Type eType, KestrovaCamera eCamera, KestrovaImage16* pImage)
{
    if (eType != KestrovaImg16Disparity || !m_bDoStereo || !m_bSubpixelInterpolation || eCamera >= KestrovaCamTop) {
        return false;
    }
    const int nRowInc = rowInc(m_disparityImage16);
    *pImage = {m_disparityImage16.nRows(), m_disparityImage16.nCols(), nRowInc,
               nRowInc != 0 ? m_disparityImage16.data() : nullptr};
    return true;
}

const char* StereoContext::productName() const
{
    // The empty name is one shared constant, so that two contexts without a product compare equal.
    return m_pCalibration->m_productName.empty() ? "" : m_pCalibration->m_productName.c_str();
}

} // namespace kestrova
