// Lenses, places of the cameras and places of the boards, all adjusted together until the corners fit best.
//
// Two cameras or three: one board in space explains what every camera of a shot sees, so an L has no pair that
// contradicts the other.
#pragma once

#include "basics/Statistics.h"
#include "boards/BoardFinder.h"

namespace kestrova::app {

/// rSet is where to begin, with lenses that fit each camera by itself. Shots count in which the right camera and
/// another one are used; m_dSetError of their views is set. Views that fit badly pull less.
void refineSet(CameraSet& rSet, Shots& rShots);

/// Turn and place of the board as the camera sees it.
struct BoardPose
{
    cv::Vec3d m_turn;
    cv::Vec3d m_place;
};
BoardPose boardPose(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners);

cv::Matx33d turnMatrix(const cv::Vec3d& rTurn);

} // namespace kestrova::app
