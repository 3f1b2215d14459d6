#include "models.h"
#include "rectify/GaussWarper3.h"
#include "rectify/SincWarper3.h"
#include "rectify/WarperList.h"

#include <bit>
#include <cstdio>

namespace kestrova::test {
namespace {

std::pair<float, float> zoomedMap(float fRow, float fCol)
{
    return {0.03F + 0.9F * fRow + 0.02F * fCol, 0.01F + 0.97F * fCol - 0.03F * fRow};
}

const FunctionMap& zoomed()
{
    static const FunctionMap map(zoomedMap);
    return map;
}

struct Case
{
    const char* pszName;
    WarperKey key;
    int nSize, nHalf;     // of the kernels in force
    ImageDim first, last; // destination pixels that meet kernels, along the rows and along the columns
    MapFunction map = zoomedMap;
};

const Case sk_aCases[] = {
    {"sinc 3", {37, 53, 41, 67, 80, 0, 0, KernelSinc, 3}, 3, 1, {0, 2}, {36, 52}},
    {"sinc 5", {37, 53, 41, 67, 67, 50, 99, KernelSinc, 5}, 5, 2, {1, 4}, {36, 52}},
    {"sinc 4 is 5", {20, 30, 22, 30, 32, 0, 0, KernelSinc, 4}, 5, 2, {1, 3}, {18, 28}},
    {"turned around", {37, 53, 41, 67, 80, 0, 0, KernelSinc, 5}, 5, 2, {6, 0}, {31, 52}, bentMap},
    {"no window fits", {9, 12, 4, 40, 40, 0, 0, KernelSinc, 5}, 5, 2, {5, 1}, {4, 11}},
    {"one column", {6, 9, 40, 1, 1, 0, 0, KernelSinc, 3}, 3, 1, {0, -1}, {5, 9}},
    {"Gauss", {37, 53, 41, 67, 80, 0, 0, KernelGauss, 5}, 5, 2, {1, 3}, {36, 51}},
    {"Gauss 3 is 5 off its place", {37, 53, 41, 67, 80, 0, 0, KernelGauss, 3}, 5, 1, {0, 2}, {36, 52}},
};

std::unique_ptr<Warper> build(const WarperKey& k, const WarpMapFunc& rMap = zoomed())
{
    WarperList list;
    list.setWarpFunc(&rMap);
    return list.buildWarper(k);
}

// ---- the model: a window and weights per pixel, from the definition ----

double weight(const Case& r, int nTap, int nFraction)
{
    const bool bSinc = r.key.m_eKernelType == KernelSinc;
    const double dPhase = (nFraction >> 2) / 32.0;
    const double d = nTap - r.nHalf - dPhase + (bSinc && dPhase >= 0.5 ? 1 : 0);
    if (!bSinc) {
        return nTap <= 2 * r.nHalf ? std::exp(-d * d / (2 * 0.5625)) : 0;
    }
    const double dRadius = r.nSize / 2.0;
    return d == 0 ? 1 : std::abs(d) >= dRadius ? 0 : std::sin(M_PI * d) / (M_PI * d) * (1 - d * d / dRadius / dRadius);
}

/** The unrounded value of a pixel whose nearest source pixel is that one. */
template<typename At>
double modelKernel(const Case& r, const Entry& e, const ImageDim& rNearest, At at)
{
    double dSum = 0;
    double dWeights = 0;
    for (int i = 0; i < r.nSize * r.nSize; ++i) {
        const double d = weight(r, i / r.nSize, e.nRowFraction) * weight(r, i % r.nSize, e.nColFraction);
        dWeights += d;
        dSum += d * at(rNearest.m_nRows - r.nHalf + i / r.nSize, rNearest.m_nCols - r.nHalf + i % r.nSize);
    }
    return std::clamp(dSum / dWeights, 0.0, 255.0);
}

void expectModel(const Case& rCase, const Warper& rAnyWarper)
{
    SCOPED_TRACE(rCase.pszName);
    const auto& rWarper = dynamic_cast<const KernelWarper3&>(rAnyWarper);
    EXPECT_EQ(rWarper.key(), rCase.key) << "the next lookup finds it";
    const FunctionMap map(rCase.map);
    const WarperKey& k = rWarper.key();
    const ImageDim size{k.m_nDestinationRows, k.m_nDestinationCols};
    const LentImage<unsigned char> grey(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 1);
    const LentImage<unsigned short> wide(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 2);
    const LentImage<Pixel8x4> packed(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 3);
    Image<unsigned char> greyOut(size);
    Image<unsigned short> wideOut(size);
    Image<Pixel8x4> packedOut(size);
    rWarper.warp(greyOut, grey.image());
    rWarper.warp(wideOut, wide.image());
    rWarper.warp(packedOut, packed.image());

    const auto [nFirstRow, nFirstCol] = rWarper.firstKernelPixel();
    const auto [nLastRow, nLastCol] = rWarper.lastKernelPixel();
    EXPECT_EQ(rWarper.firstKernelPixel(), rCase.first);
    EXPECT_EQ(rWarper.lastKernelPixel(), rCase.last);
    const auto fits = [&](int n, int nSource) { return n >= rCase.nHalf && n - rCase.nHalf + rCase.nSize <= nSource; };
    for (int i = 0; i < size.m_nRows * size.m_nCols; ++i) {
        const int r = i / size.m_nCols;
        const int c = i % size.m_nCols;
        const Entry e = modelEntry(k, map, r, c, true);
        const ImageDim at{e.nRow + e.nRowFraction / 64, e.nCol + e.nColFraction / 64}; // the nearest source pixel
        const bool bKernel = r >= nFirstRow && r <= nLastRow && c >= nFirstCol && c <= nLastCol &&
                             fits(at.m_nRows, k.m_nSourceRows) && fits(at.m_nCols, k.m_nSourceCols);
        const auto isNear = [&](int nPixel, const auto& rAt) {
            const double d = bKernel ? modelKernel(rCase, e, at, rAt) : rAt(at.m_nRows, at.m_nCols);
            return std::abs(nPixel - d) < 0.5 + 1e-9;
        };
        const auto lane = [](const Pixel8x4& rPixel, std::size_t u) {
            return std::bit_cast<std::array<std::uint8_t, 4>>(rPixel)[u];
        };
        ASSERT_EQ(rWarper.map()[r][c], at.m_nRows * k.m_nStride + at.m_nCols);
        ASSERT_EQ(wideOut[r][c], wide.image()[at.m_nRows][at.m_nCols]);
        ASSERT_TRUE(isNear(greyOut[r][c], [&](int y, int x) { return grey.image()[y][x]; })) << r << ' ' << c;
        for (std::size_t u = 0; u < 3; ++u) {
            ASSERT_TRUE(isNear(lane(packedOut[r][c], u), [&](int y, int x) { return lane(packed.image()[y][x], u); }))
                << r << ' ' << c << " lane " << u;
        }
        ASSERT_EQ(packedOut[r][c].m_ucFourth, bKernel ? 0 : packed.image()[at.m_nRows][at.m_nCols].m_ucFourth);
    }
}

TEST(KernelWarper3, MatchesTheModelInTablesAndPixels)
{
    for (const Case& rCase : sk_aCases) { // one at a time: a Gaussian table is that of its first warper
        expectModel(rCase, *build(rCase.key, FunctionMap(rCase.map)));
    }
}

TEST(KernelWarper3, SliceTakesTheRowBehindItWhereTheFrameHasIt)
{
    const auto pWarper = build(sk_aCases[0].key);
    const LentImage<unsigned char> src(41, 67, 80, 1);
    Image<unsigned char> whole(37, 53);
    pWarper->warp(whole, src.image());
    Image<unsigned char> parent(37, 53);
    parent.init(77);
    for (const ImageROI& rROI : {ImageROI{10, 5, 7, 30}, ImageROI{30, 0, 7, 53}}) {
        Image<unsigned char> slice(parent, rROI, true);
        pWarper->warp(slice, src.image());
    }
    for (int i = 0; i < 37 * 53; ++i) {
        const int r = i / 53;
        const int c = i % 53;
        const bool bWritten = (r >= 10 && r <= 17 && c >= 5 && c < 35) || r >= 30;
        ASSERT_EQ(parent[r][c], bWritten ? whole[r][c] : 77) << r << ' ' << c;
    }
}

TEST(KernelWarper3, TablesAreSharedUntilTheLastOfAClassGoes)
{
    const InterpKernels& rSinc = SincWarper3::interpKernels();
    const auto pGauss = build(sk_aCases[6].key);
    for (int nTime = 0; nTime < 2; ++nTime) { // the second time from nothing again
        auto pFirst = build(sk_aCases[0].key);
        const double* const pTable = rSinc.builtTable(0);
        EXPECT_EQ(rSinc.builtTable(1), nullptr) << "no warper of size 5 yet";
        const std::unique_ptr<Warper> pClone = build(sk_aCases[0].key)->clone();
        build(sk_aCases[1].key);
        EXPECT_NE(rSinc.builtTable(1), nullptr) << "kept though its only warper is gone";
        EXPECT_TRUE(rSinc.builtTable(0) == pTable && rSinc.referenceCount() == 2);
        pFirst.reset();
        expectModel(sk_aCases[0], *pClone);
    }
    EXPECT_TRUE(rSinc.referenceCount() == 0 && rSinc.builtTable(0) == nullptr && rSinc.builtTable(1) == nullptr);
    EXPECT_EQ(GaussWarper3::interpKernels().referenceCount(), 1);
    EXPECT_NE(GaussWarper3::interpKernels().builtTable(1), nullptr);
}

// ---- what the kernels are for ----

/** Rings that grow finer outwards, to 0.3 cycles per pixel at the corners of 240 by 320. */
double zonePlate(double dRow, double dCol)
{
    const double dSquare = (dRow - 119.5) * (dRow - 119.5) + (dCol - 159.5) * (dCol - 159.5);
    return 127.5 + 110 * std::cos(M_PI * 0.3 / 200 * dSquare);
}

/** Peak signal to noise against the picture itself, in dB, off the rim. Flat images stay flat on the way. */
double quality(KernelType eType, int nKernelSize)
{
    const auto pWarper = build({240, 320, 240, 320, 320, 0, 0, eType, nKernelSize});
    Image<unsigned char> src(240, 320);
    Image<unsigned char> dst(240, 320);
    for (const int nLevel : {0, 1, 127, 128, 254, 255}) {
        src.init(static_cast<unsigned char>(nLevel));
        pWarper->warp(dst, src);
        EXPECT_EQ(support::pixelsOf(dst), support::pixelsOf(src)) << nKernelSize;
    }
    for (int i = 0; i < 240 * 320; ++i) {
        src[i / 320][i % 320] = static_cast<unsigned char>(std::lround(zonePlate(i / 320, i % 320)));
    }
    pWarper->warp(dst, src);
    double dSquares = 0;
    for (int r = 8; r < 232; ++r) {
        for (int c = 8; c < 312; ++c) {
            const auto [fRow, fCol] =
                zoomedMap((static_cast<float>(r) + 0.5F) / 240, (static_cast<float>(c) + 0.5F) / 320);
            dSquares += std::pow(dst[r][c] - zonePlate(240 * fRow - 0.5, 320 * fCol - 0.5), 2);
        }
    }
    return 10 * std::log10(255.0 * 255.0 * 224 * 304 / dSquares);
}

TEST(KernelWarper3, SincKeepsAZonePlateBetterThanBilinearAndAllKeepFlatImagesFlat)
{
    const double dNearest = quality(KernelNearest, 2);
    const double dBilinear = quality(KernelBilinear, 2);
    const double dSinc3 = quality(KernelSinc, 3);
    const double dSinc5 = quality(KernelSinc, 5);
    std::printf("zone plate, dB: nearest %.2f, bilinear %.2f, sinc 3 %.2f, sinc 5 %.2f, Gauss %.2f\n", dNearest,
                dBilinear, dSinc3, dSinc5, quality(KernelGauss, 5));
    EXPECT_TRUE(dNearest < dBilinear && dBilinear + 1 < dSinc3 && dSinc3 + 0.5 < dSinc5);
}

} // namespace
} // namespace kestrova::test
