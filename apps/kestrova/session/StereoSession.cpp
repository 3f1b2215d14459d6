#include "session/StereoSession.h"

#include "basics/AppError.h"
#include "basics/InputFile.h"

namespace kestrova::app {

namespace {

void check(KestrovaError error, const char* pszWhat)
{
    if (error != KestrovaErrorOk) {
        throw AppError(std::string(pszWhat) + ": " + kestrovaErrorToString(error));
    }
}

} // namespace

StereoSession::StereoSession(const std::filesystem::path& rCalibration) : m_file(rCalibration.string())
{
    checkLength(rCalibration, sk_nLongestText);
    KestrovaContext handle = nullptr;
    const KestrovaError error = kestrovaGetDefaultContextFromFile(&handle, rCalibration.c_str());
    m_handle.reset(handle);
    m_outline = readOutline(rCalibration).front(); // names the key of a bad text
    if (error != KestrovaErrorOk) {
        throw AppError(m_file + ": bad calibration: " + kestrovaErrorToString(error), ExitStatus::Content);
    }
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
    kestrovaGetSurfaceValidationMapping(handle(), &codes.m_aucCodes[3]);
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

KestrovaCameraConfiguration StereoSession::configuration() const
{
    KestrovaCameraConfiguration eNow{};
    check(kestrovaGetCameraConfiguration(handle(), &eNow), "camera configuration");
    return eNow == KestrovaCfg2CameraWide ? KestrovaCfg2CameraHorizontal : eNow;
}

void StereoSession::useCameras(KestrovaCameraConfiguration eConfiguration)
{
    const bool bPair = eConfiguration == KestrovaCfg2CameraHorizontal;
    const auto choose = [&](KestrovaCameraConfiguration eWish) {
        return kestrovaSetCameraConfiguration(handle(), eWish) == KestrovaErrorOk;
    };
    if (configuration() != eConfiguration && !choose(eConfiguration) && !(bPair && choose(KestrovaCfg2CameraWide))) {
        throw AppError(m_file + ": CAMERACONFIGURATION: has no " +
                           (bPair                                          ? "pair of cameras side by side"
                            : eConfiguration == KestrovaCfg2CameraVertical ? "pair of cameras one above the other"
                                                                           : "L of three cameras"),
                       ExitStatus::Content);
    }
    kestrovaEnableSSE2IfAvailable(bPair);
}

void StereoSession::fitThreads()
{
    if (configuration() == KestrovaCfg2CameraHorizontal) {
        return;
    }
    int nThreads = 1;
    int nMask = 0;
    check(kestrovaGetMaxThreadCount(handle(), &nThreads), "threads");
    check(kestrovaGetStereoMask(handle(), &nMask), "stereo mask");
    const int nRows = canvas().height;
    const int nRoom = nRows - 2 * (nMask / 2) - disparityRange()[1];
    while (nThreads > 1 && (nThreads - 1) * (nRows / nThreads) > nRoom) {
        --nThreads;
    }
    check(kestrovaSetMaxThreadCount(handle(), nThreads), "threads");
}

const OutlineCamera& StereoSession::outlineCamera(KestrovaCamera eCamera) const
{
    const cv::Vec3i place = eCamera == KestrovaCamLeft  ? cv::Vec3i(-1, 0, 0)
                            : eCamera == KestrovaCamTop ? cv::Vec3i(0, -1, 0)
                                                        : cv::Vec3i(0, 0, 0);
    const OutlineCamera* pCamera = m_outline.camera(place);
    if (!pCamera) {
        throw AppError(m_file + ": POSITION: no " + cameraName(eCamera) + " camera", ExitStatus::Content);
    }
    return *pCamera;
}

namespace {

int channelOf(const OutlineCamera& rCamera)
{
    return rCamera.m_channel == "RED" ? 0 : rCamera.m_channel == "GREEN" ? 1 : 2;
}

} // namespace

void StereoSession::preprocess(const PerCamera<cv::Mat1b>& rFrames, FrameForm eForm)
{
    const cv::Size size = rFrames.at(KestrovaCamRight).size();
    const int nRows = size.height;
    const int nCols = size.width;
    for (cv::Mat1b& rPlane : m_planes) {
        rPlane.create(size); // the same memory for all frames of a batch
        rPlane.setTo(0);
    }
    for (const auto& [eCamera, rFrame] : rFrames) {
        if (rFrame.size() != size) {
            throw AppError(std::string("the right and the ") + cameraName(eCamera) + " frame have different sizes",
                           ExitStatus::Content);
        }
        rFrame.copyTo(m_planes[static_cast<std::size_t>(channelOf(outlineCamera(eCamera)))]);
    }

    // Enhanced quality makes its second images only while subpixel interpolation is on.
    check(kestrovaSetSubpixelInterpolation(handle(), 1), "subpixel interpolation");
    KestrovaInput input{};
    if (eForm == FrameForm::Packed) {
        const cv::Mat1b fourth(size, uchar(0));
        cv::merge(std::vector<cv::Mat>{m_planes[2], m_planes[1], m_planes[0], fourth}, m_packed);
        kestrovaBuildPackedKestrovaInput(nCols, nRows, static_cast<int>(m_packed.step), 0, 0, m_packed.data, &input);
    } else {
        kestrovaBuildRGBKestrovaInput(nCols, nRows, static_cast<int>(m_planes[0].step), 0, 0, m_planes[0].data,
                                      m_planes[1].data, m_planes[2].data, &input);
    }
    const std::string what = "rectification of a frame of " + std::to_string(nCols) + "x" + std::to_string(nRows);
    check(kestrovaPreprocess(handle(), &input), what.c_str());
}

cv::Mat3b StereoSession::rectifyColour(const cv::Mat3b& rFrame)
{
    int nRectify = 0;
    check(kestrovaGetRectify(handle(), &nRectify), "rectification");
    if (!nRectify) {
        return rFrame.clone();
    }
    std::array<cv::Mat1b, 3> planes;
    cv::split(rFrame, planes.data());
    KestrovaInput input{};
    kestrovaBuildRGBKestrovaInput(rFrame.cols, rFrame.rows, rFrame.cols, 0, 0, planes[2].data, planes[1].data,
                                  planes[0].data, &input);
    KestrovaColorImage record{};
    check(kestrovaRectifyColorImage(handle(), KestrovaCamRight, &input, &record), "rectification of colours");
    std::vector<cv::Mat> rectified;
    for (uint8_t* pPlane : {record.blue, record.green, record.red}) {
        rectified.emplace_back(record.nrows, record.ncols, CV_8U, pPlane, static_cast<std::size_t>(record.rowinc));
    }
    cv::Mat3b picture;
    cv::merge(rectified, picture);
    return picture;
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
    if (!nRectify) {
        return cv::Mat1b(canvas(), uchar(255));
    }
    const OutlineCamera& rCamera = outlineCamera(eCamera);
    const cv::Size size = canvas();
    return regionInsideRaw(size, raw, [&](cv::Point pixel) {
        const cv::Point2d outside(-1.0, -1.0);
        return cv::Point2f(rCamera.believedPosition(pixel, size, raw).value_or(outside));
    });
}

cv::Point2d StereoSession::rectified(KestrovaCamera eCamera, const cv::Point2d& rRaw, cv::Size raw) const
{
    return outlineCamera(eCamera).rectifiedPosition(rRaw, canvas(), raw);
}

std::optional<double> StereoSession::rawShape() const
{
    int nRectify = 0;
    check(kestrovaGetRectify(handle(), &nRectify), "rectification");
    if (!nRectify) {
        return std::nullopt;
    }
    const OutlineCamera& rCamera = outlineCamera(KestrovaCamRight);
    const cv::Size size = canvas();
    const cv::Point2d middle((size.width - 1) / 2.0, (size.height - 1) / 2.0);
    const double dStep = size.height / 8.0;
    const auto at = [&](double dX, double dY) {
        return rCamera.rawPosition(middle + cv::Point2d(dX, dY), size, {1000, 1000});
    };
    return (at(0, dStep).y - at(0, -dStep).y) / (at(dStep, 0).x - at(-dStep, 0).x);
}

cv::Point3f StereoSession::point(cv::Point pixel, std::uint16_t uDisparity) const
{
    cv::Point3f point;
    check(kestrovaRCD16ToXYZ(handle(), pixel.y, pixel.x, uDisparity, &point.x, &point.y, &point.z), "point");
    return point;
}

} // namespace kestrova::app
