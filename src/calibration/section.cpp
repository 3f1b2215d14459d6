#include "calibration/section.h"

#include "context/StereoContext.h"
#include "context/words.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kestrova {

namespace {

void set4x4MatrixContents(double* pdDestination, const double* pdSource)
{
    std::copy_n(pdSource, 16, pdDestination);
}

void readMatrix(const char* pszKeyword, CalibrationLines lines, LYRTransform3d& rTransform)
{
    std::vector<double> values;
    if (parseTokenDoubles(pszKeyword, lines, &values, 16)) {
        set4x4MatrixContents(rTransform.data(), values.data());
        rTransform.unsetMatrix();
    }
}

/** What the text names, Standard if it is no name. */
KestrovaRectImgQuality qualityFromText(const char* pszText)
{
    // Eight characters count and the last match stands, so "Enhanced-1" loads as Enhanced-2. Stored texts depend on it.
    int nQuality = KestrovaRectStandard;
    for (int n = 0; n < 4; ++n) {
        if (std::strncmp(pszText, kesRectQltyStr[n], 8) == 0) {
            nQuality = n;
        }
    }
    return static_cast<KestrovaRectImgQuality>(nQuality);
}

/** Pixels are counted in 32 bits, the rounding of rows to 32 bytes included. */
bool canBeImage(std::int32_t nRows, std::int32_t nCols)
{
    constexpr std::int64_t sk_nSlack = 64;
    return nRows * (nCols + sk_nSlack) <= INT32_MAX;
}

int lowByte(std::int32_t n)
{
    return n & 0xFF;
}

} // namespace

SectionReader::SectionReader(CalibrationLines lines) : m_lines(lines)
{
    static_cast<void>(parseTokenBool("DEBUG", m_lines, &m_bDebug));
}

bool SectionReader::say(const char* pszMessage) const
{
    if (m_bDebug) {
        std::puts(pszMessage);
    }
    return false;
}

template<typename Accept>
void SectionReader::readInt(const char* pszKeyword, std::int32_t& rField, const char* pszMessage, Accept accept) const
{
    std::int32_t nValue = 0;
    if (parseTokenInt(pszKeyword, m_lines, &nValue) && accept(nValue)) {
        rField = nValue;
    } else {
        say(pszMessage);
    }
}

template<typename Accept>
void SectionReader::readDouble(const char* pszKeyword, double& rField, const char* pszMessage, Accept accept) const
{
    double dValue = 0.0;
    if (parseTokenDouble(pszKeyword, m_lines, &dValue) && accept(dValue)) {
        rField = dValue;
    } else {
        say(pszMessage);
    }
}

void SectionReader::readByte(const char* pszKeyword, std::uint8_t& rField, const char* pszMessage) const
{
    std::int32_t nValue = rField;
    readInt(pszKeyword, nValue, pszMessage, [](std::int32_t n) { return n >= 0 && n <= 255; });
    rField = static_cast<std::uint8_t>(nValue);
}

void SectionReader::readBool(const char* pszKeyword, bool& rField, const char* pszMessage) const
{
    if (!parseTokenBool(pszKeyword, m_lines, &rField)) {
        say(pszMessage);
    }
}

bool SectionReader::readIdentity(StereoContext& rContext, SectionValues& rValues) const
{
    CalibrationGroup& rGroup = *rContext.m_pCalibration;
    if (!parseVersion(m_lines, &rContext.m_nVersionMajor, &rContext.m_nVersionMinor, &rGroup.m_versionField,
                      &rGroup.m_versionNumberText)) {
        return say("Failed to parse calibration version");
    }
    if (!parseTokenString("PRODUCT", m_lines, &rGroup.m_productName)) {
        return say("Failed to parse Product field");
    }
    if (!parseTokenInt("SERIALNUMBER", m_lines, &rContext.m_nSerialNumber)) {
        return say("Failed to parse Serial Number field");
    }
    if (!readLengths(rContext)) {
        return false;
    }
    if (!readConfiguration(rValues.m_eCameraConfiguration)) {
        return say("Failed to parse camera configuration");
    }
    readMatrices(rContext);
    return true;
}

