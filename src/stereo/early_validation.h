// Texture and uniqueness in the general correlator: seeds for the running minimum, which a disparity has to beat.
#pragma once

#include "image/Image.h"

#include <cstdint>

namespace kestrova {

/** The tests of a frame: K images, windows of m by m; a threshold of 0 or below switches its test off. */
struct EarlyTests
{
    int m_nImages;
    int m_nMask;
    float m_fTexture;
    std::uint8_t m_ucTextureMapping;
    float m_fUniqueness;
    std::uint8_t m_ucUniquenessMapping;
};

/**
 * Fills score and label with the seeds of a frame, from the texture of the reference view views[0].
 *
 * A seed of 0 cannot be beaten: the pixel keeps the texture mapping. Any other keeps the uniqueness mapping until a
 * lower score comes; an equal one rejects. Does nothing if the images or the mask are below 1 or views is null.
 */
void earlyValidation(Image<unsigned short>& rScore, Image<unsigned char>& rLabel, const Image<unsigned char>* pViews,
                     const EarlyTests& rTests);

/** The scaled thresholds of a frame, and how one row of it is seeded. */
struct EarlySeeds
{
    static EarlySeeds make(const EarlyTests& rTests);

    /** pScore holds the texture measures before, unless no test is on. */
    void seed(std::uint16_t* pScore, std::uint8_t* pLabel, unsigned n) const;

    bool m_bTests;
    std::uint16_t m_uTexture;
    std::uint8_t m_ucTextureMapping;
    int m_nUniqueness;
    std::uint8_t m_ucUniquenessMapping;
};

/** Turns one row of texture measures into seeds. uTexture and nUniqueness are the scaled thresholds. */
void early_validation(std::uint16_t* pScore, std::uint8_t* pLabel, unsigned n, std::uint16_t uTexture,
                      std::uint8_t ucTextureMapping, int nUniqueness, std::uint8_t ucUniquenessMapping);

} // namespace kestrova
