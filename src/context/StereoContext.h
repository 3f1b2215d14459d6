// Everything about one calibrated camera set in one configuration: identity, settings, images.
//
// The object is also the unit of parallel work: each worker of a stereo run has an assigned copy, which shares pixels
// and calibration and carries its own regions. Copying therefore copies no pixels, and what it does copy is told at
// each member function below.
#pragma once

#include "context/CalibrationGroup.h"
#include "context/StereoProduct.h"
#include "geometry/LYRTransform3d.h"
#include "image/Image.h"
#include "kestrova.h"
#include "rectify/KernelType.h"
#include "surfaces/KesSegmentContext.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace kestrova {

class Camera;

/** The settings that preprocessing last ran with; image comments report them. */
struct PreprocessSnapshot
{
    KernelType m_eSavedKernelType = KernelNearest;
    std::int32_t m_nSavedKernelSize = 0;
    bool m_bSavedEdgeCorrelation = false;
    std::int32_t m_nSavedEdgeMaskSize = 0;
    bool m_bSavedLowpass = false;
};

/** The settings that stereo last ran with; image comments report them. */
struct StereoSnapshot
{
    bool m_bSavedEnhancedStereo = false;
    std::int32_t m_eSavedCameraConfiguration = 0;
    std::int32_t m_nSavedStereoMaskSize = 0;
    std::int32_t m_nSavedMinDisparity = 0;
    std::int32_t m_nSavedMaxDisparity = 0;
    std::int32_t m_nSavedDisparityOffset = 0;
    bool m_bSavedDisparityMappingOn = false;
    std::int32_t m_nSavedDisparityMappingMin = 0;
    std::int32_t m_nSavedDisparityMappingMax = 0;
    bool m_bSavedTextureValidation = false;
    double m_dSavedTextureValidationThreshold = 0;
    std::uint8_t m_ucSavedTextureValidationMapping = 0;
    bool m_bSavedUniquenessValidation = false;
    double m_dSavedUniquenessValidationThreshold = 0;
    std::uint8_t m_ucSavedUniquenessValidationMapping = 0;
    bool m_bSavedBackForthValidation = false;
    std::uint8_t m_ucSavedBackForthValidationMapping = 0;
    bool m_bSavedSurfaceValidation = false;
    std::int32_t m_nSavedSurfaceValidationSize = 0;
    double m_dSavedSurfaceValidationDifference = 0;
    std::uint8_t m_ucSavedSurfaceValidationMapping = 0;
    bool m_bSavedStrictSubpixelValidation = false;
    std::uint8_t m_ucSavedSubpixelValidationMapping = 0;
};

/** Identity as the calibration gives it. */
struct CalibrationScalars
{
    std::int32_t m_nVersionMajor = 0;
    std::int32_t m_nVersionMinor = 0;
    std::int32_t m_nSerialNumber = 0;
    StereoProduct m_eProduct = ProductHalvorine;
    KestrovaCameraConfiguration m_eCameraConfiguration = KestrovaCfg3CameraL; // 0, 1 or 2
    std::int32_t m_nCameraCount = 0;                                          // cameras of the product
    std::int32_t m_nConfiguredCameraCount = 0;                                // cameras of the configuration
    double m_dBaseline = 0;                                                   // narrow and wide pairs part at 0.15
    double m_dBaselineHorizontal = 0;
    double m_dBaselineVertical = 0;
    double m_dFocalLength = 1.0; // in units of the column count
    double m_dFocalLengthRows = 0;
    double m_dFocalLengthCols = 0;
    double m_dImageCenterRowFactor = 0.5; // of the rows
    double m_dImageCenterColFactor = 0.5; // of the columns
    // At the current resolution. The first values are not those of 240 by 320; every load replaces them.
    double m_dImageCenterRow = 240.0;
    double m_dImageCenterCol = 320.0;
};

