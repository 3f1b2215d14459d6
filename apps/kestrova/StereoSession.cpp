#include "StereoSession.h"

#include "AppError.h"

namespace kestrova::app {

static void check(KestrovaError error, const char* pszWhat)
{
    if (error != KestrovaErrorOk)
        throw AppError(std::string(pszWhat) + ": " + kestrovaErrorToString(error));
}

StereoSession::StereoSession(const std::filesystem::path& rCalibration)
{
    KestrovaContext handle = nullptr;
    const KestrovaError error = kestrovaGetDefaultContextFromFile(&handle, rCalibration.c_str());
    m_handle.reset(handle);
    m_outline = readOutline(rCalibration).front(); // names the key of a bad text
    if (error != KestrovaErrorOk)
        throw AppError(rCalibration.string() + ": bad calibration: " + kestrovaErrorToString(error) + " (version " +
                       m_outline.m_version + ", product " + m_outline.m_product + ", configuration " +
                       m_outline.m_configuration + ")");
}

cv::Size StereoSession::canvas() const
{
    cv::Size size;
    check(kestrovaGetResolution(handle(), &size.height, &size.width), "resolution");
    return size;
}

Optics StereoSession::optics() const
{
    Optics optics;
    check(kestrovaGetFocalLength(handle(), &optics.m_fFocal), "focal length");
    check(kestrovaGetBaseline(handle(), &optics.m_fBaseline), "baseline");
    check(kestrovaGetImageCenter(handle(), &optics.m_fCentreRow, &optics.m_fCentreCol), "image centre");
    return optics;
}

cv::Vec2i StereoSession::disparityRange() const
{
    cv::Vec2i range;
    check(kestrovaGetDisparity(handle(), &range[0], &range[1]), "disparity range");
    return range;
}

RejectCodes StereoSession::rejectCodes() const
{
    RejectCodes codes;
    kestrovaGetTextureValidationMapping(handle(), &codes.m_aucCodes[0]);
    kestrovaGetUniquenessValidationMapping(handle(), &codes.m_aucCodes[1]);
    kestrovaGetSubpixelValidationMapping(handle(), &codes.m_aucCodes[2]);
    kestrovaGetBackForthValidationMapping(handle(), &codes.m_aucCodes[4]);
    return codes;
}

int StereoSession::windowReach() const
{
    int nWindow = 0;
    int nEdge = 0;
    int nEdgeOn = 0;
    kestrovaGetStereoMask(handle(), &nWindow);
    kestrovaGetEdgeMask(handle(), &nEdge);
    kestrovaGetEdgeCorrelation(handle(), &nEdgeOn);
    return nWindow / 2 + (nEdgeOn ? nEdge / 2 : 0);
}

void StereoSession::useHorizontalPair()
{
    KestrovaCameraConfiguration eNow{};
    check(kestrovaGetCameraConfiguration(handle(), &eNow), "camera configuration");
    if (eNow != KestrovaCfg2CameraHorizontal && eNow != KestrovaCfg2CameraWide)
        check(kestrovaSetCameraConfiguration(handle(), KestrovaCfg2CameraHorizontal),
              "this calibration has no pair of cameras side by side");
}

const OutlineCamera& StereoSession::outlineCamera(KestrovaCamera eCamera) const
{
    const bool bLeft = eCamera == KestrovaCamLeft;
    const OutlineCamera* pCamera = m_outline.camera(bLeft ? cv::Vec3i(-1, 0, 0) : cv::Vec3i(0, 0, 0));
    if (!pCamera)
        throw AppError(bLeft ? "the calibration has no left camera (POSITION -1 0 0)"
                             : "the calibration has no right camera (POSITION 0 0 0)");
    return *pCamera;
}

static int channelOf(const OutlineCamera& rCamera)
{
    return rCamera.m_channel == "RED" ? 0 : rCamera.m_channel == "GREEN" ? 1 : 2;
}

void StereoSession::preprocess(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, FrameForm eForm)
{
    if (rRight.size() != rLeft.size())
        throw AppError("the right and the left frame have different sizes");
    const int nRows = rRight.rows;
    const int nCols = rRight.cols;
    for (cv::Mat1b& rPlane : m_planes)
        rPlane = cv::Mat1b(rRight.size(), uchar(0));
    rRight.copyTo(m_planes[static_cast<std::size_t>(channelOf(outlineCamera(KestrovaCamRight)))]);
    rLeft.copyTo(m_planes[static_cast<std::size_t>(channelOf(outlineCamera(KestrovaCamLeft)))]);

    KestrovaInput input{};
    if (eForm == FrameForm::Packed) {
        const cv::Mat1b fourth(rRight.size(), uchar(0));
        cv::merge(std::vector<cv::Mat>{m_planes[2], m_planes[1], m_planes[0], fourth}, m_packed);
        kestrovaBuildPackedKestrovaInput(nCols, nRows, static_cast<int>(m_packed.step), 0, 0, m_packed.data, &input);
    } else {
        kestrovaBuildRGBKestrovaInput(nCols, nRows, static_cast<int>(m_planes[0].step), 0, 0, m_planes[0].data,
                                      m_planes[1].data, m_planes[2].data, &input);
    }
    const std::string what = "rectification of a frame of " + std::to_string(nCols) + "x" + std::to_string(nRows);
    check(kestrovaPreprocess(handle(), &input), what.c_str());
}

cv::Mat1b StereoSession::image(KestrovaImageType eType, KestrovaCamera eCamera) const
{
    KestrovaImage record{};
    check(kestrovaGetImage(handle(), eType, eCamera, &record), "image");
    return cv::Mat1b(record.nrows, record.ncols, record.data, static_cast<std::size_t>(record.rowinc)).clone();
}

void StereoSession::match(bool bSubpixel)
{
    check(kestrovaSetSubpixelInterpolation(handle(), bSubpixel), "subpixel interpolation");
    check(kestrovaStereo(handle()), "stereo");
}

cv::Mat1w StereoSession::matchTo16()
{
    match(true);
    KestrovaImage16 record{};
    check(kestrovaGetImage16(handle(), KestrovaImg16Disparity, KestrovaCamReference, &record), "16-bit disparity");
    return cv::Mat1w(record.nrows, record.ncols, record.data, static_cast<std::size_t>(record.rowinc)).clone();
}

cv::Mat1b StereoSession::matchTo8()
{
    match(false);
    return image(KestrovaImgDisparity, KestrovaCamReference);
}

DisparityMap StereoSession::read16(const cv::Mat1w& rImage) const
{
    int nOffset = 0;
    check(kestrovaGetDisparityOffset(handle(), &nOffset), "disparity offset");
    return readDisparity16(rImage, nOffset, rejectCodes());
}

DisparityMap StereoSession::read8(const cv::Mat1b& rImage) const
{
    int nMapped = 0;
    int nOffset = 0;
    check(kestrovaGetDisparityMappingOn(handle(), &nMapped), "disparity mapping");
    check(kestrovaGetDisparityOffset(handle(), &nOffset), "disparity offset");
    ByteScale scale{static_cast<double>(nOffset), 1.0, 0};
    if (nMapped) {
        std::uint8_t ucMin = 0;
        std::uint8_t ucMax = 0;
        check(kestrovaGetDisparityMapping(handle(), &ucMin, &ucMax), "disparity mapping");
        const cv::Vec2i range = disparityRange();
        scale = {static_cast<double>(range[0]), static_cast<double>(range[1] - range[0]) / (ucMax - ucMin), ucMin};
    }
    return readDisparity8(rImage, scale, rejectCodes());
}

cv::Mat1b StereoSession::region(KestrovaCamera eCamera, cv::Size raw) const
{
    int nRectify = 0;
    check(kestrovaGetRectify(handle(), &nRectify), "rectification");
    if (!nRectify)
        return cv::Mat1b(canvas(), uchar(255));
    const OutlineCamera& rCamera = outlineCamera(eCamera);
    const cv::Size size = canvas();
    return regionInsideRaw(size, raw,
                           [&](cv::Point pixel) { return cv::Point2f(rCamera.rawPosition(pixel, size, raw)); });
}

cv::Point3f StereoSession::point(cv::Point pixel, std::uint16_t uDisparity) const
{
    cv::Point3f point;
    check(kestrovaRCD16ToXYZ(handle(), pixel.y, pixel.x, uDisparity, &point.x, &point.y, &point.z), "point");
    return point;
}

} // namespace kestrova::app
