// Writes a context back as calibration text.
//
// What is loaded is found in any spelling; what is copied block by block here is found in one spelling only: see
// writeSection4CameraInternal. Numbers are written as in the C locale, as they are read. What reaches the disk is for
// the owner of the stream to ask.
#pragma once

#include <cstdio>
#include <string>

namespace kestrova {

class StereoContext;
enum class SettingWord;
struct DeviceFreeSettings;
struct Setting;
struct SettingPair;

/** The stored lines of the context, each with a newline; false if there are none. */
[[nodiscard]] bool stereoContextWriteDefaultToStream(const StereoContext* pContext, std::FILE* pStream);

/** The text with the settings, adjustments and image centre of the moment. */
class CalibrationWriter
{
public:
    /** Both must outlive the writer. */
    CalibrationWriter(const StereoContext& rContext, std::FILE* pStream);

    /** The five sections in order, up to the first that fails. */
    bool saveToFile() const;

    /** The first stored line whose first token is the keyword, or null. */
    [[nodiscard]] const std::string* getLineForToken(const char* pszToken, bool bIgnoreCase) const;

    /** Identity from the text, the date, messages off; false if version, product or serial number lacks. */
    [[nodiscard]] bool writeSection1GeneralInfo() const;
    [[nodiscard]] bool writeSection2StereoParameters() const;
    /** Lengths to six digits; a value read back differs from the one in memory. */
    [[nodiscard]] bool writeSection3CameraIntrinsics() const;
    /**
     * The camera blocks, with the adjustments of the moment. Blocks are found by exact beginnings of lines; a text in
     * other letters has none, and that is no failure. False, with the text ended there, for a block without a position
     * or one where the product has no camera (a colour camera's may be such).
     */
    [[nodiscard]] bool writeSection4CameraInternal() const;
    /** All from the first warp block to the end of the text, camera blocks between them included. */
    [[nodiscard]] bool writeSection5WarpInfo() const;

private:
    bool writeLineForToken(const char* pszToken) const;
    void writeDate() const;
    void writeSetting(const Setting& rSetting) const;
    // The value, by the kind of the field.
    void writeField(const Setting& rSetting, bool DeviceFreeSettings::*pField) const;
    template<typename Whole>
    void writeField(const Setting& rSetting, Whole DeviceFreeSettings::*pField) const;
    void writeField(const Setting& rSetting, double DeviceFreeSettings::*pField) const;
    void writeField(const Setting& rSetting, const SettingPair& rPair) const;
    void writeField(const Setting& rSetting, SettingWord eWord) const;
    /** Copies the block whose first line this is, and moves the index to its last line. */
    [[nodiscard]] bool writeCameraBlock(std::size_t& ruLine) const;

    const StereoContext& m_rContext;
    std::FILE* m_pStream;
};

} // namespace kestrova
