// The keywords of a calibration section outside its blocks: identity, which must be there, and settings, which have
// defaults.
#pragma once

#include "calibration/tokens.h"
#include "kestrova.h"

#include <cstdint>

namespace kestrova {

class StereoContext;
enum class SettingWord;
struct DeviceFreeSettings;
struct Setting;
struct SettingPair;

class SectionReader
{
public:
    /** Reads DEBUG first: without "Debug on" nothing is printed. The lines must outlive the reader. */
    explicit SectionReader(CalibrationLines lines);

    /**
     * Version, product name, serial number, lengths, configuration, skewing matrices; false at the first that lacks.
     * The configuration is for the caller to judge.
     */
    [[nodiscard]] bool readIdentity(StereoContext& rContext, KestrovaCameraConfiguration& rConfiguration) const;
    /**
     * All settings. One that is absent, unreadable or out of range stays as it is, with a message, but for the range
     * of disparity, which then is one that setDisparityRange refuses. That and the resolution are only stored.
     */
    void readSettings(StereoContext& rContext) const;

    /** Prints a line when messages are on. Always false, so that a failure can be returned with its message. */
    bool say(const char* pszMessage) const;

private:
    bool readLengths(StereoContext& rContext) const;
    bool readConfiguration(KestrovaCameraConfiguration& rConfiguration) const;
    void readMatrices(StereoContext& rContext) const;
    /** Those that are told by words, or all others. */
    void readRows(bool bWords, StereoContext& rContext) const;
    void readSetting(const Setting& rSetting, StereoContext& rContext) const;
    // By the kind of the field; false, and nothing stored, without a value that it takes.
    bool readField(const Setting& rSetting, bool DeviceFreeSettings::*pField, StereoContext& rContext) const;
    template<typename Whole>
    bool readField(const Setting& rSetting, Whole DeviceFreeSettings::*pField, StereoContext& rContext) const;
    bool readField(const Setting& rSetting, double DeviceFreeSettings::*pField, StereoContext& rContext) const;
    bool readField(const Setting& rSetting, const SettingPair& rPair, StereoContext& rContext) const;
    bool readField(const Setting& rSetting, SettingWord eWord, StereoContext& rContext) const;

    CalibrationLines m_lines;
    bool m_bDebug = false;
};

} // namespace kestrova