/** Settings that do not depend on the device: what moves when a configuration is switched. */
struct DeviceFreeSettings
{
    bool m_bTextureValidation = true;
    double m_dTextureValidationThreshold = 0.5;
    std::uint8_t m_ucTextureValidationMapping = 255;
    bool m_bUniquenessValidation = true;
    double m_dUniquenessValidationThreshold = 0.5;
    std::uint8_t m_ucUniquenessValidationMapping = 254;
    bool m_bBackForthValidation = false;
    std::uint8_t m_ucBackForthValidationMapping = 251;
    bool m_bSurfaceValidation = true;
    std::int32_t m_nSurfaceValidationSize = 200; // pixels
    double m_dSurfaceValidationDifference = 1.0; // largest step inside a surface
    std::uint8_t m_ucSurfaceValidationMapping = 252;
    bool m_bStrictSubpixelValidation = false;
    std::uint8_t m_ucSubpixelValidationMapping = 253; // also the fill of the disparity images

    std::int32_t m_nRows = 240; // rectified images
    std::int32_t m_nCols = 320;
    std::int32_t m_nSourceRows = 0; // raw images; set from each input
    std::int32_t m_nSourceCols = 0;
    bool m_bLowpass = true;
    bool m_bRectify = true;
    std::int32_t m_nFurrowOffset = 0; // hundredths of a pixel
    bool m_bEdgeCorrelation = true;   // correlate edge images, not rectified ones
    bool m_bDoStereo = true;
    bool m_bSubpixelInterpolation = true; // 16-bit disparity, not 8-bit

    bool m_bDisparityMappingOn = false;
    std::int32_t m_nDisparityMappingMin = 0;
    std::int32_t m_nDisparityMappingMax = 32;
    std::int32_t m_nStereoMaskSize = 7;
    std::int32_t m_nEdgeMaskSize = 7;
    std::array<KestrovaROI, 100> m_aROIs{}; // edited in place by the caller
    std::int32_t m_nROICount = 0;           // 0 means the whole frame

    KernelType m_eKernelType = KernelBilinear;
    std::int32_t m_nKernelSize = 5;
    std::int32_t m_nMinDisparity = 0;
    std::int32_t m_nMaxDisparity = 32;
    std::int32_t m_nDisparityOffset = 0; // what the 8-bit image subtracts
    std::int32_t m_nWarperRowOffset = 0; // hundredths; nothing writes another value
    std::int32_t m_nWarperColOffset = 0;
};

/** The red, green and blue plane of a rectified colour image. */
using ColorPlanes = std::array<Image<unsigned char>, 3>;

class StereoContext : public CalibrationScalars, public DeviceFreeSettings
{
public:
    static constexpr int sk_nMaxROIs = 100;
    static constexpr int sk_nMaxDisparityWidth = 240;
    static constexpr int sk_nMaxDisparity = 1024;
    static constexpr int sk_nFurrowOffset = 50; // hundredths of a pixel

    StereoContext();
    /** As assignment to a new context: transforms are the identity, colour images and snapshots those of a new one. */
    StereoContext(const StereoContext& rOther);
    /**
     * Shares the calibration and the pixels, copies all settings, and copies or drops the furrow context.
     * Transforms, colour images and snapshots stay as they are.
     */
    StereoContext& operator=(const StereoContext& rOther);
    /** As assignment, but without the furrow context: this one's stays as it is. */
    void assignOnePass(const StereoContext& rOther);
    ~StereoContext();

    /** Drops this context's share of the calibration; the last sharer frees it. */
    void freeSharedResources();

    /** Shares the source's calibration without touching the settings. */
    void copyFixedContextInfo(const StereoContext& rOther);
    /** Copies what does not depend on the device. Always true. */
    bool copyDeviceFreeStereoSettings(const StereoContext& rOther);
    /** As above, with configuration and image centre; false, and nothing copied, unless both are the same device. */
    [[nodiscard]] bool copyStereoSettings(const StereoContext& rOther);

    /**
     * Parts from the images that no caller can replace and that a copy for another handle must not share: the labels
     * of surfaces, and what the second context has for itself. Its rectified and edge images keep their pixels.
     */
    void ownHiddenImages();

