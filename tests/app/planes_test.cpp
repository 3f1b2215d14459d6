// Planes of clouds as a stereo camera sees them: noise in disparity, wrong matches.
#include "outputs/PlaneSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace kestrova::app {

// Columns of pixels, each with a plane n x = -D before it; one point in ten is anywhere between 1 and 6 metres.
TEST(PlaneSearch, FindsKnownPlanesAmongWrongMatchesWhateverTheOrderOfThePoints)
{
    constexpr double dFocal = 500.0, dScale = dFocal * 0.12;
    const struct
    {
        int m_nFirst, m_nEnd;
        cv::Vec3d m_normal;
        double m_dDistance;
    } aTrue[] = {{0, 70, cv::normalize(cv::Vec3d(0.3, 0.1, -1)), 1.5}, // by size the third, first and second
                 {70, 300, cv::normalize(cv::Vec3d(-0.1, 0.05, -1)), 4.0},
                 {300, 420, cv::normalize(cv::Vec3d(-1, -0.2, -0.4)), 0.9}};
    cv::RNG random(5);
    std::mt19937 order(6);
    std::vector<CloudPoint> cloud;
    for (const auto& [nFirst, nEnd, normal, dDistance] : aTrue) {
        for (int nCol = nFirst; nCol < nEnd; ++nCol) {
            for (int nRow = 0; nRow < 60; ++nRow) {
                const cv::Vec3d ray((nCol - 210) / dFocal, (nRow - 30) / dFocal, 1);
                const double dDisparity = dScale * -normal.dot(ray) / dDistance + random.gaussian(0.07);
                const double dZ = nRow % 10 == 3 ? dScale / random.uniform(10.0, 60.0) : dScale / dDisparity;
                cloud.push_back({cv::Vec3f(dZ * ray), {}});
            }
        }
    }
    const std::pair<std::size_t, std::size_t> aOrder[] = {{1, 13800}, {2, 7200}, {0, 4200}};
    for (int nShuffle = 0; nShuffle < 6; ++nShuffle) {
        const std::vector<FoundPlane> planes = findPlanes(cloud, dScale, {9, 0.25});
        ASSERT_EQ(planes.size(), 3u) << "wrong matches make no plane";
        for (std::size_t i = 0; i < 3; ++i) {
            const auto& rTrue = aTrue[aOrder[i].first];
            const auto nOfPlane = static_cast<double>(aOrder[i].second);
            EXPECT_NEAR(static_cast<double>(planes[i].m_nPoints), 0.9 * nOfPlane, 0.03 * nOfPlane) << i;
            EXPECT_LT(cv::norm(planes[i].m_normal - rTrue.m_normal), 0.004) << i << planes[i].m_normal;
            EXPECT_NEAR(planes[i].m_dDistance / rTrue.m_dDistance, 1.0, 0.003) << i;
            const double dNoise = 0.07 * rTrue.m_dDistance * planes[i].m_middle[2] / dScale;
            EXPECT_NEAR(planes[i].m_dSpread / dNoise, 1.0, 0.15) << i;
        }
        const auto again = findPlanes(cloud, dScale, {1, 0.25});
        ASSERT_TRUE(again.size() == 1 && again[0].m_normal == planes[0].m_normal);
        std::shuffle(cloud.begin(), cloud.end(), order);
    }
    cloud.resize(sk_nLeastOfPlane - 1);
    EXPECT_TRUE(findPlanes(cloud, dScale, {9, 16.0}).empty());
}

} // namespace kestrova::app
