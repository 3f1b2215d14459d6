#include "models.h"
#include "rectify/Warper3.h"

namespace kestrova::test {
namespace {

struct Case
{
    const char* pszName;
    WarperKey key;
    MapFunction map = bentMap;
};

const std::pair<float, float> sk_nowhere{std::nanf(""), std::nanf("")};

const Case sk_aCases[] = {
    {"padded", {37, 53, 41, 67, 80, 0, 0}},
    {"shifted", {12, 16, 9, 12, 12, 50, 99}},
    {"shift out of range", {12, 16, 9, 12, 12, -1, 100}},
    {"one row", {6, 8, 1, 40, 40, 0, 0}},
    {"one column", {6, 9, 40, 1, 1, 0, 0}},
    {"one pixel", {3, 5, 1, 1, 1, 0, 0}},
    {"long axis", {2, 9, 2, 9001, 9001, 0, 0}},
    {"not a number", {3, 4, 6, 8, 8, 0, 0}, [](float, float) { return sk_nowhere; }},
};

template<typename WarperClass>
std::unique_ptr<WarperClass> build(const WarperKey& k, const WarpMapFunc& rMap)
{
    auto p = std::make_unique<WarperClass>();
    p->build(rMap, k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, k.m_nDestinationRows, k.m_nDestinationCols,
             k.m_nSubpixelRowOffset, k.m_nSubpixelColOffset, 5);
    return p;
}

/** Tables, grey, 16-bit and packed pixels of one warper against the model. */
void expectModel(const Case& rCase, const Warper& rWarper, bool bBilinear)
{
    const FunctionMap map(rCase.map);
    const WarperKey& k = rWarper.key();
    LentImage<unsigned char> grey(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 1);
    LentImage<unsigned short> wide(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 2);
    LentImage<Pixel8x4> packed(k.m_nSourceRows, k.m_nSourceCols, k.m_nStride, 3);
    Image<unsigned char> greyOut(k.m_nDestinationRows, k.m_nDestinationCols);
    Image<unsigned short> wideOut(greyOut.size());
    Image<Pixel8x4> packedOut(greyOut.size());
    rWarper.warp(greyOut, grey.image());
    rWarper.warp(wideOut, wide.image());
    rWarper.warp(packedOut, packed.image());
    for (int r = 0; r < k.m_nDestinationRows; ++r) {
        int nLowest = k.m_nSourceRows;
        int nHighest = 0;
        for (int c = 0; c < k.m_nDestinationCols; ++c) {
            SCOPED_TRACE(testing::Message()
                         << rCase.pszName << (bBilinear ? " bilinear " : " nearest ") << r << ' ' << c);
            const Entry e = modelEntry(k, map, r, c, bBilinear);
            nLowest = std::min(nLowest, e.nRow);
            nHighest = std::max(nHighest, e.nRow + (bBilinear ? 1 : 0));
            ASSERT_EQ(rWarper.map()[r][c], e.nRow * k.m_nStride + e.nCol);
            ASSERT_EQ(greyOut[r][c], modelPixel(e, [&](int i, int j) { return grey.image()[i][j]; }));
            ASSERT_EQ(wideOut[r][c], wide.image()[e.nRow][e.nCol]);
            const Pixel8x4& p = packedOut[r][c];
            const auto lane = [&](std::uint8_t Pixel8x4::*pLane) {
                return modelPixel(e, [&](int i, int j) { return packed.image()[i][j].*pLane; });
            };
            ASSERT_EQ(p.m_ucBlue, lane(&Pixel8x4::m_ucBlue));
            ASSERT_EQ(p.m_ucGreen, lane(&Pixel8x4::m_ucGreen));
            ASSERT_EQ(p.m_ucRed, lane(&Pixel8x4::m_ucRed));
            ASSERT_EQ(p.m_ucFourth, bBilinear ? 0 : packed.image()[e.nRow][e.nCol].m_ucFourth);
        }
        ASSERT_EQ(rWarper.rowRange()[0][r], nLowest) << rCase.pszName << r;
        ASSERT_EQ(rWarper.rowRange()[1][r], nHighest) << rCase.pszName << r;
    }
}

TEST(Warper, MatchesTheModelInTablesAndPixels)
{
    for (const Case& rCase : sk_aCases) {
        const FunctionMap map(rCase.map);
        expectModel(rCase, *build<Warper>(rCase.key, map), false);
        const auto pBilinear = build<Warper3>(rCase.key, map);
        expectModel(rCase, *pBilinear, true);
        expectModel(rCase, *build<BilinearWarper3>(rCase.key, map)->clone(), true);
        ASSERT_LE(pBilinear->key().m_nSubpixelColOffset, 99) << rCase.pszName;
        ASSERT_GE(pBilinear->key().m_nSubpixelRowOffset, 0) << rCase.pszName;
    }
}

} // namespace
} // namespace kestrova::test
