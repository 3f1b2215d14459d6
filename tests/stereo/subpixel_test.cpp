// The fits and the seeds on numbers worked out by hand.
#include "kernels/row_interpolation.h"
#include "stereo/early_validation.h"
#include "support/rows.h"

#include <gtest/gtest.h>

using namespace kestrova;

namespace {

TEST(RowInterpolation, RejectsInOrder)
{
    const RowInterpolation base{0, 0, 2, 9, 0x12, 0xA1, 0xA2, 0xA3};
    const struct
    {
        std::uint16_t uTextureFlag;
        int nScale;
        std::uint8_t ucFirst, ucLabel;
        std::uint16_t s, a, b, v, uExpected;
    } aCases[] = {
        {100, 0, 2, 5, 10, 20, 30, 99, 0x12A1},        // texture
        {100, 0, 2, 9, 10, 20, 30, 100, 0x12A3},       // the last index
        {0, 0, 2, 2, 10, 20, 30, 0, 0x12A3},           // the first
        {0, 0, 0, 0, 10, 20, 20, 0, 0x0000},           // which 0 is not
        {0, 32768, 2, 5, 10, 20, 30, 20, 0x12A2},      // a tie with the bound
        {0, 32768, 2, 5, 10, 20, 30, 22, 0x0500 - 64}, // below it
        {0, 65536, 2, 5, 10, 20, 30, 40000, 0x12A2},   // 40000 << 16 wraps to a negative bound
        {0, -1, 2, 5, 10, 20, 30, 0, 0x0500 - 64},     // no test
        {0, 0, 2, 5, 21, 20, 30, 0, 0x12A3},           // no minimum, on either side
        {0, 0, 2, 5, 31, 40, 30, 0, 0x12A3},           {0, 0, 2, 5, 32767, 40000, 40000, 0, 0x12A3}, // never seen
        {0, 0, 0, 0, 10, 20, 30, 0, 0x10000 - 64}, // a negative fraction of index 0 wraps
        {0, 0, 2, 5, 4, 9, 4, 0, 0x0500 + 128},    // halves, both ways
        {0, 0, 2, 5, 4, 4, 9, 0, 0x0500 - 128},        {0, 0, 2, 5, 5, 5, 5, 0, 0x12A3}, // flat
        {0, 0, 2, 5, 9, 6000, 100, 0, 0x0500 + 126},
    };
    for (const auto& r : aCases) {
        RowInterpolation settings = base;
        settings.m_uTextureFlag = r.uTextureFlag;
        settings.m_nUniquenessScale = r.nScale;
        settings.m_ucFirstIndex = r.ucFirst;
        std::uint16_t uOut = 0;
        row_interpolation(&uOut, 1, &r.s, &r.a, &r.b, &r.ucLabel, &r.v, settings);
        EXPECT_EQ(r.uExpected, uOut) << "case " << &r - aCases;
    }
}

// Flat views at some distance from 128, so that the measure is known: 9 * 10 for a mask of 3.
TEST(EarlyValidation, SeedsByThresholdsMaskAndCameras)
{
    const struct
    {
        int K, m;
        float fTexture, fUniqueness;
        int nDistance;
        std::uint16_t uScore;
        std::uint8_t ucLabel;
    } aCases[] = {
        {2, 3, 0.0F, 0.0F, 10, 32767, 'u'},                                     // no test at all
        {2, 3, 10.0F, 0.0F, 10, 32767, 't'},                                    // equal to the threshold passes
        {2, 3, 10.2F, 0.0F, 10, 0, 't'},     {2, 3, 0.01F, 0.0F, 10, 255, 't'}, // a threshold that rounds to 0
        {2, 3, 10.0F, 0.5F, 10, 45, 'u'},    {2, 3, 10.2F, 0.5F, 10, 0, 't'},
        {2, 3, 0.0F, 0.5F, 10, 45, 'u'},     {3, 7, 0.0F, 0.5F, 10, 490, 'u'}, // two pairs: twice the share
        {3, 17, 0.0F, 0.5F, 10, 1445, 'u'},                                    // which large masks average
        {1, 3, 0.0F, 0.5F, 10, 255, 't'},                                      // no pair: no share
    };
    for (const auto& r : aCases) {
        const int nSize = r.m + 4;
        Image<unsigned char> views[3] = {Image<unsigned char>(nSize, nSize), Image<unsigned char>(nSize, nSize),
                                         Image<unsigned char>(nSize, nSize)};
        views[0].init(static_cast<unsigned char>(128 - r.nDistance));
        Image<unsigned short> score(5, 5);
        Image<unsigned char> label(5, 5);
        earlyValidation(score, label, views, {r.K, r.m, r.fTexture, 't', r.fUniqueness, 'u'});
        EXPECT_EQ(std::vector<unsigned short>(25, r.uScore), support::pixelsOf(score)) << "case " << &r - aCases;
        EXPECT_EQ(std::vector<unsigned char>(25, r.ucLabel), support::pixelsOf(label)) << "case " << &r - aCases;
    }
}

} // namespace
