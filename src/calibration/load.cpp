#include "calibration/load.h"

#include "calibration/blocks.h"
#include "calibration/cameraPosition.h"
#include "calibration/lines.h"
#include "calibration/section.h"
#include "context/StereoContext.h"
#include "files/FilePtr.h"
#include "files/cText.h"
#include "rectify/Camera.h"

#include <memory>
#include <utility>

namespace kestrova {

namespace {

WarpSpline splineFromData(const WarpData& rWarp)
{
    return {rWarp.m_knotsY.data(), rWarp.m_knotsX.data(), rWarp.m_coefs.data(), rWarp.m_nNumCoefsX};
}

std::shared_ptr<Camera> createCameraFromData(const CameraData& rData, double dFocalRows, double dFocalCols)
{
    const auto [dRectX, dRectY] = rData.m_adRectFactor;
    const auto [dRawX, dRawY] = rData.m_adRawFactor;
    // Blocks come x first, maps take the row spline first. The inverse map looks up what the forward map is given.
    auto pForward = std::make_unique<WarpMapFunc>(splineFromData(rData.m_warps[1]), splineFromData(rData.m_warps[0]),
                                                  dFocalCols, dFocalRows, dRawX, dRawY, dRectX, dRectY);
    auto pInverse = std::make_unique<WarpMapFunc>(splineFromData(rData.m_warps[3]), splineFromData(rData.m_warps[2]),
                                                  dFocalCols, dFocalRows, dRectX, dRectY, dRawX, dRawY);
    return std::make_shared<Camera>(std::move(pForward), std::move(pInverse), dFocalRows, dFocalCols, rData.m_dGain,
                                    dRectX, dRectY, dRawX, dRawY);
}

/** The steps of a load, in their order. */
class ContextLoader
{
public:
    ContextLoader(CalibrationLines lines, StereoContext& rContext)
        : m_lines(lines), m_reader(lines), m_rContext(rContext)
    {}

    bool run()
    {
        if (!m_reader.readIdentity(m_rContext, m_eConfiguration)) {
            return false;
        }
        parseCameras();
        m_reader.readSettings(m_rContext);
        if (!classifyProduct() || !applyConfiguration() || !buildCameras()) {
            return false;
        }
        assignChannels();
        static_cast<void>(m_rContext.setResolution(m_rContext.m_nRows, m_rContext.m_nCols));
        // Last, since its limits come from resolution, mask and configuration, whatever the order in the text.
        return m_rContext.setDisparityRange(m_rContext.m_nMinDisparity, m_rContext.m_nMaxDisparity) ||
               m_reader.say("Bad disparity range");
    }

private:
    bool classifyProduct();
    bool applyConfiguration();
    void parseCameras();
    bool buildCameras();
    void assignChannels();
    template<typename... Args>
    bool sayFormatted(const char* pszFormat, Args... args) const;