bool SectionReader::readLengths(StereoContext& rContext) const
{
    double dFirst = 0.0;
    double dSecond = 0.0;
    if (!parseTokenDoubleDouble("FOCALLENGTH", m_lines, &dFirst, &dSecond)) {
        if (!parseTokenDouble("FOCALLENGTH", m_lines, &dFirst)) {
            return say("Failed to parse focallength");
        }
        dSecond = dFirst * 4 / 3;
    }
    rContext.m_dFocalLength = dFirst;
    rContext.m_dFocalLengthRows = dFirst;
    rContext.m_dFocalLengthCols = dSecond;
    if (!parseTokenDoubleDouble("BASELINE", m_lines, &dFirst, &dSecond)) {
        if (!parseTokenDouble("BASELINE", m_lines, &dFirst)) {
            return say("Failed to parse baseline");
        }
        dSecond = 0.0;
    }
    rContext.m_dBaseline = dFirst;
    rContext.m_dBaselineHorizontal = dFirst;
    rContext.m_dBaselineVertical = dSecond;
    return true;
}

bool SectionReader::readConfiguration(KestrovaCameraConfiguration& rConfiguration) const
{
    static constexpr struct
    {
        const char* pszWord;
        KestrovaCameraConfiguration eConfiguration;
    } sk_aWords[] = {{"L", KestrovaCfg3CameraL},
                     {"2CAMERAHORIZONTAL", KestrovaCfg2CameraHorizontal},
                     {"2CAMERAVERTICAL", KestrovaCfg2CameraVertical}};
    for (const auto& rWord : sk_aWords) {
        if (parseTokenToken("CAMERACONFIGURATION", rWord.pszWord, m_lines)) {
            rConfiguration = rWord.eConfiguration;
            return true;
        }
    }
    return false;
}

void SectionReader::readMatrices(StereoContext& rContext) const
{
    readMatrix("SKEWINGMATRIX", m_lines, rContext.m_skewingTransform);
    readMatrix("UNSKEWINGMATRIX", m_lines, rContext.m_unskewingTransform);
}

void SectionReader::readSettings(StereoContext& rContext, SectionValues& rValues) const
{
    if (!parseTokenDoubleDouble("IMAGECENTER", m_lines, &rContext.m_dImageCenterColFactor,
                                &rContext.m_dImageCenterRowFactor)) {
        say("Using default image center");
    }
    readValidation(rContext);
    readPipeline(rContext);
    readDisparity(rContext, rValues);
    readResolution(rContext);
    if (!parseTokenString("RELEASENOTES", m_lines, &rContext.m_pCalibration->m_releaseNotes)) {
        say("No release notes found");
    }
    readQualities(rContext);
}

void SectionReader::readValidation(StereoContext& rContext) const
{
    StereoContext& r = rContext;
    readBool("BACKFORTHVALIDATION", r.m_bBackForthValidation, "Using default back-forth validation on");
    readByte("BACKFORTHVALIDATIONMAPPING", r.m_ucBackForthValidationMapping,
             "Using default back-forth validation mapping");
    readBool("UNIQUEVALIDATION", r.m_bUniquenessValidation, "Using default unique validation on");
    readDouble("UNIQUEVALIDATIONTHRESHOLD", r.m_dUniquenessValidationThreshold,
               "Using default unique validation threshold", [](double d) { return d >= 0.0 && d <= 10.0; });
    readByte("UNIQUEVALIDATIONMAPPING", r.m_ucUniquenessValidationMapping, "Using default unique validation mapping");
    readBool("TEXTUREVALIDATION", r.m_bTextureValidation, "Using default texture validation on");
    readDouble("TEXTUREVALIDATIONTHRESHOLD", r.m_dTextureValidationThreshold,
               "Using default texture validation threshold", [](double d) { return d >= 0.0 && d <= 128.0; });
    readByte("TEXTUREVALIDATIONMAPPING", r.m_ucTextureValidationMapping, "Using default texture validation mapping");
    readBool("SURFACEVALIDATION", r.m_bSurfaceValidation, "Using default surface validation on");
    readInt("SURFACEVALIDATIONSIZE", r.m_nSurfaceValidationSize, "Using default surface validation size",
            [](std::int32_t n) { return n >= 0; });
    readDouble("SURFACEVALIDATIONDIFFERENCE", r.m_dSurfaceValidationDifference,
               "Using default surface validation difference", [](double d) { return d >= 0.0; });
    // Users filter on these texts: the two subpixel switches report the text of the surface mapping.
    const char* pszSurfaceMapping = "Using default surface validation mapping";
    readByte("SURFACEVALIDATIONMAPPING", r.m_ucSurfaceValidationMapping, pszSurfaceMapping);
    readBool("SUBPIXELINTERPOLATE", r.m_bSubpixelInterpolation, pszSurfaceMapping);
    readBool("STRICTSUBPIXELVALIDATION", r.m_bStrictSubpixelValidation, pszSurfaceMapping);
}

