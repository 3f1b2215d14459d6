// The settings of the library as a table: name, what it does, range and default for the help, a setter and a getter.
//
// The commands make one option of each row; info prints each row. The ranges are the library's to judge; a test holds
// what is told here against its table and its setters.
#pragma once

#include "cameras/DepthRange.h"

#include <kestrova.h>

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace kestrova::app {

enum class SettingKind
{
    Switch,        // off, on
    Quality,       // words, as wordsOf gives them
    Rectification, // likewise
    Whole,
    Real
};

struct Setting
{
    const char* m_pszName; // long option without the dashes
    SettingKind m_eKind;
    const char* m_pszWhat;    // what it does
    const char* m_pszRange;   // what it takes; empty where the words tell
    const char* m_pszDefault; // before a calibration says otherwise
    KestrovaError (*m_pfnSet)(KestrovaContext, double);
    double (*m_pfnGet)(KestrovaContext);
};

const std::vector<Setting>& allSettings();

/// What it does, then range and default.
std::string helpOf(const Setting& rSetting);

/// The rules of the two ranges, for the help and for refusals.
inline constexpr const char* sk_pszDisparityRule = "0 <= MIN < MAX <= 1024, at most 240 apart";
inline constexpr const char* sk_pszMappingRule = "0 <= MIN < MAX <= 255";

/// The values of a setting that takes words, the first standing for 0; none for numbers.
const std::vector<std::string>& wordsOf(SettingKind eKind);

/// Values for several settings at once, under a name.
struct Preset
{
    const char* m_pszName;
    const char* m_pszHelp;
    std::map<std::string, std::string> m_values;
};
const std::vector<Preset>& allPresets();

/// What was asked for on the command line; all else stays as the calibration has it.
struct SettingWishes
{
    std::map<std::string, std::string> m_values; // by name of the setting
    std::vector<int> m_anDisparity = {};         // minimum, maximum
    std::vector<int> m_anMapping = {};
    std::vector<std::tuple<int, int, int, int>> m_regions = {}; // row, column, rows, columns
    std::optional<std::string> m_resolution = {};               // of the rectified images
    std::optional<int> m_threads = {};
    DepthRange m_depth = {};                  // another way to say the disparity
    std::optional<std::string> m_preset = {}; // m_values win over it
};

/// Throws AppError that names the option and its range when the library refuses a value.
void applySettings(KestrovaContext context, const SettingWishes& rWishes);

/// One line per setting.
std::string describeSettings(KestrovaContext context);

} // namespace kestrova::app
