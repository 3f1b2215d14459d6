// The program's table of settings against the library's: names, kinds, ranges and defaults, by the public functions.
#include "context/settings.h"

#include "app/program.h"
#include "basics/AppError.h"
#include "session/StereoSettings.h"

#include <cmath>
#include <set>

namespace kestrova::app {

static bool isPair(const kestrova::Setting& rSetting)
{
    return std::holds_alternative<SettingPair>(rSetting.m_field);
}

static SettingKind kindOf(const kestrova::Setting& rSetting)
{
    if (const auto* const pWord = std::get_if<SettingWord>(&rSetting.m_field))
        return *pWord == SettingWord::StereoQuality ? SettingKind::Quality : SettingKind::Rectification;
    if (std::holds_alternative<bool DeviceFreeSettings::*>(rSetting.m_field))
        return SettingKind::Switch;
    return std::holds_alternative<double DeviceFreeSettings::*>(rSetting.m_field) ? SettingKind::Real
                                                                                  : SettingKind::Whole;
}

static std::string number(double dValue)
{
    return std::to_string(static_cast<int>(dValue));
}

// How the program words it.
static std::string rangeText(const kestrova::Setting& rSetting)
{
    const SettingRange& rRange = rSetting.m_range;
    const SettingKind eKind = kindOf(rSetting);
    if (eKind == SettingKind::Switch)
        return "on, off";
    if (eKind != SettingKind::Whole && eKind != SettingKind::Real)
        return "";
    if (std::isinf(rRange.m_dHigh))
        return number(rRange.m_dLow) + " or more";
    return (rRange.m_bOdd ? "odd, " : "") + number(rRange.m_dLow) + " to " + number(rRange.m_dHigh);
}

struct Ends
{
    std::vector<double> m_taken;
    std::vector<double> m_refused;
};

static Ends endsOf(const kestrova::Setting& rSetting)
{
    const SettingRange& rRange = rSetting.m_range;
    const bool bReal = kindOf(rSetting) == SettingKind::Real;
    const auto beyond = [&](double dEnd, double dTowards) { // the next one that the setter's type holds
        return bReal ? std::nextafter(static_cast<float>(dEnd), static_cast<float>(dTowards))
                     : static_cast<float>(dEnd + (dTowards > dEnd ? 1 : -1));
    };
    Ends ends{{rRange.m_dLow, std::min(rRange.m_dHigh, 1e6)}, {beyond(rRange.m_dLow, -1e9)}};
    if (!std::isinf(rRange.m_dHigh))
        ends.m_refused.push_back(beyond(rRange.m_dHigh, 1e9));
    if (rRange.m_bOdd)
        ends.m_refused.push_back(rRange.m_dLow + 1);
    if (bReal)
        ends.m_refused.push_back(std::nan(""));
    return ends;
}

static const kestrova::Setting* libraryRow(const std::string& rOption)
{
    const auto pFound = std::find_if(sk_aSettings.begin(), sk_aSettings.end(),
                                     [&](const kestrova::Setting& r) { return rOption == r.m_pszOption; });
    return pFound != sk_aSettings.end() ? &*pFound : nullptr;
}

struct Settings : Program
{
    Settings() { writeText(m_folder / "c.txt", calibrationText(Room().description())); }
};

TEST_F(Settings, TheProgramTellsWhatTheLibraryTakes)
{
    std::set<std::string> left; // rows of the library that the program has yet to show
    for (const kestrova::Setting& rRow : sk_aSettings)
        if (*rRow.m_pszOption != '\0' && !isPair(rRow))
            left.insert(rRow.m_pszOption);
    for (const Setting& rSetting : allSettings()) {
        SCOPED_TRACE(rSetting.m_pszName);
        const kestrova::Setting* const pRow = libraryRow(rSetting.m_pszName);
        ASSERT_TRUE(pRow != nullptr && left.erase(rSetting.m_pszName) == 1);
        ASSERT_EQ(rSetting.m_eKind, kindOf(*pRow));
        EXPECT_EQ(rSetting.m_pszRange, rangeText(*pRow));

        const StereoSession session(m_folder / "c.txt");
        const KestrovaContext context = session.handle();
        const double dDefault = rSetting.m_pfnGet(context);
        if (wordsOf(rSetting.m_eKind).empty()) {
            EXPECT_EQ(std::stod(rSetting.m_pszDefault), dDefault);
            for (const double dValue : endsOf(*pRow).m_taken) {
                EXPECT_EQ(rSetting.m_pfnSet(context, dValue), KestrovaErrorOk) << dValue;
                EXPECT_EQ(rSetting.m_pfnGet(context), dValue);
            }
            for (const double dValue : endsOf(*pRow).m_refused)
                EXPECT_EQ(rSetting.m_pfnSet(context, dValue), KestrovaErrorInvalidSetting) << dValue;
        } else {
            EXPECT_EQ(rSetting.m_pszDefault, wordsOf(rSetting.m_eKind).at(static_cast<std::size_t>(dDefault)));
            for (std::size_t n = 0; n < wordsOf(rSetting.m_eKind).size(); ++n) {
                EXPECT_EQ(rSetting.m_pfnSet(context, static_cast<double>(n)), KestrovaErrorOk);
                EXPECT_EQ(rSetting.m_pfnGet(context), static_cast<double>(n));
            }
        }
    }
    EXPECT_EQ(left, std::set<std::string>());
}

TEST_F(Settings, ThePairsAreOptionsWithTheRulesOfTheLibrary)
{
    const StereoSession session(m_folder / "c.txt");
    const KestrovaContext context = session.handle();
    constexpr int sk_nLast = StereoContext::sk_nMaxDisparity;
    constexpr int sk_nWidth = StereoContext::sk_nMaxDisparityWidth;
    EXPECT_EQ(sk_pszDisparityRule,
              "0 <= MIN < MAX <= " + number(sk_nLast) + ", at most " + number(sk_nWidth) + " apart");
    ASSERT_EQ(kestrovaSetResolution(context, 960, 1280), KestrovaErrorOk);
    const auto takes = [&](const SettingWishes& rWishes) {
        try {
            applySettings(context, rWishes);
        } catch (const AppError&) {
            return false;
        }
        return true;
    };
    const auto disparity = [&](int nMin, int nMax) { return takes({.m_values = {}, .m_anDisparity = {nMin, nMax}}); };
    EXPECT_TRUE(disparity(0, sk_nWidth) && disparity(sk_nLast - sk_nWidth, sk_nLast));
    EXPECT_FALSE(disparity(0, sk_nWidth + 1) || disparity(sk_nLast - sk_nWidth + 1, sk_nLast + 1) || disparity(-1, 9));
    const auto mapping = [&](int nMin, int nMax) { return takes({.m_values = {}, .m_anMapping = {nMin, nMax}}); };
    EXPECT_TRUE(mapping(0, 255) && mapping(254, 255));
    EXPECT_FALSE(mapping(0, 256) || mapping(-1, 255) || mapping(5, 5)); // the library would take low bytes
    const std::string help = call("run --help").m_out;
    for (const kestrova::Setting& rRow : sk_aSettings) {
        const std::string option = rRow.m_pszOption;
        EXPECT_TRUE(option.empty() || help.find("--" + option + ' ') != std::string::npos) << option;
    }
}

} // namespace kestrova::app
