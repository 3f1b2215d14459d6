#include "session/StereoSettings.h"

#include "basics/AppError.h"
#include "basics/Units.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace kestrova::app {

// ---- setters and getters of different types, brought to one form ----

template<auto Set>
static KestrovaError setWhole(KestrovaContext context, double dValue)
{
    return Set(context, static_cast<int>(dValue)); // a whole number in the range of int: see parseValue
}

template<auto Set>
static KestrovaError setReal(KestrovaContext context, double dValue)
{
    return Set(context, static_cast<float>(dValue));
}

template<typename Word, auto Set>
static KestrovaError setWord(KestrovaContext context, double dValue)
{
    return Set(context, static_cast<Word>(static_cast<int>(dValue)));
}

static KestrovaError checkByte(double dValue)
{
    return dValue < 0 || dValue > 255 ? KestrovaErrorInvalidSetting
                                      : KestrovaErrorOk; // the library keeps the low 8 bits
}

template<auto Set>
static KestrovaError setByte(KestrovaContext context, double dValue)
{
    const KestrovaError error = checkByte(dValue);
    return error == KestrovaErrorOk ? setWhole<Set>(context, dValue) : error;
}

template<typename Value, auto Get>
static double get(KestrovaContext context)
{
    Value value{};
    Get(context, &value);
    return static_cast<double>(value);
}

