// Options that several commands share.
#include "basics/Units.h"
#include "commands/Commands.h"

namespace kestrova::app {

static const char* const sk_pszSettings = "Settings of the library (the calibration has the rest)";

static void addPresets(CLI::App& rCommand, SettingWishes& rWishes)
{
    std::string help = "values for several settings at once; settings given by name win:";
    std::vector<std::string> names;
    for (const Preset& rPreset : allPresets()) {
        help += std::string(names.empty() ? " " : "; ") + rPreset.m_pszName + ", " + rPreset.m_pszHelp;
        names.emplace_back(rPreset.m_pszName);
    }
    rCommand.add_option("--preset", rWishes.m_preset, help)->check(CLI::IsMember(names))->group(sk_pszSettings);
}

void addSettings(CLI::App& rCommand, SettingWishes& rWishes)
{
    addPresets(rCommand, rWishes);
    for (const Setting& rSetting : allSettings()) {
        std::string type;
        for (const std::string& rWord : wordsOf(rSetting.m_eKind))
            type += (type.empty() ? "" : "|") + rWord;
        const auto note = [&rWishes, pszName = rSetting.m_pszName](const std::string& rValue) {
            rWishes.m_values[pszName] = rValue;
        };
        rCommand.add_option_function<std::string>(std::string("--") + rSetting.m_pszName, note, helpOf(rSetting))
            ->type_name(type.empty() ? "N" : type)
            ->group(sk_pszSettings);
    }
}

void addPlaneOptions(CLI::App& rCommand, PlaneWishes& rWishes)
{
    rCommand
        .add_option("--planes", rWishes.m_nPlanes,
                    "fit the largest planes of the cloud one after the other, and print them")
        ->check(CLI::Range(0, 100))
        ->type_name("N")
        ->capture_default_str();
    rCommand
        .add_option(
            "--plane-tolerance", rWishes.m_dTolerance,
            "how far a point of a plane may be off, in pixels of disparity, because noise is the same in them at any "
            "distance. A pixel is z * z / (f * B) metres of depth")
        ->check(CLI::Range(1e-3, 16.0))
        ->type_name("PIXELS")
        ->capture_default_str();
}

void addFrameSettings(CLI::App& rCommand, SettingWishes& rWishes)
{
    rCommand
        .add_option("--disparity", rWishes.m_anDisparity,
                    std::string("range to search in pixels: ") + sk_pszDisparityRule +
                        " (default: as the calibration says; with --rectified 0 to a fifth of the width)")
        ->type_size(2)
        ->expected(1)
        ->type_name("MIN MAX")
        ->group(sk_pszSettings);
    const auto depth = [&](const char* pszOption, std::optional<double>& rDepth, const char* pszHelp) {
        const auto note = [&rDepth, pszOption](const std::string& rText) { rDepth = parseLength(rText, pszOption); };
        rCommand.add_option_function<std::string>(pszOption, note, pszHelp)->type_name("LENGTH")->group(sk_pszSettings);
    };
    depth("--near", rWishes.m_depth.m_dNear,
          "in place of --disparity: the shortest distance to search, with its unit, such as 0.4m");
    depth("--far", rWishes.m_depth.m_dFar, "the longest distance to search, such as 8m (default: any)");
    rCommand
        .add_option("--mapping-range", rWishes.m_anMapping,
                    std::string("bytes of --disparity-mapping: ") + sk_pszMappingRule + " (default 0 32)")
        ->type_size(2)
        ->expected(1)
        ->type_name("MIN MAX")
        ->group(sk_pszSettings);
    rCommand
        .add_option(
            "--region", rWishes.m_regions,
            "match only here; may be given up to 100 times; tall ones take --threads 1 or 2, since bands that a "
            "region covers from above to below leave it out")
        ->type_name("ROW COL ROWS COLS")
        ->group(sk_pszSettings);
    rCommand.add_option("--resolution", rWishes.m_resolution, "size of the rectified images, 4 by 3, such as 320x240")
        ->type_name("WxH")
        ->group(sk_pszSettings);
    rCommand
        .add_option(
            "--threads", rWishes.m_threads,
            "worker threads: 1 to 255; with --top lowered until the disparity range has room in every band of rows")
        ->type_name("N")
        ->group(sk_pszSettings);
}

} // namespace kestrova::app
