// From lenses and places of cameras, however they became known, to a calibration text.
//
// calibrate and import end here, and so does the demo: check the cameras, settle which one is left, plan the rectified
// view, fit the maps, describe the set. What a person should know comes as remarks, what cannot be used as AppError.
#pragma once

#include "cameras/CalibrationText.h"
#include "cameras/DepthRange.h"

#include <filesystem>
#include <optional>

namespace kestrova::app {

/** What holds when the cameras do not stand where their names say. */
enum class CameraNames
{
    MustHold,  // an error says which are swapped
    ByGeometry // they are named anew, with a remark
};

struct RigWishes
{
    std::string m_source = "cameras";     // what errors begin with: a file, as a rule
    std::optional<cv::Size> m_canvas;     // 4 by 3; without it one whose pixels are about as fine as the raw ones
    double m_dAlpha = 0.0;                // 0 shows only what every ray reaches, 1 keeps each raw pixel
    std::optional<cv::Vec2i> m_disparity; // default: what holds the subject, without one 0 to a tenth of the width
    std::vector<cv::Vec3d> m_subject;     // places that the range should see, metres from the right camera
    DepthRange m_depth;                   // another way to say the disparity
    PerCamera<double> m_gains;            // 1 where none is given
    CameraNames m_eNames = CameraNames::MustHold;
    std::optional<KestrovaCamera> m_leftIs;   // which of the set is left, by its present name; should R and T say
                                              // otherwise, they are taken as the way back
    std::optional<RectificationPlan> m_given; // a view to keep: only cut to 4 by 3
    int m_nSerialNumber = 0;
    std::string m_note; // one line, a comment of the text
};

struct Rig
{
    CameraSet m_set; // under the names that hold
    RectificationPlan m_plan;
    PerCamera<CameraMaps> m_maps;
    CalibrationDescription m_description;
    std::vector<std::string> m_remarks; // for the person who asked, a line each
    cv::Vec2d m_lostField;              // percent of the angle of view, along rows and columns, that no pixel shows
    std::vector<Rig> m_further;         // a second section: the vertical pair of an L that one disparity cannot serve

    std::string text() const;
    double worstFit() const; // largest error of the maps, in pixels
};

/** Throws AppError when no rig comes of it. */
Rig buildRig(const CameraSet& rSet, const RigWishes& rWishes);

/** At which disparities the rectified images show places, told from the right camera. */
std::vector<double> disparitiesOf(const std::vector<cv::Vec3d>& rPlaces, const RectificationPlan& rPlan);

/** The same pair with right and left, or right and top, in each other's place. */
CameraSet exchanged(const CameraSet& rPair);

} // namespace kestrova::app
