#include "models.h"
#include "rectify/GaussWarper3.h"
#include "rectify/SincWarper3.h"

#include <cstdio>

namespace kestrova::test {
namespace {

template<typename WarperClass>
std::unique_ptr<WarperClass> build(const WarperKey& k, const WarpMapFunc& rMap)
{
    auto p = std::make_unique<WarperClass>();
    p->build(rMap, k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, k.m_nDestinationRows, k.m_nDestinationCols,
             k.m_nSubpixelRowOffset, k.m_nSubpixelColOffset, k.m_nKernelSize);
    return p;
}

// ---- the model: a window and weights per pixel, from the definition ----

struct Kernel
{
    bool bSinc;
    int nSize, nHalf;
};

double weight(const Kernel& k, int nTap, int nFraction)
{
    const double dPhase = (nFraction >> 2) / 32.0;
    const double d = nTap - k.nHalf - dPhase + (k.bSinc && dPhase >= 0.5 ? 1 : 0);
    if (!k.bSinc) {
        return nTap <= 2 * k.nHalf ? std::exp(-d * d / (2 * 0.5625)) : 0;
    }
    const double dRadius = k.nSize / 2.0;
    return d == 0 ? 1 : std::abs(d) >= dRadius ? 0 : std::sin(M_PI * d) / (M_PI * d) * (1 - d * d / dRadius / dRadius);
}

bool fits(const Kernel& k, int nRow, int nRows)
{
    return nRow - k.nHalf >= 0 && nRow - k.nHalf + k.nSize <= nRows;
}

/** The unrounded value of a pixel whose nearest source pixel is (nRow, nCol). */
double modelKernel(const Kernel& k, const Entry& e, int nRow, int nCol, const std::function<int(int, int)>& rAt)
{
    double dSum = 0;
    double dWeights = 0;
    for (int i = 0; i < k.nSize * k.nSize; ++i) {
        const double d = weight(k, i / k.nSize, e.nRowFraction) * weight(k, i % k.nSize, e.nColFraction);
        dWeights += d;
        dSum += d * rAt(nRow - k.nHalf + i / k.nSize, nCol - k.nHalf + i % k.nSize);
    }
    return std::clamp(dSum / dWeights, 0.0, 255.0);
}

std::pair<float, float> zoomedMap(float fRow, float fCol)
{
    return {0.03F + 0.9F * fRow + 0.02F * fCol, 0.01F + 0.97F * fCol - 0.03F * fRow};
}

struct Case
{
    const char* pszName;
    WarperKey key;
    Kernel kernel;
    MapFunction map = zoomedMap;
};

const Case sk_aCases[] = {
    {"sinc 3", {37, 53, 41, 67, 80, 0, 0, KernelSinc, 3}, {true, 3, 1}},
    {"sinc 5", {37, 53, 41, 67, 67, 50, 99, KernelSinc, 5}, {true, 5, 2}},
    {"sinc 4 is 5", {20, 30, 22, 30, 32, 0, 0, KernelSinc, 4}, {true, 5, 2}},
    {"turned around", {37, 53, 41, 67, 80, 0, 0, KernelSinc, 5}, {true, 5, 2}, bentMap},
    {"no window fits", {9, 12, 4, 40, 40, 0, 0, KernelSinc, 5}, {true, 5, 2}},
    {"one column", {6, 9, 40, 1, 1, 0, 0, KernelSinc, 3}, {true, 3, 1}},
    {"Gauss", {37, 53, 41, 67, 80, 0, 0, KernelGauss, 5}, {false, 5, 2}},
    {"Gauss 3 is 5 off its place", {37, 53, 41, 67, 80, 0, 0, KernelGauss, 3}, {false, 5, 1}},
};

/** Which destination rows (or columns) meet kernels, by the extremes of the nearest source pixels along them. */
std::pair<int, int> kernelRange(const Kernel& k, const std::vector<std::pair<int, int>>& rExtremes, int nSource)
{
    const int n = static_cast<int>(rExtremes.size());
    std::pair<int, int> range{n, -1};
    for (int i = 0; i < n; ++i) {
        const auto& [nLow, nHigh] = rExtremes[static_cast<std::size_t>(i)];
        range.first = nLow >= k.nHalf ? std::min(range.first, i) : range.first;
        range.second = nHigh + k.nHalf < nSource ? i : range.second;
    }
    return {range.first == n ? -1 : range.first, range.second == -1 ? n : range.second};
}

void expectModel(const Case& rCase, const KernelWarper3& rWarper)
{
    const FunctionMap map(rCase.map);
    const WarperKey& k = rWarper.key();
    const ImageDim size{k.m_nDestinationRows, k.m_nDestinationCols};
    LentImage<unsigned char> grey(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 1);
    LentImage<unsigned short> wide(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 2);
    LentImage<Pixel8x4> packed(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 3);
    Image<unsigned char> greyOut(size);
    Image<unsigned short> wideOut(size);
    Image<Pixel8x4> packedOut(size);
    rWarper.warp(greyOut, grey.image());
    rWarper.warp(wideOut, wide.image());
    rWarper.warp(packedOut, packed.image());

    std::vector<std::pair<int, int>> rowExtremes(static_cast<std::size_t>(size.m_nRows), {1 << 30, 0});
    std::vector<std::pair<int, int>> colExtremes(static_cast<std::size_t>(size.m_nCols), {1 << 30, 0});
    const auto extend = [](std::pair<int, int>& r, int n) { r = {std::min(r.first, n), std::max(r.second, n)}; };
    const auto nearest = [&](const Entry& e) {
        return ImageDim{e.nRow + e.nRowFraction / 64, e.nCol + e.nColFraction / 64};
    };
    for (int i = 0; i < size.m_nRows * size.m_nCols; ++i) {
        const ImageDim at = nearest(modelEntry(k, map, i / size.m_nCols, i % size.m_nCols, true));
        extend(rowExtremes[static_cast<std::size_t>(i / size.m_nCols)], at.m_nRows);
        extend(colExtremes[static_cast<std::size_t>(i % size.m_nCols)], at.m_nCols);
    }
    const auto rows = kernelRange(rCase.kernel, rowExtremes, k.m_nSourceRows);
    const auto cols = kernelRange(rCase.kernel, colExtremes, k.m_nSourceCols);
    EXPECT_EQ(rWarper.firstKernelPixel(), (ImageDim{rows.first, cols.first})) << rCase.pszName;
    EXPECT_EQ(rWarper.lastKernelPixel(), (ImageDim{rows.second, cols.second})) << rCase.pszName;

    for (int i = 0; i < size.m_nRows * size.m_nCols; ++i) {
        const int r = i / size.m_nCols;
        const int c = i % size.m_nCols;
        SCOPED_TRACE(testing::Message() << rCase.pszName << ' ' << r << ' ' << c);
        const Entry e = modelEntry(k, map, r, c, true);
        const ImageDim at = nearest(e);
        const bool bKernel = r >= rows.first && r <= rows.second && c >= cols.first && c <= cols.second &&
                             fits(rCase.kernel, at.m_nRows, k.m_nSourceRows) &&
                             fits(rCase.kernel, at.m_nCols, k.m_nSourceCols);
        const auto near = [&](int nPixel, const std::function<int(int, int)>& rAt) {
            const double d =
                bKernel ? modelKernel(rCase.kernel, e, at.m_nRows, at.m_nCols, rAt) : rAt(at.m_nRows, at.m_nCols);
            return std::abs(nPixel - d) < 0.5 + 1e-9;
        };
        const Pixel8x4 p = packedOut[r][c];
        ASSERT_EQ(rWarper.map()[r][c], at.m_nRows * k.m_nStride + at.m_nCols);
        ASSERT_TRUE(near(greyOut[r][c], [&](int y, int x) { return grey.image()[y][x]; }));
        ASSERT_TRUE(near(p.m_ucBlue, [&](int y, int x) { return packed.image()[y][x].m_ucBlue; }));
        ASSERT_TRUE(near(p.m_ucGreen, [&](int y, int x) { return packed.image()[y][x].m_ucGreen; }));
        ASSERT_TRUE(near(p.m_ucRed, [&](int y, int x) { return packed.image()[y][x].m_ucRed; }));
        ASSERT_EQ(p.m_ucFourth, bKernel ? 0 : packed.image()[at.m_nRows][at.m_nCols].m_ucFourth);
        ASSERT_EQ(wideOut[r][c], wide.image()[at.m_nRows][at.m_nCols]);
    }
}

TEST(KernelWarper3, MatchesTheModelInTablesAndPixels)
{
    for (const Case& rCase : sk_aCases) { // one at a time: a Gaussian table is that of its first warper
        const auto pCamera = camera(1.0, rCase.map);
        const WarperKey& k = rCase.key;
        const auto* const pWarper = dynamic_cast<const KernelWarper3*>(pCamera->getWarper(
            k.m_nDestinationRows, k.m_nDestinationCols, k.m_nSourceRows, k.m_nSourceCols, k.m_nStride,
            k.m_nSubpixelRowOffset, k.m_nSubpixelColOffset, k.m_eKernelType, k.m_nKernelSize));
        ASSERT_NE(pWarper, nullptr) << rCase.pszName;
        EXPECT_EQ(pWarper->key(), k) << rCase.pszName << ": the next lookup finds it";
        expectModel(rCase, *pWarper);
        expectModel(rCase, dynamic_cast<const KernelWarper3&>(*pWarper->clone()));
    }
}

TEST(KernelWarper3, SliceTakesTheRowBehindItWhereTheFrameHasIt)
{
    const FunctionMap map(zoomedMap);
    const auto pWarper = build<SincWarper3>(sk_aCases[0].key, map);
    LentImage<unsigned char> src(41, 67, 80, 1);
    Image<unsigned char> whole(37, 53);
    pWarper->warp(whole, src.image());
    ASSERT_TRUE(pWarper->firstKernelPixel().m_nRows < 10 && pWarper->lastKernelPixel().m_nRows > 20);
    Image<unsigned char> parent(37, 53);
    parent.init(77);
    Image<unsigned char> slice(parent, {10, 5, 7, 30}, true);
    pWarper->warp(slice, src.image());
    Image<unsigned char> last(parent, {30, 0, 7, 53}, true);
    pWarper->warp(last, src.image());
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
    const FunctionMap map(zoomedMap);
    auto pFirst = build<SincWarper3>(sk_aCases[0].key, map);
    const double* const pTable = rSinc.builtTable(0);
    EXPECT_EQ(rSinc.builtTable(1), nullptr) << "no warper of size 5 yet";
    auto pSecond = build<SincWarper3>(sk_aCases[0].key, map);
    const auto pGauss = build<GaussWarper3>(sk_aCases[6].key, map);
    std::unique_ptr<Warper> pClone = pSecond->clone();
    EXPECT_EQ(rSinc.builtTable(0), pTable);
    EXPECT_EQ(rSinc.referenceCount(), 3);
    EXPECT_EQ(GaussWarper3::interpKernels().referenceCount(), 1);
    build<SincWarper3>(sk_aCases[1].key, map);
    EXPECT_NE(rSinc.builtTable(1), nullptr) << "kept though its only warper is gone";
    pFirst.reset();
    pSecond.reset();
    expectModel(sk_aCases[0], dynamic_cast<const KernelWarper3&>(*pClone));
    pClone.reset();
    EXPECT_TRUE(rSinc.referenceCount() == 0 && rSinc.builtTable(0) == nullptr && rSinc.builtTable(1) == nullptr);
    EXPECT_NE(GaussWarper3::interpKernels().builtTable(1), nullptr);
    pFirst = build<SincWarper3>(sk_aCases[0].key, map);
    expectModel(sk_aCases[0], *pFirst);
}

// ---- what the kernels are for ----

/** Rings that grow finer outwards, to 0.3 cycles per pixel at the corners of 240 by 320. */
double zonePlate(double dRow, double dCol)
{
    const double dSquare = (dRow - 119.5) * (dRow - 119.5) + (dCol - 159.5) * (dCol - 159.5);
    return 127.5 + 110 * std::cos(M_PI * 0.3 / 200 * dSquare);
}

/** Peak signal to noise against the picture itself, in dB, off the rim. */
template<typename WarperClass>
double quality(int nKernelSize)
{
    const FunctionMap map(zoomedMap);
    const auto pWarper = build<WarperClass>({240, 320, 240, 320, 320, 0, 0, KernelNearest, nKernelSize}, map);
    Image<unsigned char> src(240, 320);
    Image<unsigned char> flat(240, 320);
    Image<unsigned char> dst(240, 320);
    for (int i = 0; i < 240 * 320; ++i) {
        src[i / 320][i % 320] = static_cast<unsigned char>(std::lround(zonePlate(i / 320, i % 320)));
    }
    for (const int nLevel : {0, 1, 127, 128, 254, 255}) {
        flat.init(static_cast<unsigned char>(nLevel));
        pWarper->warp(dst, flat);
        EXPECT_EQ(support::pixelsOf(dst), support::pixelsOf(flat)) << nKernelSize;
    }
    pWarper->warp(dst, src);
    double dSquares = 0;
    int nCount = 0;
    for (int r = 8; r < 232; ++r) {
        for (int c = 8; c < 312; ++c, ++nCount) {
            const auto [fRow, fCol] =
                zoomedMap((static_cast<float>(r) + 0.5F) / 240, (static_cast<float>(c) + 0.5F) / 320);
            dSquares += std::pow(dst[r][c] - zonePlate(240 * fRow - 0.5, 320 * fCol - 0.5), 2);
        }
    }
    return 10 * std::log10(255.0 * 255.0 * nCount / dSquares);
}

TEST(KernelWarper3, SincKeepsAZonePlateBetterThanBilinearAndAllKeepFlatImagesFlat)
{
    const double dNearest = quality<Warper>(2);
    const double dBilinear = quality<Warper3>(2);
    const double dSinc3 = quality<SincWarper3>(3);
    const double dSinc5 = quality<SincWarper3>(5);
    const double dGauss = quality<GaussWarper3>(5);
    std::printf("zone plate, dB: nearest %.2f, bilinear %.2f, sinc 3 %.2f, sinc 5 %.2f, Gauss %.2f\n", dNearest,
                dBilinear, dSinc3, dSinc5, dGauss);
    EXPECT_LT(dNearest, dBilinear);
    EXPECT_LT(dBilinear + 1, dSinc3);
    EXPECT_LT(dSinc3 + 0.5, dSinc5);
}

} // namespace
} // namespace kestrova::test
