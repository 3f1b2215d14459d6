#include "models.h"
#include "rectify/unpack.h"

namespace kestrova::test {
namespace {

using support::GuardedRow;
using Bytes = std::vector<unsigned char>;

TEST(Unpack, RowsAtEveryLengthAndAlignment)
{
    struct Extract
    {
        decltype(&extract_red) pfn;
        int nLane;
    };
    const Extract aExtracts[] = {{extract_blu, 0}, {extract_grn, 1}, {extract_red, 2}};
    for (int nOffset = 0; nOffset < 8; ++nOffset) {
        for (int n = 0; n < 35; ++n) {
            SCOPED_TRACE(testing::Message() << n << " pixels at " << nOffset);
            const auto uCount = static_cast<std::size_t>(n);
            const Bytes packed = support::seededValues<unsigned char>(4 * uCount, static_cast<unsigned>(n));
            GuardedRow<unsigned char> source(packed, 7 - nOffset);
            const Bytes untouched(uCount, 99);
            std::vector<std::unique_ptr<GuardedRow<unsigned char>>> rgb;
            for (int nLane = 0; nLane < 3; ++nLane) {
                rgb.push_back(std::make_unique<GuardedRow<unsigned char>>(untouched, nOffset));
            }
            extract_rgb(rgb[2]->data(), rgb[1]->data(), rgb[0]->data(), n, source.data());
            for (const auto& [pfn, nLane] : aExtracts) {
                Bytes expected;
                for (int i = 0; i < n; ++i) {
                    expected.push_back(packed[static_cast<std::size_t>(4 * i + nLane)]);
                }
                GuardedRow<unsigned char> single(untouched, nOffset);
                pfn(single.data(), n, source.data());
                ASSERT_EQ(single.values(), expected) << nLane;
                auto& rAll = *rgb[static_cast<std::size_t>(nLane)];
                ASSERT_EQ(rAll.values(), n < 8 ? untouched : expected) << nLane;
                ASSERT_TRUE(single.intact() && rAll.intact()) << nLane;
            }
            ASSERT_TRUE(source.intact());
        }
    }
}

TEST(Unpack, ImagesTakeOnlyThePlanesAskedFor)
{
    enum class Form
    {
        All,
        TwoCameras,
        Needed
    };
    struct Case
    {
        Form eForm;
        int nCols;
        bool aExpected[3]; // red, green, blue
    };
    const Case aCases[] = {
        {Form::All, 6, {false, false, false}},      {Form::All, 13, {true, true, true}},
        {Form::TwoCameras, 6, {true, true, false}}, {Form::Needed, 6, {false, true, false}},
        {Form::Needed, 13, {true, false, true}},    {Form::Needed, 13, {false, false, false}},
    };
    for (const Case& c : aCases) {
        const LentImage<Pixel8x4> packed(5, c.nCols, c.nCols + 3, 21);
        Image<unsigned char> aPlanes[3];
        Image<unsigned char>* apPlanes[3];
        for (int i = 0; i < 3; ++i) {
            aPlanes[i] = Image<unsigned char>(5, c.nCols);
            aPlanes[i].init(99);
            apPlanes[i] = c.aExpected[i] ? &aPlanes[i] : nullptr;
        }
        switch (c.eForm) {
        case Form::All:
            unpackRGB(aPlanes[0], aPlanes[1], aPlanes[2], packed.image());
            break;
        case Form::TwoCameras:
            unpack32Bit2Cam(aPlanes[0], aPlanes[1], packed.image());
            break;
        case Form::Needed:
            unpack32Bit(c.aExpected, apPlanes, packed.image());
            break;
        }
        for (int i = 0; i < 5 * c.nCols; ++i) {
            const Pixel8x4 p = packed.image()[i / c.nCols][i % c.nCols];
            const int anLanes[] = {p.m_ucRed, p.m_ucGreen, p.m_ucBlue};
            for (int nPlane = 0; nPlane < 3; ++nPlane) {
                ASSERT_EQ(aPlanes[nPlane][i / c.nCols][i % c.nCols], c.aExpected[nPlane] ? anLanes[nPlane] : 99)
                    << static_cast<int>(c.eForm) << ' ' << c.nCols << ' ' << i << ' ' << nPlane;
            }
        }
    }
}

} // namespace
} // namespace kestrova::test
