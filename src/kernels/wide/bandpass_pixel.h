// Single pixels of row_bandpass_op.
#pragma once

#include "image/pixels.h"

namespace kestrova {
namespace {

struct BandpassFactors
{
    int m_nCentre;
    int m_nSum;
};

/** Wrapping: factors of a large gain leave 32 bits. */
int mulShift16(int nPixel, int nFactor)
{
    return static_cast<int>(static_cast<unsigned>(nPixel) * static_cast<unsigned>(nFactor)) >> 16;
}

std::uint8_t bandpass1(std::uint8_t ucPixel, std::int16_t nSum, const BandpassFactors& rFactors)
{
    return static_cast<std::uint8_t>(mulShift16(ucPixel, rFactors.m_nCentre) + mulShift16(nSum, rFactors.m_nSum) +
                                     sk_ucEdgeZero);
}

} // namespace
} // namespace kestrova
