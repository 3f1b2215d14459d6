#include "calibration/section.h"

#include "context/settings.h"
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

/** 4 by 3, and pixels can be counted in 32 bits, the rounding of rows to 32 bytes included. */
bool canBeImage(std::int32_t nRows, std::int32_t nCols)
{
    constexpr std::int64_t sk_nSlack = 64;
    return StereoContext::isFourByThree(nRows, nCols) && nRows * (nCols + sk_nSlack) <= INT32_MAX;
}

/** The rows with a keyword, as they are read. */
constexpr auto sk_apAsRead = [] {
    constexpr auto hasKeyword = [](const Setting& r) { return r.m_keyword.m_nRead != 0; };
    std::array<const Setting*, std::ranges::count_if(sk_aSettings, hasKeyword)> apRows{};
    std::size_t uRow = 0;
    for (const Setting& rSetting : sk_aSettings) {
        if (hasKeyword(rSetting)) {
            apRows[uRow++] = &rSetting;
        }
    }
    std::ranges::sort(apRows, {}, [](const Setting* p) { return p->m_keyword.m_nRead; });
    return apRows;
}();
static_assert(std::ranges::adjacent_find(sk_apAsRead, {}, [](const Setting* p) { return p->m_keyword.m_nRead; }) ==
                  sk_apAsRead.end(),
              "two keywords in one place");

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

bool SectionReader::readIdentity(StereoContext& rContext, KestrovaCameraConfiguration& rConfiguration) const
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
    if (!readConfiguration(rConfiguration)) {
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

void SectionReader::readSettings(StereoContext& rContext) const
{
    if (!parseTokenDoubleDouble("IMAGECENTER", m_lines, &rContext.m_dImageCenterColFactor,
                                &rContext.m_dImageCenterRowFactor)) {
        say("Using default image center");
    }
    // An absent DISPARITY leaves a range that every context refuses: a section must name one.
    rContext.m_nMinDisparity = -1;
    rContext.m_nMaxDisparity = -1;
    readRows(false, rContext);
    if (!parseTokenString("RELEASENOTES", m_lines, &rContext.m_pCalibration->m_releaseNotes)) {
        say("No release notes found");
    }
    readRows(true, rContext);
}

void SectionReader::readRows(bool bWords, StereoContext& rContext) const
{
    for (const Setting* const pSetting : sk_apAsRead) {
        if (std::holds_alternative<SettingWord>(pSetting->m_field) == bWords) {
            readSetting(*pSetting, rContext);
        }
    }
}

void SectionReader::readSetting(const Setting& rSetting, StereoContext& rContext) const
{
    const auto read = [&](auto field) { return readField(rSetting, field, rContext); };
    if (!std::visit(read, rSetting.m_field)) {
        say((std::string("Using default ") + rSetting.m_keyword.m_pszDefault).c_str());
    }
}

bool SectionReader::readField(const Setting& rSetting, bool DeviceFreeSettings::*pField, StereoContext& rContext) const
{
    return parseTokenBool(rSetting.m_keyword.m_pszName, m_lines, &(rContext.*pField));
}

template<typename Whole>
bool SectionReader::readField(const Setting& rSetting, Whole DeviceFreeSettings::*pField, StereoContext& rContext) const
{
    std::int32_t nValue = 0;
    if (!parseTokenInt(rSetting.m_keyword.m_pszName, m_lines, &nValue) || !rSetting.m_range.holds(nValue)) {
        return false;
    }
    rContext.*pField = static_cast<Whole>(nValue);
    return true;
}

bool SectionReader::readField(const Setting& rSetting, double DeviceFreeSettings::*pField,
                              StereoContext& rContext) const
{
    double dValue = 0.0;
    if (!parseTokenDouble(rSetting.m_keyword.m_pszName, m_lines, &dValue) || !rSetting.m_range.holds(dValue)) {
        return false;
    }
    rContext.*pField = dValue;
    return true;
}

bool SectionReader::readField(const Setting& rSetting, const SettingPair& rPair, StereoContext& rContext) const
{
    std::int32_t nFirst = 0;
    std::int32_t nSecond = 0;
    if (!parseTokenIntInt(rSetting.m_keyword.m_pszName, m_lines, &nFirst, &nSecond)) {
        return false;
    }
    if (rPair.m_eRule == SettingPair::Rule::LowBytes) {
        return rContext.setDisparityMapping(nFirst, nSecond);
    }
    if (rPair.m_eRule == SettingPair::Rule::FourByThree && !canBeImage(nFirst, nSecond)) {
        return false;
    }
    // Only stored here: the load ends with setResolution and setDisparityRange, which compute what follows.
    rContext.*rPair.m_pFirst = nFirst;
    rContext.*rPair.m_pSecond = nSecond;
    return true;
}

bool SectionReader::readField(const Setting& rSetting, SettingWord eWord, StereoContext& rContext) const
{
    std::string text;
    if (!parseTokenString(rSetting.m_keyword.m_pszName, m_lines, &text)) {
        return false;
    }
    if (eWord == SettingWord::StereoQuality) {
        rContext.m_bEnhancedStereo = text.starts_with("Enhanced");
    } else {
        StereoContext::imageQualityToKernelParms(qualityFromText(text.c_str()), &rContext.m_eKernelType,
                                                 &rContext.m_nKernelSize);
    }
    return true;
}

} // namespace kestrova
