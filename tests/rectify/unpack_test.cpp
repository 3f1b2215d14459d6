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
    struct Case
    {
        void (*pfn)(Image<unsigned char> (&)[3], const bool*, const Image<Pixel8x4>&);
        int nCols;
        bool aExpected[3]; // red, green, blue
    };
    const auto all = [](auto& a, const bool*, const auto& p) { unpackRGB(a[0], a[1], a[2], p); };
    const auto twoCameras = [](auto& a, const bool*, const auto& p) { unpack32Bit2Cam(a[0], a[1], p); };
    const auto needed = [](auto& a, const bool* pb, const auto& p) {
        Image<unsigned char>* const apPlanes[] = {pb[0] ? &a[0] : nullptr, pb[1] ? &a[1] : nullptr,
                                                  pb[2] ? &a[2] : nullptr};
        unpack32Bit(pb, apPlanes, p);
    };
    const Case aCases[] = {{all, 6, {false, false, false}},      {all, 13, {true, true, true}},
                           {twoCameras, 6, {true, true, false}}, {needed, 6, {false, true, false}},
                           {needed, 13, {true, false, true}},    {needed, 13, {false, false, false}}};
    for (const Case& c : aCases) {
        const LentImage<Pixel8x4> packed(5, c.nCols, c.nCols + 3, 21);
        Image<unsigned char> aPlanes[3];
        for (Image<unsigned char>& rPlane : aPlanes) {
            rPlane = Image<unsigned char>(5, c.nCols);
            rPlane.init(99);
        }
        c.pfn(aPlanes, c.aExpected, packed.image());
        for (int i = 0; i < 5 * c.nCols; ++i) {
            const Pixel8x4 p = packed.image()[i / c.nCols][i % c.nCols];
            const int anLanes[] = {p.m_ucRed, p.m_ucGreen, p.m_ucBlue};
            for (int n = 0; n < 3; ++n) {
                ASSERT_EQ(aPlanes[n][i / c.nCols][i % c.nCols], c.aExpected[n] ? anLanes[n] : 99)
                    << &c - aCases << n << i;
            }
        }
    }
}

} // namespace
} // namespace kestrova::test
