// The settings of a context, a row each: the field, what it takes, its line in a calibration, its name in the comments
// of images and the option of the program.
//
// Setters, the calibration's reader and writer and the comments read these rows; a test holds the program's own table
// against them. Defaults stand at the fields. A row tells all of a setting of one value but what it does; pairs and
// words have rules in code, which the row names.
#pragma once

#include "context/StereoContext.h"

#include <array>
#include <limits>
#include <variant>

namespace kestrova {

/** Both ends are taken. Numbers are compared, so that a not-a-number is in no range. */
struct SettingRange
{
    double m_dLow = 0;
    double m_dHigh = std::numeric_limits<double>::infinity();
    bool m_bOdd = false;

    [[nodiscard]] constexpr bool holds(double dValue) const
    {
        return dValue >= m_dLow && dValue <= m_dHigh && (!m_bOdd || static_cast<std::int64_t>(dValue) % 2 != 0);
    }
};

/** Two numbers that are judged together. */
struct SettingPair
{
    enum class Rule
    {
        DisparityRange, // setDisparityRange, once the resolution is known
        LowBytes,       // setDisparityMapping
        FourByThree     // setResolution
    };
    std::int32_t DeviceFreeSettings::*m_pFirst;
    std::int32_t DeviceFreeSettings::*m_pSecond;
    Rule m_eRule;
};

/** Settings that are told by a word. */
enum class SettingWord
{
    StereoQuality,
    RectificationQuality
};

/** Where a setting is kept, and so of which kind it is. */
using SettingField =
    std::variant<bool DeviceFreeSettings::*, std::uint8_t DeviceFreeSettings::*, std::int32_t DeviceFreeSettings::*,
                 double DeviceFreeSettings::*, SettingPair, SettingWord>;

/** A line of a calibration. */
struct SettingKeyword
{
    const char* m_pszName = "";    // in the letters that are written; read in any
    const char* m_pszDefault = ""; // what a load without it says that it uses the default of
    int m_nRead = 0;               // its place in the order of reading, which is that of the messages
    int m_nDecimals = 0;           // of a real number
    bool m_bParagraph = false;     // written below an empty line
};

/** What a setting has not is empty. */
struct Setting
{
    SettingField m_field;
    SettingRange m_range;    // of a number
    const char* m_pszOption; // of the program
    SettingKeyword m_keyword;
    const char* m_pszComment = ""; // key in the comment of an image; pairs have one for each number
};

/** In the order in which a calibration is written. */
inline constexpr auto sk_aSettings = [] {
    using S = DeviceFreeSettings;
    using Rule = SettingPair::Rule;
    using Word = SettingWord;
    constexpr SettingRange sk_none;
    constexpr SettingRange sk_byte{0, 255};
    constexpr SettingRange sk_zeroOrMore{0};
    // clang-format off
    return std::to_array<Setting>({
        {SettingPair{&S::m_nRows, &S::m_nCols, Rule::FourByThree}, sk_none, "resolution",
         {"Resolution", "resolution setting", 24, 0, true}},
        {&S::m_bLowpass, sk_none, "lowpass",
         {"LowPass", "lowpass setting", 15}, "Smoothing"},
        {&S::m_bRectify, sk_none, "rectify",
         {"Rectify", "rectification setting", 16}},
        {&S::m_bEdgeCorrelation, sk_none, "edge-correlation",
         {"EdgeCorrelation", "edge correlation setting", 18}, "EdgeCorrelation"},
        {&S::m_bDoStereo, sk_none, "",
         {"DoStereo", "dostereo setting", 17}},
        {&S::m_nEdgeMaskSize, {3, 11, true}, "edge-mask",
         {"EdgeMaskSize", "edge mask size setting", 20}, "EdgeMask"},
        {&S::m_nStereoMaskSize, {1, 23, true}, "stereo-mask",
         {"StereoMaskSize", "stereo mask size setting", 19}, "StereoMask"},
        {SettingPair{&S::m_nMinDisparity, &S::m_nMaxDisparity, Rule::DisparityRange}, sk_none, "disparity",
         {"Disparity", "disparity setting", 21, 0, true}},
        {&S::m_bDisparityMappingOn, sk_none, "disparity-mapping",
         {"DisparityMappingOn", "disparity mapping on", 22}, "DisparityMapping"},
        {SettingPair{&S::m_nDisparityMappingMin, &S::m_nDisparityMappingMax, Rule::LowBytes}, sk_none, "mapping-range",
         {"DisparityMapping", "disparity mapping setting", 23}},
        {&S::m_bTextureValidation, sk_none, "texture-validation",
         {"TextureValidation", "texture validation on", 6}, "TextureValidation"},
        {&S::m_dTextureValidationThreshold, {0, 128}, "texture-threshold",
         {"TextureValidationThreshold", "texture validation threshold", 7, 1}, "TextureValidationThreshold"},
        {&S::m_ucTextureValidationMapping, sk_byte, "texture-mapping",
         {"TextureValidationMapping", "texture validation mapping", 8}, "TextureValidationMapping"},
        {&S::m_bUniquenessValidation, sk_none, "uniqueness-validation",
         {"UniqueValidation", "unique validation on", 3}, "UniquenessValidation"},
        {&S::m_dUniquenessValidationThreshold, {0, 10}, "uniqueness-threshold",
         {"UniqueValidationThreshold", "unique validation threshold", 4, 1}, "UniquenessValidationThreshold"},
        {&S::m_ucUniquenessValidationMapping, sk_byte, "uniqueness-mapping",
         {"UniqueValidationMapping", "unique validation mapping", 5}, "UniquenessValidationMapping"},
        {&S::m_bBackForthValidation, sk_none, "back-forth-validation",
         {"BackForthValidation", "back-forth validation on", 1}, "BackForthValidation"},
        {&S::m_ucBackForthValidationMapping, sk_byte, "back-forth-mapping",
         {"BackForthValidationMapping", "back-forth validation mapping", 2}, "BackForthValidationMapping"},
        // Users filter on the messages: the two subpixel switches say that of the surface mapping.
        {&S::m_bSubpixelInterpolation, sk_none, "",
         {"SubPixelInterpolate", "surface validation mapping", 13}},
        {&S::m_bStrictSubpixelValidation, sk_none, "strict-subpixel",
         {"StrictSubpixelValidation", "surface validation mapping", 14}},
        {&S::m_bSurfaceValidation, sk_none, "surface-validation",
         {"SurfaceValidation", "surface validation on", 9}, "SurfaceValidation"},
        {&S::m_ucSurfaceValidationMapping, sk_byte, "surface-mapping",
         {"SurfaceValidationMapping", "surface validation mapping", 12}, "SurfaceValidationMapping"},
        {&S::m_dSurfaceValidationDifference, sk_zeroOrMore, "surface-difference",
         {"SurfaceValidationDifference", "surface validation difference", 11, 2}, "SurfaceValidationDiff"},
        {&S::m_nSurfaceValidationSize, sk_zeroOrMore, "surface-size",
         {"SurfaceValidationSize", "surface validation size", 10}, "SurfaceValidationSize"},
        {&S::m_ucSubpixelValidationMapping, sk_byte, "subpixel-mapping",
         {}},
        {Word::StereoQuality, sk_none, "quality",
         {"StereoQuality", "stereo quality", 25, 0, true}, "StereoQuality"},
        {Word::RectificationQuality, sk_none, "rectification",
         {"RectificationQuality", "rectification quality", 26}, "RectificationQuality"},
    });
    // clang-format on
}();

/** The row of a field or word; one without a row does not compile. */
template<class Field>
consteval const Setting& settingOf(Field field)
{
    for (const Setting& rSetting : sk_aSettings) {
        // By value: under the sanitizers the address of a row is no constant to GCC 12.
        if (std::holds_alternative<Field>(rSetting.m_field) && std::get<Field>(rSetting.m_field) == field) {
            return rSetting;
        }
    }
    throw "a setting without a row";
}

} // namespace kestrova
