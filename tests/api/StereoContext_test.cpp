// The one rule of a setter that depends on more than its own values.
#include "api/StereoContext.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kestrova;

TEST(StereoContext, DisparityRangeFollowsConfigurationWindowAndByte)
{
    struct Case
    {
        KestrovaCameraConfiguration eConfiguration;
        int nRows, nCols, nMin, nMax, nOffset; // offset -1: refused
    };
    const Case aCases[] = {
        {KestrovaCfg2CameraVertical, 240, 320, 0, 233, 0},
        {KestrovaCfg2CameraVertical, 240, 320, 0, 234, -1},
        {KestrovaCfg3CameraL, 240, 320, 0, 233, 0},
        {KestrovaCfg3CameraL, 240, 320, 0, 234, -1},
        {KestrovaCfg3CameraL, 300, 200, 0, 194, -1},
        {KestrovaCfg2CameraHorizontal, 1200, 1600, 800, 1024, 784},
        {KestrovaCfg2CameraHorizontal, 1200, 1600, 800, 1025, -1},
    };
    for (const Case& c : aCases) {
        StereoContext context;
        context.m_eCameraConfiguration = c.eConfiguration;
        context.m_nRows = c.nRows;
        context.m_nCols = c.nCols;
        EXPECT_EQ(context.setDisparityRange(c.nMin, c.nMax), c.nOffset >= 0) << &c - aCases;
        EXPECT_EQ(context.m_nMaxDisparity, c.nOffset >= 0 ? c.nMax : 32) << &c - aCases;
        EXPECT_EQ(context.m_nDisparityOffset, std::max(0, c.nOffset)) << &c - aCases;
    }
}
