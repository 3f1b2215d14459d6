// Slots, roles and required images by product and configuration.
#include "api/cameraIndex.h"

#include <gtest/gtest.h>

#include <array>

using namespace kestrova;

TEST(CameraIndex, SlotsAndRolesByProduct)
{
    // Reference, right, top, left, colour, and two values that name no camera.
    const std::array<int, 7> aSlots[] = {
        {0, 0, 1, 2, -1, -1, -1}, {0, 0, -1, 1, -1, -1, -1}, {0, 0, 1, -1, -1, -1, -1}, {-1, -1, -1, -1, -1, -1, -1}};
    const char* const apszRoles[] = {"RTL", "RL-", "RT-", "---"};
    const int anCameras[] = {0, 1, 2, 3, 4, 5, -1};
    for (int nProduct = 0; nProduct < 4; ++nProduct) {
        StereoContext context;
        context.m_eProduct = static_cast<StereoProduct>(nProduct);
        for (std::size_t n = 0; n < 7; ++n) {
            const auto eCamera = static_cast<KestrovaCamera>(anCameras[n]);
            context.m_bHasColorCamera = false;
            EXPECT_EQ(getCameraIndex(eCamera, &context), aSlots[nProduct][n]) << nProduct << ' ' << anCameras[n];
            context.m_bHasColorCamera = true; // stands for the reference
            EXPECT_EQ(getCameraIndex(eCamera, &context), aSlots[nProduct][eCamera == KestrovaCamColor ? 0 : n]);
        }
        for (int nSlot = -1; nSlot < 4; ++nSlot) {
            const char cRole = nSlot >= 0 && nSlot < 3 ? apszRoles[nProduct][nSlot] : '-';
            EXPECT_EQ(isRightCam(&context, nSlot), cRole == 'R') << nProduct << ' ' << nSlot;
            EXPECT_EQ(isTopCam(&context, nSlot), cRole == 'T') << nProduct << ' ' << nSlot;
            EXPECT_EQ(isLeftCam(&context, nSlot), cRole == 'L') << nProduct << ' ' << nSlot;
        }
    }
}