    /**
     * Sets the searched range. False, and nothing changed, unless 0 <= nMin < nMax <= sk_nMaxDisparity, the width is at
     * most sk_nMaxDisparityWidth and nMax leaves room for one window along the searched axes of the configuration.
     */
    [[nodiscard]] bool setDisparityRange(int nMin, int nMax);
    /** Whether these are sizes of an image of that shape. */
    [[nodiscard]] static bool isFourByThree(int nRows, int nCols);
    /** Size of the rectified images; false, and nothing changed, unless it is 4 by 3. */
    [[nodiscard]] bool setResolution(int nRows, int nCols);
    /** Size of the raw images, with the same rule. */
    [[nodiscard]] bool setSourceResolution(int nRows, int nCols);
    /** The bytes that the 8-bit disparity spreads over: low bytes count; false, and nothing changed, unless min < max.
     */
    [[nodiscard]] bool setDisparityMapping(int nMin, int nMax);
    KestrovaError setCameraConfiguration(KestrovaCameraConfiguration eConfiguration);

    static void imageQualityToKernelParms(KestrovaRectImgQuality eQuality, KernelType* pType, int* pSize);
    static void kernelParmsToImageQuality(KernelType eType, int nSize, KestrovaRectImgQuality* pQuality);

    /** 0, or -1 for a product whose cameras have no order. */
    [[nodiscard]] int getRightCameraIndex() const;

    void savePreprocessParameters();
    void saveStereoParameters();

    /**
     * Makes the second context of the furrow fix anew: the same calibration and settings, left and top cameras half a
     * pixel away, and images of its own except for the right camera's, which are views of this context's.
     */
    KestrovaError initFurrowFix();
    /**
     * Gives the second context, which must exist, the present settings and the present images of the right camera.
     * KestrovaErrorInvalidContext, and nothing changed, unless both are the same device.
     */
    KestrovaError syncFurrowFixSettings();

    /** Fills the record from the 16-bit disparity; false, and nothing written, when the settings do not produce it. */
    bool getImage16(KestrovaImage16Type eType, KestrovaCamera eCamera, KestrovaImage16* pImage);

    /** The PRODUCT text. Contexts that share a calibration return the same pointer, and so do all without one. */
    [[nodiscard]] const char* productName() const;

    // ---- shared by all copies ----
    std::shared_ptr<CalibrationGroup> m_pCalibration; // never null
    std::array<Camera*, 3> m_apCameras{};             // borrowed from m_pCalibration, by camera index
    Camera* m_pColorCamera = nullptr;                 // borrowed from m_pCalibration
    bool m_bHasColorCamera = false;

    // ---- settings that configuration switches leave alone ----
    bool m_bEnhancedStereo = false;
    bool m_bIsFurrowContext = false;

    // ---- images: views that share pixels after a copy, by camera index ----
    Image<Pixel8x4> m_packedInputImage;
    Image<unsigned char> m_rawImages[3];
    Image<unsigned char> m_idlePlanes[3]; // own raw images while those of a caller stand above; not copied
    Image<unsigned char> m_rectifiedImages[3];
    Image<unsigned char> m_edgeImages[3];
    Image<unsigned char> m_disparityImage;
    Image<unsigned short> m_disparityImage16;
    Image<unsigned int> m_surfaceLabelImage; // after surface validation, labels before merging
    Image<unsigned char> m_stereoImages[3];  // what a correlator reads, packed from index 0

    std::array<std::int32_t, 3> m_anCameraOfChannel{-1, -1, -1}; // camera index on red, green, blue
    std::array<std::int32_t, 3> m_anChannelOfCamera{-1, -1, -1};

    // ---- this context's own: neither assigned nor copied ----
    LYRTransform3d m_cameraToWorld;
    LYRTransform3d m_worldToCamera; // its inverse
    LYRTransform3d m_skewingTransform;
    LYRTransform3d m_unskewingTransform;
    std::array<ColorPlanes, 3> m_colorPlaneImages; // by camera index; slot 0 is the colour camera's too
    std::array<Image<Pixel8x4>, 3> m_packedColorImages;
    PreprocessSnapshot m_preprocessSnapshot;
    StereoSnapshot m_stereoSnapshot;
    KesSegmentContext m_segmentContext; // tables of surface validation

    std::unique_ptr<StereoContext> m_pFurrowContext; // has none of its own

private:
    /** Views of the other context's images of the right camera. */
    void shareRightImages(const StereoContext& rOther);
};

} // namespace kestrova