const std::vector<Setting>& allSettings()
{
    using enum SettingKind;
    static constexpr const char* sk_pszSwitch = "on, off";
    static constexpr const char* sk_pszByte = "0 to 255";
    static const std::vector<Setting> s_settings{
        {"edge-correlation", Switch, "match edge images rather than grey ones", sk_pszSwitch, "on",
         setWhole<kestrovaSetEdgeCorrelation>, get<int, kestrovaGetEdgeCorrelation>},
        {"lowpass", Switch, "smooth raw frames that are shrunk", sk_pszSwitch, "on", setWhole<kestrovaSetLowpass>,
         get<int, kestrovaGetLowpass>},
        {"rectify", Switch, "rectify; when off, frames must have the size of the rectified images", sk_pszSwitch, "on",
         setWhole<kestrovaSetRectify>, get<int, kestrovaGetRectify>},
        {"rectification", Rectification,
         "resampling: fast takes the nearest pixel, standard is bilinear, the enhanced ones are sinc kernels of 3 by 3 "
         "and 5 by 5 pixels",
         "", "standard", setWord<KestrovaRectImgQuality, kestrovaSetRectImgQuality>,
         get<KestrovaRectImgQuality, kestrovaGetRectImgQuality>},
        {"quality", Quality, "enhanced matches twice, half a pixel apart, against furrows in 16-bit disparity", "",
         "standard", setWord<KestrovaStereoQuality, kestrovaSetStereoQuality>,
         get<KestrovaStereoQuality, kestrovaGetStereoQuality>},
        {"edge-mask", Whole, "side of the edge filter in pixels", "odd, 3 to 11", "7", setWhole<kestrovaSetEdgeMask>,
         get<int, kestrovaGetEdgeMask>},
        {"stereo-mask", Whole, "side of the correlation window in pixels", "odd, 1 to 23", "7",
         setWhole<kestrovaSetStereoMask>, get<int, kestrovaGetStereoMask>},
        {"texture-validation", Switch, "reject windows with too little signal", sk_pszSwitch, "on",
         setWhole<kestrovaSetTextureValidation>, get<int, kestrovaGetTextureValidation>},
        {"texture-threshold", Real, "mean edge strength that a window must exceed", "0 to 128", "0.5",
         setReal<kestrovaSetTextureValidationThreshold>, get<float, kestrovaGetTextureValidationThreshold>},
        {"texture-mapping", Whole, "byte of pixels without texture", sk_pszByte, "255",
         setByte<kestrovaSetTextureValidationMapping>, get<std::uint8_t, kestrovaGetTextureValidationMapping>},
        {"uniqueness-validation", Switch, "reject matches that are poor for their signal", sk_pszSwitch, "on",
         setWhole<kestrovaSetUniquenessValidation>, get<int, kestrovaGetUniquenessValidation>},
        {"uniqueness-threshold", Real, "largest share of difference in the signal of a match", "0 to 10", "0.5",
         setReal<kestrovaSetUniquenessValidationThreshold>, get<float, kestrovaGetUniquenessValidationThreshold>},
        {"uniqueness-mapping", Whole, "byte of pixels without a unique match", sk_pszByte, "254",
         setByte<kestrovaSetUniquenessValidationMapping>, get<std::uint8_t, kestrovaGetUniquenessValidationMapping>},
        {"back-forth-validation", Switch, "reject matches that the way back does not confirm", sk_pszSwitch, "off",
         setWhole<kestrovaSetBackForthValidation>, get<int, kestrovaGetBackForthValidation>},
        {"back-forth-mapping", Whole, "byte of pixels that fail the way back", sk_pszByte, "251",
         setByte<kestrovaSetBackForthValidationMapping>, get<std::uint8_t, kestrovaGetBackForthValidationMapping>},
        {"surface-validation", Switch, "reject small surfaces", sk_pszSwitch, "on",
         setWhole<kestrovaSetSurfaceValidation>, get<int, kestrovaGetSurfaceValidation>},
        {"surface-size", Whole, "pixels that a surface must have", "0 or more", "200",
         setWhole<kestrovaSetSurfaceValidationSize>, get<int, kestrovaGetSurfaceValidationSize>},
        {"surface-difference", Real, "largest step between neighbours of one surface, in pixels", "0 or more", "1",
         setReal<kestrovaSetSurfaceValidationDifference>, get<float, kestrovaGetSurfaceValidationDifference>},
        {"surface-mapping", Whole, "byte of pixels of small surfaces", sk_pszByte, "252",
         setByte<kestrovaSetSurfaceValidationMapping>, get<std::uint8_t, kestrovaGetSurfaceValidationMapping>},
        {"subpixel-mapping", Whole, "byte of pixels without a fit, and of rims", sk_pszByte, "253",
         setByte<kestrovaSetSubpixelValidationMapping>, get<std::uint8_t, kestrovaGetSubpixelValidationMapping>},
        {"strict-subpixel", Switch, "kept for older calibrations, without effect", sk_pszSwitch, "off",
         setWhole<kestrovaSetStrictSubpixelValidation>, get<int, kestrovaGetStrictSubpixelValidation>},
        {"disparity-mapping", Switch, "spread the range over bytes in the 8-bit image", sk_pszSwitch, "off",
         setWhole<kestrovaSetDisparityMappingOn>, get<int, kestrovaGetDisparityMappingOn>},
    };
    return s_settings;
}

std::string helpOf(const Setting& rSetting)
{
    const std::string range = *rSetting.m_pszRange != '\0' ? std::string(": ") + rSetting.m_pszRange : "";
    return rSetting.m_pszWhat + range + " (default " + rSetting.m_pszDefault + ")";
}

const std::vector<std::string>& wordsOf(SettingKind eKind)
{
    static const std::vector<std::string> s_switch{"off", "on"};
    static const std::vector<std::string> s_quality{"standard", "enhanced"};
    static const std::vector<std::string> s_rectification{"fast", "standard", "enhanced1", "enhanced2"};
    static const std::vector<std::string> s_none;
    return eKind == SettingKind::Switch          ? s_switch
           : eKind == SettingKind::Quality       ? s_quality
           : eKind == SettingKind::Rectification ? s_rectification
                                                 : s_none;
}

