// Lenses, places of the cameras and places of the boards, all adjusted together until the corners fit best.
//
// Two cameras or three: one board in space explains what every camera of a shot sees, so an L has no pair that
// contradicts the other. Coefficients that the photos leave open are held small: they would run wild, fold the lens
// back or put a pole beside the frame, where no board was.
#pragma once

#include "basics/Statistics.h"
#include "boards/BoardFinder.h"

namespace kestrova::app {

/**
 * rSet is where to begin, with lenses that fit each camera by itself. Shots count in which the right camera and
 * another one are used; m_dSetError of their views is set. Views that fit badly pull less.
 */
void refineSet(CameraSet& rSet, Shots& rShots);

/**
 * One camera's lens alone, from where to begin and all its used views; m_dLensError of them is set. All views pull
 * alike. Returns the standard deviation of the focal length that the photos leave, a share of it.
 */
double refineLens(CameraModel& rLens, Shots& rShots, KestrovaCamera eCamera, int nMostRounds = 60);

/** Turn and place of the board as the camera sees it: least pixels between the corners and the lens. */
struct BoardPose
{
    cv::Vec3d m_turn;
    cv::Vec3d m_place;
};
BoardPose boardPose(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners);

/** Pixels RMS between corners and where the lens shows those of a board at a pose. */
double cornerError(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners, const BoardPose& rPose);

cv::Matx33d turnMatrix(const cv::Vec3d& rTurn);

} // namespace kestrova::app
