// What the correlators, and what follows them, read of a context: of its many fields these and no others.
#pragma once

#include "image/Image.h"

#include <cstdint>

namespace kestrova {

class StereoContext;

/** A test of a pixel, and the code that one shows which fails. */
struct ValidationTest
{
    bool m_bOn;
    double m_dThreshold;
    std::uint8_t m_ucCode;

    [[nodiscard]] double thresholdOr(double dOff) const { return m_bOn ? m_dThreshold : dOff; }
};

struct CorrelationSettings
{
    [[nodiscard]] static CorrelationSettings of(const StereoContext& rContext);

    /** Without edge images labels are not tested: the measure is the distance from an edge image's zero level. */
    [[nodiscard]] bool testsLabels() const { return m_bEdgeImages && (m_texture.m_bOn || m_uniqueness.m_bOn); }

    ImageDim m_frame;
    std::int32_t m_nMinDisparity;
    std::int32_t m_nMaxDisparity;
    std::int32_t m_nDisparityOffset; // what labels have subtracted
    std::int32_t m_nMask;            // side of the window
    std::int32_t m_nEdgeMask;
    bool m_bEdgeImages;
    bool m_bSubpixel; // 16-bit results in place of 8-bit ones
    bool m_bMapping;  // of labels, onto the range that follows
    std::int32_t m_nMappingMin;
    std::int32_t m_nMappingMax;
    ValidationTest m_texture;
    ValidationTest m_uniqueness;
    bool m_bBackForth;
    std::uint8_t m_ucBackForthCode;
    std::uint8_t m_ucInvalid; // no match, and the fill
};

/** Where results go. */
struct DisparityImages
{
    [[nodiscard]] static DisparityImages of(StereoContext& rContext);
    [[nodiscard]] ImageDim size(bool bSubpixel) const { return bSubpixel ? m_r16.size() : m_r8.size(); }

    Image<unsigned char>& m_r8;
    Image<unsigned short>& m_r16;
};

} // namespace kestrova
