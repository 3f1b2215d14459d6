// One calibrated set in the hands of the library, through its public functions only.
//
// Images are copied out, because the library's own change with the next frame. Each failure becomes an AppError with
// the library's text.
#pragma once

#include "cameras/CalibrationOutline.h"
#include "session/PixelMask.h"
#include "session/StereoSettings.h"

#include <memory>

namespace kestrova::app {

enum class FrameForm
{
    Planes,
    Packed
};

/** What turns disparity into metres: z = focal length * baseline / disparity. */
struct Optics
{
    float m_fFocal = 0.0f; // pixels of the rectified image
    float m_fBaseline = 0.0f;
    float m_fCentreRow = 0.0f;
    float m_fCentreCol = 0.0f;
};

class StereoSession
{
public:
    /** Loads a calibration file. A bad one gives an error that names the file and, where it can be told, the key. */
    explicit StereoSession(const std::filesystem::path& rCalibration);

    KestrovaContext handle() const { return m_handle.get(); }
    const OutlineSection& outline() const { return m_outline; }
    cv::Size canvas() const; // of the rectified images
    Optics optics() const;
    cv::Vec2i disparityRange() const;
    RejectCodes rejectCodes() const;
    int windowReach() const; // pixels that a match looks at to each side

    /**
     * Chooses the cameras that are matched, which may be two of three. For the sets of the general correlator, all but
     * the horizontal pair, this holds the whole process to the four-lane forms: the eight-lane form of that correlator
     * labels half of the improving pixels 0 by design.
     */
    void useCameras(KestrovaCameraConfiguration eConfiguration);
    KestrovaCameraConfiguration configuration() const; // a wide pair counts as horizontal

    /** Lowers the number of threads until the disparity range has room in every band of the general correlator. */
    void fitThreads();

    /** Frames of the cameras in use, all of one size. */
    void preprocess(const PerCamera<cv::Mat1b>& rFrames, FrameForm eForm);
    cv::Mat1b image(KestrovaImageType eType, KestrovaCamera eCamera) const;

    /** A colour frame of the right camera, as blue, green, red, brought to its rectified image. */
    cv::Mat3b rectifyColour(const cv::Mat3b& rFrame);

    cv::Mat1w matchTo16();
    cv::Mat1b matchTo8();
    DisparityMap read16(const cv::Mat1w& rImage) const;
    DisparityMap read8(const cv::Mat1b& rImage) const;

    /**
     * Where rectified pixels of a camera come from inside the raw frame, and both maps agree. All of it while
     * rectification is off.
     */
    cv::Mat1b region(KestrovaCamera eCamera, cv::Size raw) const;

    /** Where a pixel of a raw frame of that size lands, by the map of the text. */
    cv::Point2d rectified(KestrovaCamera eCamera, const cv::Point2d& rRaw, cv::Size raw) const;

    /**
     * Width over height of the raw frames that the calibration was made with, if their pixels are square. None while
     * rectification is off.
     */
    std::optional<double> rawShape() const;

    /** Point of a 16-bit disparity in metres, from the right camera. */
    cv::Point3f point(cv::Point pixel, std::uint16_t uDisparity) const;

private:
    const OutlineCamera& outlineCamera(KestrovaCamera eCamera) const;
    void match(bool bSubpixel);

    struct Destroy
    {
        void operator()(KestrovaContext handle) const { kestrovaDestroyContext(handle); }
    };
    std::unique_ptr<KestrovaContextHandle, Destroy> m_handle;
    std::string m_file;
    OutlineSection m_outline;
    cv::Mat m_packed;                  // frames stay here while the library's raw images point at them
    std::array<cv::Mat1b, 3> m_planes; // red, green, blue
};

} // namespace kestrova::app