    CalibrationLines m_lines;
    SectionReader m_reader;
    StereoContext& m_rContext;
    KestrovaCameraConfiguration m_eConfiguration = KestrovaCfg3CameraL;
    std::vector<CameraData> m_cameras;               // found blocks of ids 0, 1 and 2, without gaps
    std::unique_ptr<CameraData> m_pColorCamera;      // null without a block of id 100
    std::array<const CameraData*, 3> m_apSelected{}; // borrowed from m_cameras, by camera index
};

template<typename... Args>
bool ContextLoader::sayFormatted(const char* pszFormat, Args... args) const
{
    char acMessage[sk_nLineBufferSize + 64]; // room for a text of one line of a calibration
    std::snprintf(acMessage, sizeof acMessage, pszFormat, args...);
    return m_reader.say(acMessage);
}

void ContextLoader::parseCameras()
{
    constexpr std::int32_t sk_nColorId = 100;
    for (std::int32_t nId = 0; nId < 3; ++nId) {
        CameraData camera;
        if (parseCamera(m_lines, nId, &camera)) {
            m_cameras.push_back(std::move(camera));
        }
    }
    CameraData color;
    if (parseCamera(m_lines, sk_nColorId, &color)) {
        m_pColorCamera = std::make_unique<CameraData>(std::move(color));
    }
}

bool ContextLoader::classifyProduct()
{
    static constexpr struct
    {
        const char* pszName;
        StereoProduct eProduct;
        std::int32_t nCameras;
    } sk_aProducts[] = {{"KESTROVA", ProductHalvorine, 3},
                        {"HALVORINE", ProductHalvorine, 3},
                        {"PEMBERLOW", ProductPemberlow, 2},
                        {"TANDRELL", ProductTandrell, 2}};
    for (const auto& rProduct : sk_aProducts) {
        if (equalIgnoringCase(m_rContext.productName(), rProduct.pszName)) {
            m_rContext.m_eProduct = rProduct.eProduct;
            m_rContext.m_nCameraCount = rProduct.nCameras;
            return true;
        }
    }
    return sayFormatted("Unknown product : '%s'", m_rContext.productName());
}

bool ContextLoader::applyConfiguration()
{
    m_rContext.m_eCameraConfiguration = m_eConfiguration;
    m_rContext.m_nConfiguredCameraCount = m_eConfiguration == KestrovaCfg3CameraL ? 3 : 2;
    if (m_rContext.m_nConfiguredCameraCount > m_rContext.m_nCameraCount) {
        return sayFormatted("Configuration cameras (%d) exceeds physical cameras (%d)",
                            m_rContext.m_nConfiguredCameraCount, m_rContext.m_nCameraCount);
    }
    return true;
}

bool ContextLoader::buildCameras()
{
    const int nFound = static_cast<int>(m_cameras.size());
    if (nFound < m_rContext.m_nCameraCount) {
        return sayFormatted("Product requires %d cameras, but only %d cameras found", m_rContext.m_nCameraCount,
                            nFound);
    }
    for (const CameraData& rCamera : m_cameras) {
        const int nIndex = getCameraIdFromPosition(m_rContext.m_eProduct, rCamera.m_anPosition);
        if (nIndex >= 0) {
            m_apSelected[nIndex] = &rCamera; // of two on one position the later stands
        }
    }
    CalibrationGroup& rGroup = *m_rContext.m_pCalibration;
    for (int nIndex = 0; nIndex < m_rContext.m_nCameraCount; ++nIndex) {
        // A stereo camera sits on one plane of a frame: a block on the colour channel does not serve.
        const CameraData* pData = m_apSelected[nIndex];
        if (pData == nullptr || pData->m_nChannel == sk_nColorChannel) {
            return m_reader.say("Required camera missing from calibration file");
        }
        rGroup.m_apCameras[nIndex] =
            createCameraFromData(*pData, m_rContext.m_dFocalLengthRows, m_rContext.m_dFocalLengthCols);
        m_rContext.m_apCameras[nIndex] = rGroup.m_apCameras[nIndex].get();
    }
    m_rContext.m_bHasColorCamera = m_pColorCamera != nullptr;
    if (m_pColorCamera != nullptr) {
        rGroup.m_pColorCamera =
            createCameraFromData(*m_pColorCamera, m_rContext.m_dFocalLengthRows, m_rContext.m_dFocalLengthCols);
        m_rContext.m_pColorCamera = rGroup.m_pColorCamera.get();
    }
    return true;
}

void ContextLoader::assignChannels()
{
    m_rContext.m_anCameraOfChannel = {-1, -1, -1};
    for (int nIndex = 0; nIndex < m_rContext.m_nCameraCount; ++nIndex) {
        m_rContext.m_anCameraOfChannel[m_apSelected[nIndex]->m_nChannel] = nIndex;
    }
    // Of two cameras on one channel the later has it; the other stays without.
    for (int nChannel = 0; nChannel < 3; ++nChannel) {
        if (const int nIndex = m_rContext.m_anCameraOfChannel[nChannel]; nIndex >= 0) {
            m_rContext.m_anChannelOfCamera[nIndex] = nChannel;
        }
    }
}

} // namespace

bool loadContextFromLines(std::vector<std::string> lines, StereoContext* pContext)
{
    // A group of its own: a load never changes what copies of the context may share.
    pContext->freeSharedResources();
    if (!ContextLoader(lines, *pContext).run()) {
        pContext->freeSharedResources();
        pContext->m_bHasColorCamera = false;
        return false;
    }
    pContext->m_pCalibration->m_calibrationLines = std::move(lines);
    return true;
}

bool loadContextFromStream(std::FILE* pStream, StereoContext* pContext, int nSection)
{
    std::vector<std::string> lines;
    return loadFileToMemory(pStream, lines, nSection) >= 1 && loadContextFromLines(std::move(lines), pContext);
}

bool loadContextFromMemory(const void* pBlock, StereoContext* pContext, int nSection)
{
    std::vector<std::string> lines;
    if (loadMemoryFileToMemory(pBlock, lines, nSection) < 1) {
        if (nSection == 0) {
            std::puts("Failed to load calibration file to memory");
        }
        return false;
    }
    return loadContextFromLines(std::move(lines), pContext);
}

bool loadContextFromFile(const char* pszPath, StereoContext* pContext, int nSection)
{
    const FilePtr pStream = openAtOnce(pszPath);
    return pStream != nullptr && loadContextFromStream(pStream.get(), pContext, nSection);
}

} // namespace kestrova