const std::vector<Preset>& allPresets()
{
    static const std::map<std::string, std::string> s_defaults{
        {"texture-validation", "on"}, {"texture-threshold", "0.5"}, {"uniqueness-validation", "on"},
        {"surface-validation", "on"}, {"surface-size", "200"},      {"surface-difference", "1"}};
    static const auto s_with = [](std::map<std::string, std::string> values) {
        values.insert(s_defaults.begin(), s_defaults.end());
        return values;
    };
    static const std::vector<Preset> s_presets{
        {"trusted",
         "the defaults of the library (of the demo's textured surfaces 90.0 % found, 99.95 % of these within a pixel; "
         "of the aloe pair 59.0 %, 98.2 %)",
         s_with({{"uniqueness-threshold", "0.5"}, {"back-forth-validation", "off"}})},
        {"dense", "uniqueness 1.0 and the way back on (demo 94.0 %, 99.7 %; aloe 71.4 %, 96.0 %)",
         s_with({{"uniqueness-threshold", "1.0"}, {"back-forth-validation", "on"}})}};
    return s_presets;
}

// ---- applying ----

static double parseValue(const Setting& rSetting, const std::string& rText)
{
    const std::vector<std::string>& rWords = wordsOf(rSetting.m_eKind);
    if (const auto word = std::find(rWords.begin(), rWords.end(), rText); word != rWords.end())
        return static_cast<double>(word - rWords.begin());
    char* pEnd = nullptr;
    const double dValue = std::strtod(rText.c_str(), &pEnd);
    const bool bNumber = !rText.empty() && *pEnd == '\0' && rWords.empty();
    const bool bWhole = dValue == std::floor(dValue) && std::abs(dValue) <= std::numeric_limits<int>::max();
    if (!bNumber || (rSetting.m_eKind == SettingKind::Whole && !bWhole))
        return std::nan("");
    return dValue;
}

static void applySetting(KestrovaContext context, const Setting& rSetting, const std::string& rText)
{
    const double dValue = parseValue(rSetting, rText);
    if (!std::isnan(dValue) && rSetting.m_pfnSet(context, dValue) == KestrovaErrorOk)
        return;
    std::string words;
    for (const std::string& rWord : wordsOf(rSetting.m_eKind))
        words += (words.empty() ? "" : ", ") + rWord;
    throw AppError(std::string("--") + rSetting.m_pszName + ": '" + rText + "' is refused; " +
                       (words.empty() ? helpOf(rSetting) : "give one of " + words),
                   ExitStatus::Usage);
}

static void require(KestrovaError error, const std::string& rMessage)
{
    if (error != KestrovaErrorOk)
        throw AppError(rMessage, ExitStatus::Usage);
}

static void applyRegions(KestrovaContext context, const SettingWishes& rWishes)
{
    KestrovaROI* pRegions = nullptr;
    int nMost = 0;
    require(kestrovaGetROIs(context, &pRegions, &nMost), "--region: refused");
    const int nCount = static_cast<int>(rWishes.m_regions.size());
    require(kestrovaSetNumberOfROIs(context, nCount), "--region: at most " + std::to_string(nMost) + " regions");
    cv::Size image;
    require(kestrovaGetResolution(context, &image.height, &image.width), "--region: refused");
    for (const auto& [nRow, nCol, nRows, nCols] : rWishes.m_regions) {
        if (nRow < 0 || nCol < 0 || nRows < 1 || nCols < 1 || nRow >= image.height || nCol >= image.width)
            throw AppError("--region: needs a first row and column within the rectified image and at least one of each",
                           ExitStatus::Usage);
        *pRegions++ = {nRow, nCol, nRows, nCols};
    }
}

// What the preset says, and over it what was asked for by name.
static std::map<std::string, std::string> valuesOf(const SettingWishes& rWishes)
{
    std::map<std::string, std::string> values = rWishes.m_values;
    for (const Preset& rPreset : allPresets())
        if (rWishes.m_preset == rPreset.m_pszName)
            values.insert(rPreset.m_values.begin(), rPreset.m_values.end());
    return values;
}