void SectionReader::readPipeline(StereoContext& rContext) const
{
    readBool("LOWPASS", rContext.m_bLowpass, "Using default lowpass setting");
    readBool("RECTIFY", rContext.m_bRectify, "Using default rectification setting");
    readBool("DOSTEREO", rContext.m_bDoStereo, "Using default dostereo setting");
    readBool("EDGECORRELATION", rContext.m_bEdgeCorrelation, "Using default edge correlation setting");
    readInt("STEREOMASKSIZE", rContext.m_nStereoMaskSize, "Using default stereo mask size setting",
            [](std::int32_t n) { return n >= 1 && n <= 23 && n % 2 != 0; });
    readInt("EDGEMASKSIZE", rContext.m_nEdgeMaskSize, "Using default edge mask size setting",
            [](std::int32_t n) { return n >= 3 && n <= 11 && n % 2 != 0; });
}

void SectionReader::readDisparity(StereoContext& rContext, SectionValues& rValues) const
{
    if (!parseTokenIntInt("DISPARITY", m_lines, &rValues.m_nMinDisparity, &rValues.m_nMaxDisparity)) {
        say("Using default disparity setting");
    }
    readBool("DISPARITYMAPPINGON", rContext.m_bDisparityMappingOn, "Using default disparity mapping on");
    std::int32_t nMin = 0;
    std::int32_t nMax = 0;
    if (parseTokenIntInt("DISPARITYMAPPING", m_lines, &nMin, &nMax) && lowByte(nMin) < lowByte(nMax)) {
        rContext.m_nDisparityMappingMin = lowByte(nMin); // as the setter: 8-bit values are what can be mapped to
        rContext.m_nDisparityMappingMax = lowByte(nMax);
    } else {
        say("Using default disparity mapping setting");
    }
}

void SectionReader::readResolution(StereoContext& rContext) const
{
    // Only stored here: the load ends with setResolution, which computes what follows from it.
    std::int32_t nRows = 0;
    std::int32_t nCols = 0;
    if (parseTokenIntInt("RESOLUTION", m_lines, &nRows, &nCols) && nRows >= 1 && nCols >= 1 &&
        std::int64_t{nRows} * 4 == std::int64_t{nCols} * 3 && canBeImage(nRows, nCols)) {
        rContext.m_nRows = nRows;
        rContext.m_nCols = nCols;
    } else {
        say("Using default resolution setting");
    }
}

void SectionReader::readQualities(StereoContext& rContext) const
{
    std::string text;
    if (parseTokenString("STEREOQUALITY", m_lines, &text)) {
        rContext.m_bEnhancedStereo = text.starts_with("Enhanced");
    } else {
        say("Using default stereo quality");
    }
    if (parseTokenString("RECTIFICATIONQUALITY", m_lines, &text)) {
        StereoContext::imageQualityToKernelParms(qualityFromText(text.c_str()), &rContext.m_eKernelType,
                                                 &rContext.m_nKernelSize);
    } else {
        say("Using default rectification quality");
    }
}

} // namespace kestrova
