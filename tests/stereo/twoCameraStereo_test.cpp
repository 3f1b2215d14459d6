#include "stereo/twoCameraStereo.h"

#include "api/StereoContext.h"
#include "stereo/processor.h"
#include "stereo/twofast.h"
#include "stereo/twofast_subpix.h"
#include "support/NaiveCorrelator.h"
#include "support/rows.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

using namespace kestrova;

namespace {

using Bytes = Image<unsigned char>;

/** The pair of images, in memory without any slack, so that a read past a last row is found by the sanitizer. */
struct Pair
{
    std::vector<unsigned char> m_aPixels[2];
    Bytes m_aViews[2];
};

enum class Texture
{
    Noise,
    Shifted,
    Faint,
    BlackAndWhite
};

Pair makePair(std::mt19937& rRandom, int nRows, int nCols, Texture eTexture, int nShift)
{
    Pair pair;
    const auto value = [&]() -> unsigned char {
        const auto u = static_cast<unsigned>(rRandom());
        switch (eTexture) {
        case Texture::Faint: // ties everywhere, texture next to none
            return static_cast<unsigned char>(127 + u % 3);
        case Texture::BlackAndWhite: // large sums: these wrap
            return u % 5 == 0 ? 0 : 255;
        default:
            return static_cast<unsigned char>(u);
        }
    };
    for (auto& rPixels : pair.m_aPixels) {
        rPixels.resize(static_cast<std::size_t>(nRows) * static_cast<std::size_t>(nCols));
        std::generate(rPixels.begin(), rPixels.end(), value);
    }
    if (eTexture == Texture::Shifted) { // matches inside the range, with a little noise for the fractions
        for (std::size_t i = static_cast<std::size_t>(nShift); i < pair.m_aPixels[1].size(); ++i) {
            const int nPixel = pair.m_aPixels[0][i - static_cast<std::size_t>(nShift)];
            pair.m_aPixels[1][i] = static_cast<unsigned char>((nPixel * 3 + pair.m_aPixels[1][i]) / 4);
        }
    }
    for (int i = 0; i < 2; ++i) {
        pair.m_aViews[i] = Bytes(nRows, nCols, pair.m_aPixels[i].data());
    }
    return pair;
}

/** Leaves the processor's own form behind. */
struct FormSwitch
{
    explicit FormSwitch(bool bSSE2) { enableSSE2IfAvailable(bSSE2); }
    ~FormSwitch() { enableSSE2IfAvailable(true); }
};

std::string settingsText(const StereoContext& r)
{
    std::ostringstream text;
    text << r.m_nRows << "x" << r.m_nCols << " mask " << r.m_nStereoMaskSize << " edge " << r.m_bEdgeCorrelation << "/"
         << r.m_nEdgeMaskSize << " range " << r.m_nMinDisparity << ".." << r.m_nMaxDisparity << "-"
         << r.m_nDisparityOffset << " mapping " << r.m_bDisparityMappingOn << " " << r.m_nDisparityMappingMin << ".."
         << r.m_nDisparityMappingMax << " 16-bit " << r.m_bSubpixelInterpolation << " texture "
         << r.m_bTextureValidation << "/" << r.m_dTextureValidationThreshold << " uniqueness "
         << r.m_bUniquenessValidation << "/" << r.m_dUniquenessValidationThreshold << " back-forth "
         << r.m_bBackForthValidation << " codes " << +r.m_ucTextureValidationMapping << " "
         << +r.m_ucUniquenessValidationMapping << " " << +r.m_ucBackForthValidationMapping << " "
         << +r.m_ucSubpixelValidationMapping;
    for (int i = 0; i < r.m_nROICount; ++i) {
        const KestrovaROI& rROI = r.m_aROIs[static_cast<std::size_t>(i)];
        text << " [" << rROI.m_nRowOffset << "," << rROI.m_nColOffset << " " << rROI.m_nRows << "x" << rROI.m_nCols
             << "]";
    }
    return text.str();
}

void runRegions(StereoContext& rContext, const Pair& rPair)
{
    clearDisparityImages(rContext);
    for (int i = 0; i < rContext.m_nROICount; ++i) {
        ASSERT_EQ(KestrovaErrorOk,
                  twoCameraStereo(rContext, rContext.m_aROIs[static_cast<std::size_t>(i)], rPair.m_aViews));
    }
}

void expectAsModel(StereoContext& rContext, const Pair& rPair, bool bSSE2)
{
    const FormSwitch form(bSSE2);
    const std::uint8_t ucFill = rContext.m_ucSubpixelValidationMapping;
    Bytes expected8(rContext.m_nRows, rContext.m_nCols);
    Image<unsigned short> expected16(rContext.m_nRows, rContext.m_nCols);
    expected8.init(ucFill);
    expected16.init(static_cast<unsigned short>(0xFF00 + ucFill));
    support::NaiveCorrelator model(rContext, rPair.m_aViews, bSSE2);
    for (int i = 0; i < rContext.m_nROICount; ++i) {
        model.run(rContext.m_aROIs[static_cast<std::size_t>(i)], expected8, expected16);
    }
    runRegions(rContext, rPair);
    for (int nRow = 0; nRow < rContext.m_nRows; ++nRow) {
        for (int nCol = 0; nCol < rContext.m_nCols; ++nCol) {
            ASSERT_EQ(+expected8[nRow][nCol], +rContext.m_disparityImage[nRow][nCol])
                << "8-bit at " << nRow << "," << nCol << (bSSE2 ? " sse2 " : " mmx ") << settingsText(rContext);
            ASSERT_EQ(expected16[nRow][nCol], rContext.m_disparityImage16[nRow][nCol])
                << "16-bit at " << nRow << "," << nCol << (bSSE2 ? " sse2 " : " mmx ") << settingsText(rContext);
        }
    }
}

template<typename T, std::size_t N>
T pick(std::mt19937& rRandom, const T (&aValues)[N])
{
    return aValues[rRandom() % N];
}

bool coin(std::mt19937& rRandom)
{
    return rRandom() % 2 == 0;
}

int between(std::mt19937& rRandom, int nLow, int nHigh)
{
    return nLow + static_cast<int>(rRandom() % static_cast<unsigned>(nHigh - nLow + 1));
}

// Codes are the usual ones, or anything: below the labels, among them, between them and the codes.
std::uint8_t code(std::mt19937& rRandom, bool bUsual, int nUsual)
{
    return static_cast<std::uint8_t>(bUsual ? nUsual : pick(rRandom, {0, 3, 17, 200, 240, 241, 249, 250, 255}));
}

void randomSettings(std::mt19937& rRandom, StereoContext& r)
{
    const bool bUsual = rRandom() % 3 != 0;
    r.m_bEdgeCorrelation = rRandom() % 4 != 0;
    r.m_nEdgeMaskSize = pick(rRandom, {3, 7});
    r.m_nMinDisparity = pick(rRandom, {0, 0, 1, 5, 13});
    r.m_nMaxDisparity = r.m_nMinDisparity + pick(rRandom, {1, 2, 3, 4, 6, 7, 8, 14, 15, 16, 23, 32, 39});
    r.m_nDisparityOffset = pick(rRandom, {0, 0, 3, 30});
    r.m_nCols = r.m_nMaxDisparity + r.m_nStereoMaskSize + between(rRandom, 0, 35);
    r.m_nRows = r.m_nStereoMaskSize + between(rRandom, 4, 24);
    r.m_bDisparityMappingOn = rRandom() % 4 == 0;
    r.m_nDisparityMappingMin = pick(rRandom, {0, 10});
    r.m_nDisparityMappingMax = pick(rRandom, {32, 255});
    r.m_bSubpixelInterpolation = coin(rRandom);
    r.m_bTextureValidation = coin(rRandom);
    r.m_dTextureValidationThreshold = pick(rRandom, {0.0, 0.5, 3.7, 40.0, 128.0});
    r.m_bUniquenessValidation = coin(rRandom);
    r.m_dUniquenessValidationThreshold = pick(rRandom, {0.0, 0.3, 0.5, 0.9, 2.5, 10.0});
    r.m_bBackForthValidation = coin(rRandom);
    r.m_ucTextureValidationMapping = code(rRandom, bUsual, 255);
    r.m_ucUniquenessValidationMapping = code(rRandom, bUsual, 254);
    r.m_ucBackForthValidationMapping = code(rRandom, bUsual, 251);
    r.m_ucSubpixelValidationMapping = code(rRandom, bUsual, 253);
}

// The whole frame, or a few regions that may lie partly or wholly outside, overlap, or leave little to search.
void randomRegions(std::mt19937& rRandom, StereoContext& r)
{
    r.m_nROICount = pick(rRandom, {1, 1, 2, 3});
    for (int i = 0; i < r.m_nROICount; ++i) {
        r.m_aROIs[static_cast<std::size_t>(i)] = {between(rRandom, -3, r.m_nRows), between(rRandom, -3, r.m_nCols),
                                                  between(rRandom, 0, r.m_nRows), between(rRandom, 1, r.m_nCols)};
    }
    if (coin(rRandom)) {
        r.m_aROIs[0] = {0, 0, r.m_nRows, r.m_nCols};
    }
}

TEST(TwoCameraStereo, MatchesModelOnRandomFrames)
{
    for (unsigned uSeed = 0; uSeed < 1500; ++uSeed) {
        std::mt19937 random(uSeed);
        StereoContext context;
        // Every odd mask by turns, and now and then an even one.
        context.m_nStereoMaskSize =
            uSeed % 13 == 12 ? pick(random, {2, 6, 16}) : static_cast<int>(uSeed % 13 * 2 + 1) % 24;
        randomSettings(random, context);
        randomRegions(random, context);
        const auto eTexture = static_cast<Texture>(random() % 4);
        const int nShift = between(random, context.m_nMinDisparity, context.m_nMaxDisparity);
        const Pair pair = makePair(random, context.m_nRows, context.m_nCols, eTexture, nShift);
        SCOPED_TRACE(testing::Message() << "seed " << uSeed << " texture " << static_cast<int>(eTexture));
        expectAsModel(context, pair, uSeed % 2 == 0);
        ASSERT_FALSE(HasFatalFailure());
    }
}

// Sizes at which something of its own happens: the widest range, and rows beyond the bound of the validated 16-bit
// form.
TEST(TwoCameraStereo, MatchesModelAtItsLimits)
{
    const struct
    {
        int nCols, nMin, nMax, nOffset;
        bool b16, bValidate, bBackForth;
    } aCases[] = {
        {262, 0, 240, 0, false, false, true}, {262, 0, 240, 0, false, true, true},
        {262, 0, 240, 0, true, true, true},   {360, 100, 340, 100, true, false, true},
        {1295, 0, 9, 0, true, true, false},   {1290, 0, 9, 0, true, true, true},
        {1295, 0, 9, 0, true, false, true},   {1295, 0, 9, 0, false, true, true},
    };
    for (const auto& rCase : aCases) {
        std::mt19937 random(7);
        StereoContext context;
        context.m_nStereoMaskSize = 3;
        context.m_nEdgeMaskSize = 3;
        context.m_nRows = 6;
        context.m_nCols = rCase.nCols;
        context.m_nMinDisparity = rCase.nMin;
        context.m_nMaxDisparity = rCase.nMax;
        context.m_nDisparityOffset = rCase.nOffset;
        context.m_bSubpixelInterpolation = rCase.b16;
        context.m_bTextureValidation = context.m_bUniquenessValidation = rCase.bValidate;
        context.m_bBackForthValidation = rCase.bBackForth;
        context.m_nROICount = 1;
        context.m_aROIs[0] = {0, 0, context.m_nRows, context.m_nCols};
        const Pair pair = makePair(random, context.m_nRows, context.m_nCols, Texture::Shifted, rCase.nMin + 8);
        for (const bool bSSE2 : {false, true}) {
            expectAsModel(context, pair, bSSE2);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

// A window sum does not know in which band its rows were added.
TEST(TwoCameraStereo, BandsGiveTheBytesOfTheWholeFrame)
{
    for (unsigned uSeed = 0; uSeed < 24; ++uSeed) {
        std::mt19937 random(1000 + uSeed);
        StereoContext context;
        context.m_nStereoMaskSize = pick(random, {1, 5, 7, 19});
        randomSettings(random, context);
        context.m_nRows += 24;
        const Pair pair = makePair(random, context.m_nRows, context.m_nCols, Texture::Shifted, context.m_nMinDisparity);
        std::vector<unsigned char> whole8;
        std::vector<unsigned short> whole16;
        for (int nBands = 1; nBands <= 4; ++nBands) {
            const int nHeight = context.m_nRows / nBands;
            context.m_nROICount = nBands;
            for (int i = 0; i < nBands; ++i) {
                const int nRows = i == nBands - 1 ? context.m_nRows - i * nHeight : nHeight;
                context.m_aROIs[static_cast<std::size_t>(i)] = {i * nHeight, 0, nRows, context.m_nCols};
            }
            runRegions(context, pair);
            const auto bytes = support::pixelsOf(context.m_disparityImage);
            const auto words = support::pixelsOf(context.m_disparityImage16);
            whole8 = nBands == 1 ? bytes : whole8;
            whole16 = nBands == 1 ? words : whole16;
            ASSERT_TRUE(whole8 == bytes && whole16 == words) << nBands << " bands, " << settingsText(context);
        }
    }
}

TEST(TwoCameraStereo, ClearResizesAndFillsBothImages)
{
    StereoContext context;
    for (const ImageDim dim : {ImageDim{3, 5}, ImageDim{6, 4}}) {
        context.m_nRows = dim.m_nRows;
        context.m_nCols = dim.m_nCols;
        context.m_ucSubpixelValidationMapping = static_cast<std::uint8_t>(200 + dim.m_nRows);
        clearDisparityImages(context);
        const auto uPixels = static_cast<std::size_t>(dim.m_nRows * dim.m_nCols);
        EXPECT_EQ(std::vector<unsigned char>(uPixels, context.m_ucSubpixelValidationMapping),
                  support::pixelsOf(context.m_disparityImage));
        EXPECT_EQ(std::vector<unsigned short>(uPixels, 0xFF00 + context.m_ucSubpixelValidationMapping),
                  support::pixelsOf(context.m_disparityImage16));
    }
}

// Regions without room, and images that a changed resolution has left behind: nothing is read, nothing is written.
TEST(TwoCameraStereo, LeavesTheFillWhereThereIsNoRoom)
{
    std::mt19937 random(3);
    const Pair pair = makePair(random, 30, 40, Texture::Noise, 0);
    const int nMost = std::numeric_limits<int>::max();
    const struct
    {
        int nRows, nCols;
        KestrovaROI region;
    } aCases[] = {
        {30, 40, {30, 0, 10, 40}},  {30, 40, {0, 40, 30, 10}},          {30, 40, {10, 10, 0, 10}},
        {30, 40, {10, 10, 10, -4}}, {30, 40, {nMost, 0, nMost, nMost}}, {60, 40, {0, 0, 60, 40}},
        {30, 80, {0, 0, 30, 80}},   {60, 80, {29, 39, 31, 41}},         {12, 40, {0, 0, 12, 40}},
    };
    for (const auto& rCase : aCases) {
        StereoContext context;
        context.m_nRows = rCase.nRows;
        context.m_nCols = rCase.nCols;
        for (const bool b16 : {false, true}) {
            context.m_bSubpixelInterpolation = b16;
            clearDisparityImages(context);
            EXPECT_EQ(KestrovaErrorOk, twoCameraStereo(context, rCase.region, pair.m_aViews));
            const auto bytes = support::pixelsOf(context.m_disparityImage);
            const auto words = support::pixelsOf(context.m_disparityImage16);
            EXPECT_EQ(static_cast<long>(bytes.size()), std::count(bytes.begin(), bytes.end(), 253));
            EXPECT_EQ(static_cast<long>(words.size()), std::count(words.begin(), words.end(), 0xFFFD));
        }
    }
}

// What the forms refuse by themselves, each case one step beyond what they accept.
TEST(Twofast, RefusesViewsThatDoNotSuit)
{
    const struct
    {
        int nRows, nCols, nSearchRows, nSearchCols, nOutRows, nOutCols;
        unsigned n, m;
        bool bPlain, bValidated, b16;
    } aCases[] = {
        {9, 20, 9, 40, 7, 18, 9, 3, true, true, true},    {2, 20, 9, 40, 7, 18, 9, 3, false, false, false},
        {9, 2, 9, 40, 7, 18, 9, 3, false, false, false},  {10, 20, 10, 40, 7, 18, 9, 3, false, false, false},
        {9, 21, 9, 40, 7, 18, 9, 3, false, false, false}, {9, 20, 8, 40, 7, 18, 9, 3, false, false, false},
        {9, 20, 9, 19, 7, 18, 9, 3, false, false, false}, {9, 20, 9, 40, 9, 20, 9, 0, true, true, true},
        {9, 5, 9, 9, 7, 18, 9, 3, false, false, false},   {9, 20, 9, 300, 7, 18, 256, 3, true, false, false},
        {9, 20, 9, 300, 7, 18, 255, 3, true, true, true}, {9, 20, 9, 300, 7, 18, 257, 3, false, false, false},
    };
    const LabelTable labels = identityLabels();
    const Validation validation{0.5, 0.5, 255, 254};
    for (const auto& r : aCases) {
        const Bytes reference = support::seededImage<unsigned char>(r.nRows, r.nCols, 1);
        const Bytes search = support::seededImage<unsigned char>(r.nSearchRows, r.nSearchCols, 2);
        Bytes out(r.nOutRows, r.nOutCols);
        Image<unsigned short> out16(r.nOutRows, r.nOutCols);
        SCOPED_TRACE(testing::Message() << "case " << &r - aCases);
        EXPECT_EQ(r.b16, 0 != twofast_subpix_stereo(out16, reference, search, 0, 0, r.n, static_cast<int>(r.m),
                                                    validation, true, 251, 253));
        for (const bool bBackForth : {false, true}) {
            EXPECT_EQ(r.bPlain, 0 != twofast_stereo(out, reference, search, labels, r.n, r.m, bBackForth, 253, 251));
            EXPECT_EQ(r.bValidated, 0 != twofast_validate_stereo(out, reference, search, labels, r.n, r.m, validation,
                                                                 253, bBackForth, 251));
        }
    }
}

} // namespace
