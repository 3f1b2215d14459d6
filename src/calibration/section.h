// The keywords of a calibration section outside its blocks: identity, which must be there, and settings, which have
// defaults.
#pragma once

#include "calibration/tokens.h"
#include "kestrova.h"

#include <cstdint>

namespace kestrova {

class StereoContext;

/** What later steps of a load need and the context does not keep as it was read. */
struct SectionValues
{
    KestrovaCameraConfiguration m_eCameraConfiguration = KestrovaCfg3CameraL;
    // An absent DISPARITY leaves a range that every context refuses: a section must name one.
    std::int32_t m_nMinDisparity = -1;
    std::int32_t m_nMaxDisparity = -1;
};

class SectionReader
{
public:
    /** Reads DEBUG first: without "Debug on" nothing is printed. The lines must outlive the reader. */
    explicit SectionReader(CalibrationLines lines);

    /** Version, product name, serial number, lengths, configuration, skewing matrices; false at the first that lacks.
     */
    [[nodiscard]] bool readIdentity(StereoContext& rContext, SectionValues& rValues) const;
    /** All settings. One that is absent, unreadable or out of range stays as it is, with a message. */
    void readSettings(StereoContext& rContext, SectionValues& rValues) const;

    /** Prints a line when messages are on. Always false, so that a failure can be returned with its message. */
    bool say(const char* pszMessage) const;

private:
    template<typename Accept>
    void readInt(const char* pszKeyword, std::int32_t& rField, const char* pszMessage, Accept accept) const;
    template<typename Accept>
    void readDouble(const char* pszKeyword, double& rField, const char* pszMessage, Accept accept) const;
    void readByte(const char* pszKeyword, std::uint8_t& rField, const char* pszMessage) const;
    void readBool(const char* pszKeyword, bool& rField, const char* pszMessage) const;

    bool readLengths(StereoContext& rContext) const;
    bool readConfiguration(KestrovaCameraConfiguration& rConfiguration) const;
    void readMatrices(StereoContext& rContext) const;
    void readValidation(StereoContext& rContext) const;
    void readPipeline(StereoContext& rContext) const;
    void readDisparity(StereoContext& rContext, SectionValues& rValues) const;
    void readResolution(StereoContext& rContext) const;
    void readQualities(StereoContext& rContext) const;

    CalibrationLines m_lines;
    bool m_bDebug = false;
};

} // namespace kestrova