static void applyDepth(KestrovaContext context, const DepthRange& rDepth)
{
    float fFocal = 0.0f;
    float fBaseline = 0.0f;
    cv::Vec2i now;
    require(kestrovaGetFocalLength(context, &fFocal), "--near, --far: no focal length");
    require(kestrovaGetBaseline(context, &fBaseline), "--near, --far: no baseline");
    require(kestrovaGetDisparity(context, &now[0], &now[1]), "--near, --far: no disparity");
    const cv::Vec2i range = disparityOf(rDepth, static_cast<double>(fFocal) * fBaseline, now);
    require(kestrovaSetDisparity(context, range[0], range[1]),
            "--near: " + std::to_string(range[1]) +
                " pixels of disparity and the window do not fit into the image; choose a farther --near");
}

static void applyRange(KestrovaContext context, const SettingWishes& rWishes)
{
    const bool bDepth = rWishes.m_depth.m_dNear || rWishes.m_depth.m_dFar;
    if (bDepth && !rWishes.m_anDisparity.empty())
        throw AppError("--near and --far say in metres what --disparity says in pixels; give one or the other",
                       ExitStatus::Usage);
    if (bDepth)
        applyDepth(context, rWishes.m_depth);
    if (!rWishes.m_anDisparity.empty())
        require(kestrovaSetDisparity(context, rWishes.m_anDisparity.at(0), rWishes.m_anDisparity.at(1)),
                std::string("--disparity: needs ") + sk_pszDisparityRule + ", and MAX + window within the image");
}

void applySettings(KestrovaContext context, const SettingWishes& rWishes)
{
    if (rWishes.m_resolution) { // first: the disparity range is checked against it
        const cv::Size size = parseSize(*rWishes.m_resolution, "--resolution");
        const std::string rule = "--resolution: rectified images must be 4 by 3 and at most 1280 columns wide";
        require(size.width > 1280 ? KestrovaErrorInvalidSetting
                                  : kestrovaSetResolution(context, size.height, size.width),
                rule);
    }
    const std::map<std::string, std::string> values = valuesOf(rWishes);
    for (const Setting& rSetting : allSettings())
        if (const auto found = values.find(rSetting.m_pszName); found != values.end())
            applySetting(context, rSetting, found->second);
    applyRange(context, rWishes);
    if (!rWishes.m_anMapping.empty()) {
        const int nMin = rWishes.m_anMapping.at(0);
        const int nMax = rWishes.m_anMapping.at(1);
        if (nMin < 0 || nMax > 255 || kestrovaSetDisparityMapping(context, nMin, nMax) != KestrovaErrorOk)
            throw AppError(std::string("--mapping-range: needs ") + sk_pszMappingRule, ExitStatus::Usage);
    }
    if (rWishes.m_threads)
        require(kestrovaSetMaxThreadCount(context, *rWishes.m_threads), "--threads: 1 to 255");
    applyRegions(context, rWishes);
}

std::string describeSettings(KestrovaContext context)
{
    std::string text;
    char acLine[200];
    const auto add = [&](const char* pszName, const std::string& rValue) {
        std::snprintf(acLine, sizeof acLine, "  %-24s %s\n", pszName, rValue.c_str());
        text += acLine;
    };
    for (const Setting& rSetting : allSettings()) {
        char acValue[40];
        const double dValue = rSetting.m_pfnGet(context);
        std::snprintf(acValue, sizeof acValue, "%.6g", dValue);
        const std::vector<std::string>& rWords = wordsOf(rSetting.m_eKind);
        const auto nWord = static_cast<std::size_t>(dValue);
        add(rSetting.m_pszName, nWord < rWords.size() ? rWords[nWord] : acValue);
    }
    int nMin = 0;
    int nMax = 0;
    kestrovaGetDisparity(context, &nMin, &nMax);
    add("disparity", std::to_string(nMin) + " to " + std::to_string(nMax) + " pixels");
    std::uint8_t ucMin = 0;
    std::uint8_t ucMax = 0;
    kestrovaGetDisparityMapping(context, &ucMin, &ucMax);
    add("mapping-range", std::to_string(ucMin) + " to " + std::to_string(ucMax));
    return text;
}

} // namespace kestrova::app
