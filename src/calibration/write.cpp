#include "calibration/write.h"

#include "calibration/cameraPosition.h"
#include "calibration/tokens.h"
#include "context/settings.h"
#include "context/words.h"
#include "files/cText.h"
#include "rectify/Camera.h"

#include <ctime>

namespace kestrova {

namespace {

const std::vector<std::string>& linesOf(const StereoContext& rContext)
{
    return rContext.m_pCalibration->m_calibrationLines;
}

const char* onOff(bool b)
{
    return b ? "on" : "off";
}

void writeAdjustment(std::FILE* pStream, const char* pszFormat, double dX, double dY)
{
    const CLocaleScope scope;
    if (dX != 0.0 || dY != 0.0) {
        std::fprintf(pStream, pszFormat, dX, dY);
    }
}

} // namespace

bool stereoContextWriteDefaultToStream(const StereoContext* pContext, std::FILE* pStream)
{
    if (pContext == nullptr || linesOf(*pContext).empty()) {
        return false;
    }
    for (const std::string& rLine : linesOf(*pContext)) {
        std::fprintf(pStream, "%s\n", rLine.c_str());
    }
    return true;
}

CalibrationWriter::CalibrationWriter(const StereoContext& rContext, std::FILE* pStream)
    : m_rContext(rContext), m_pStream(pStream)
{}

bool CalibrationWriter::saveToFile() const
{
    return writeSection1GeneralInfo() && writeSection2StereoParameters() && writeSection3CameraIntrinsics() &&
           writeSection4CameraInternal() && writeSection5WarpInfo();
}

const std::string* CalibrationWriter::getLineForToken(const char* pszToken, bool bIgnoreCase) const
{
    for (const std::string& rLine : linesOf(m_rContext)) {
        const char* pszCursor = rLine.c_str();
        if (match_token(&pszCursor, pszToken, bIgnoreCase)) {
            return &rLine;
        }
    }
    return nullptr;
}

bool CalibrationWriter::writeLineForToken(const char* pszToken) const
{
    const std::string* const pLine = getLineForToken(pszToken, true);
    if (pLine != nullptr) {
        std::fprintf(m_pStream, "%s\n", pLine->c_str());
    }
    return pLine != nullptr;
}

void CalibrationWriter::writeDate() const
{
    static constexpr const char* sk_apszMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::fprintf(m_pStream, "Date %02d-%s-%04d %02d:%02d:%02d\n", local.tm_mday, sk_apszMonths[local.tm_mon],
                 local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec);
}

bool CalibrationWriter::writeSection1GeneralInfo() const
{
    for (const std::string& rLine : linesOf(m_rContext)) {
        if (rLine.starts_with('#')) {
            std::fputs(rLine.c_str(), m_pStream); // the one comment that a table can hold keeps its terminator
        }
    }
    static constexpr struct
    {
        const char* pszToken;
        bool bRequired;
    } sk_aTokens[] = {{"VERSION", true},      {"BUILDNUMBER", false}, {"PRODUCT", true},
                      {"SERIALNUMBER", true}, {"PARTID", false},      {"SENSORRESOLUTION", false}};
    for (const auto& rToken : sk_aTokens) {
        if (!writeLineForToken(rToken.pszToken) && rToken.bRequired) {
            return false;
        }
    }
    writeDate();
    std::fprintf(m_pStream, "Debug off\n");
    return true;
}

void CalibrationWriter::writeSetting(const Setting& rSetting) const
{
    std::fprintf(m_pStream, rSetting.m_keyword.m_bParagraph ? "\n%s " : "%s ", rSetting.m_keyword.m_pszName);
    std::visit([&](auto field) { writeField(rSetting, field); }, rSetting.m_field);
    std::fputc('\n', m_pStream);
}

void CalibrationWriter::writeField(const Setting&, bool DeviceFreeSettings::*pField) const
{
    std::fputs(onOff(m_rContext.*pField), m_pStream);
}

template<typename Whole>
void CalibrationWriter::writeField(const Setting&, Whole DeviceFreeSettings::*pField) const
{
    std::fprintf(m_pStream, "%d", m_rContext.*pField);
}

void CalibrationWriter::writeField(const Setting& rSetting, double DeviceFreeSettings::*pField) const
{
    const int nDecimals = rSetting.m_keyword.m_nDecimals;
    std::fprintf(m_pStream, "% *.*f", nDecimals + 3, nDecimals, m_rContext.*pField);
}

void CalibrationWriter::writeField(const Setting&, const SettingPair& rPair) const
{
    std::fprintf(m_pStream, "%d %d", m_rContext.*rPair.m_pFirst, m_rContext.*rPair.m_pSecond);
}

void CalibrationWriter::writeField(const Setting&, SettingWord eWord) const
{
    KestrovaRectImgQuality eQuality = KestrovaRectStandard;
    StereoContext::kernelParmsToImageQuality(m_rContext.m_eKernelType, m_rContext.m_nKernelSize, &eQuality);
    std::fputs(eWord == SettingWord::StereoQuality ? kesStereoQltyStr[m_rContext.m_bEnhancedStereo ? 1 : 0]
                                                   : kesRectQltyStr[eQuality],
               m_pStream);
}

bool CalibrationWriter::writeSection2StereoParameters() const
{
    static constexpr const char* sk_apszConfigurations[] = {"L", "2CameraHorizontal", "2CameraVertical"};
    const CLocaleScope scope;
    for (const Setting& rSetting : sk_aSettings) {
        if (*rSetting.m_keyword.m_pszName != '\0') {
            writeSetting(rSetting);
        }
    }
    std::fprintf(m_pStream, "\nCameraConfiguration %s\n", sk_apszConfigurations[m_rContext.m_eCameraConfiguration]);
    return true;
}

bool CalibrationWriter::writeSection3CameraIntrinsics() const
{
    const CLocaleScope scope;
    const StereoContext& r = m_rContext;
    std::fprintf(m_pStream, "FocalLength %6g %6g\n", r.m_dFocalLengthRows, r.m_dFocalLengthCols);
    std::fprintf(m_pStream, "ImageCenter %6g %6g\n", r.m_dImageCenterColFactor, r.m_dImageCenterRowFactor);
    if (r.m_eProduct == ProductHalvorine) {
        std::fprintf(m_pStream, "BaseLine %6g %6g\n", r.m_dBaselineHorizontal, r.m_dBaselineVertical);
    } else {
        std::fprintf(m_pStream, "BaseLine %6g\n", r.m_dBaseline);
    }
    for (const char* const pszToken : {"SHEARANGLE", "SKEWINGMATRIX", "UNSKEWINGMATRIX"}) {
        writeLineForToken(pszToken);
    }
    return true;
}

bool CalibrationWriter::writeCameraBlock(std::size_t& ruLine) const
{
    const CalibrationLines lines = linesOf(m_rContext);
    int nCamera = -1;
    for (; ruLine < lines.size() && lines[ruLine] != "EndCamera"; ++ruLine) {
        const std::string& rLine = lines[ruLine];
        if (rLine.starts_with("RectFactor") || rLine.starts_with("RawFactor")) {
            continue;
        }
        if (rLine.starts_with("Position")) {
            std::array<std::int32_t, 3> anPosition{};
            if (!parseTokenInts("POSITION", lines.subspan(ruLine, 1), anPosition)) {
                return false;
            }
            nCamera = getCameraIdFromPosition(m_rContext.m_eProduct, anPosition);
        }
        std::fprintf(m_pStream, "%s\n", rLine.c_str());
    }
    if (ruLine == lines.size() || nCamera < 0) {
        return false;
    }
    const Camera& rCamera = *m_rContext.m_apCameras[static_cast<std::size_t>(nCamera)];
    double dX = 0.0;
    double dY = 0.0;
    rCamera.getRectifiedAdjustment(&dX, &dY);
    writeAdjustment(m_pStream, "RectFactor %6g %6g\n", dX, dY);
    rCamera.getRawAdjustment(&dX, &dY);
    writeAdjustment(m_pStream, "RawFactor %6g %6g\n", dX, dY);
    std::fprintf(m_pStream, "%s\n\n", lines[ruLine].c_str());
    return true;
}

bool CalibrationWriter::writeSection4CameraInternal() const
{
    std::fprintf(m_pStream, "\n");
    const std::vector<std::string>& rLines = linesOf(m_rContext);
    for (std::size_t uLine = 0; uLine < rLines.size(); ++uLine) {
        if (rLines[uLine].starts_with("BeginCamera") && !writeCameraBlock(uLine)) {
            return false;
        }
    }
    return true;
}

bool CalibrationWriter::writeSection5WarpInfo() const
{
    std::fprintf(m_pStream, "\n");
    bool bWarps = false;
    for (const std::string& rLine : linesOf(m_rContext)) {
        bWarps = bWarps || rLine.starts_with("BeginWarp");
        if (bWarps) {
            std::fprintf(m_pStream, "%s\n", rLine.c_str());
        }
    }
    return true;
}

} // namespace kestrova
