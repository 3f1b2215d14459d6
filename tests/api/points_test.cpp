// The point functions: where each takes its disparity from, and what an error leaves in the outputs.
#include "api/MultiContext.h"

#include <gtest/gtest.h>

using namespace kestrova;

namespace {

// Focal length 512 pixels, baseline 0.125, centre (100, 200): a disparity of 2^n gives exact points.
class Points : public testing::Test
{
protected:
    Points()
    {
        auto pContext = std::make_unique<StereoContext>();
        m_pContext = pContext.get();
        std::tie(m_pContext->m_dFocalLength, m_pContext->m_nCols, m_pContext->m_dBaseline) =
            std::tuple(0.8, 640, 0.125);
        std::tie(m_pContext->m_dImageCenterRow, m_pContext->m_dImageCenterCol) = std::pair(100, 200);
        EXPECT_TRUE(addContextToMultiContext(&m_multi, std::move(pContext)));
    }

    void expectPoint(KestrovaError eError, float fX, float fY, float fZ, const char* pszWhat)
    {
        EXPECT_EQ(eError, KestrovaErrorOk) << pszWhat;
        EXPECT_TRUE(x == fX && y == fY && z == fZ) << pszWhat << ": " << x << ", " << y << ", " << z;
    }

    MultiContext m_multi{1};
    KestrovaContext m_handle = handleOf(&m_multi);
    StereoContext* m_pContext;
    float x = 7, y = 7, z = 7;
};

} // namespace

TEST_F(Points, EachFormReadsItsDisparityItsOwnWay)
{
    const float fHalfZ = 512.0f * 0.125f / 16;
    m_pContext->m_nDisparityOffset = 10;
    m_pContext->m_nMinDisparity = 8;
    m_pContext->m_nMaxDisparity = 40;
    m_pContext->m_nDisparityMappingMin = 256 + 100; // the low byte counts
    m_pContext->m_nDisparityMappingMax = 164;
    expectPoint(kestrovaRCD8ToXYZ(m_handle, 164, 72, 6, &x, &y, &z), -1, 0.5f, fHalfZ, "offset, 8 bits");
    expectPoint(kestrovaRCD16ToXYZ(m_handle, 164, 72, 6 * 256, &x, &y, &z), -1, 0.5f, fHalfZ, "offset, 16 bits");
    expectPoint(kestrovaRCDMappedToXYZ(m_handle, 164, 72, 116, &x, &y, &z), -1, 0.5f, fHalfZ, "mapped");
    expectPoint(kestrovaRCDToXYZ(m_handle, 164, 72, 116, &x, &y, &z), -1, 0.5f, fHalfZ, "mapped, through the depth");
    expectPoint(kestrovaRCD16ToXYZ(m_handle, 100, 200, 0xff00, &x, &y, &z), 0, 0, 64.0f / 265, "a rejected pixel");

    m_pContext->m_nCols = 1280;
    expectPoint(kestrovaRCDFloatToXYZ(m_handle, 164, 72, 16, &x, &y, &z), -1, 0.5f, 2 * fHalfZ, "the new resolution");
    EXPECT_EQ(kestrovaXYZToRCD(m_handle, x, y, z, &x, &y, &z), KestrovaErrorOk);
    EXPECT_TRUE(x == 164 && y == 72 && z == 16) << "neither offset nor mapping is undone";
}

TEST_F(Points, ErrorsLeaveTheOutputsButForOneForm)
{
    m_pContext->m_nDisparityMappingMin = 4;
    m_pContext->m_nDisparityMappingMax = 36;
    const auto expectAll = [&](unsigned char ucDisparity, KestrovaError eExpected) {
        for (const KestrovaError eError : {kestrovaRCDFloatToXYZ(m_handle, 1, 2, ucDisparity, &x, &y, &z),
                                           kestrovaRCD8ToXYZ(m_handle, 1, 2, ucDisparity, &x, &y, &z),
                                           kestrovaRCD16ToXYZ(m_handle, 1, 2, ucDisparity, &x, &y, &z),
                                           kestrovaRCDMappedToXYZ(m_handle, 1, 2, ucDisparity, &x, &y, &z),
                                           kestrovaXYZToRCD(m_handle, 1, 2, ucDisparity, &x, &y, &z)}) {
            EXPECT_EQ(eError, eExpected);
        }
    };
    expectAll(0, KestrovaErrorInvalidRequest);
    m_multi.m_pActiveContext = nullptr;
    expectAll(9, KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaRCDToXYZ(m_handle, 1, 2, 9, &x, &y, &z), KestrovaErrorInvalidContext);
    EXPECT_TRUE(x == 7 && y == 7 && z == 7);
    m_multi.m_pActiveContext = m_pContext;
    EXPECT_EQ(kestrovaRCDToXYZ(m_handle, 1, 2, 4, &x, &y, &z), KestrovaErrorInvalidRequest);
    EXPECT_TRUE(x == 0 && y == 0 && z == 0);
}
