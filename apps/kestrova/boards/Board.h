// A checkerboard: what is printed, what is looked for in photos, and the points that a calibration compares with.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace kestrova::app {

using Corners = std::vector<cv::Point2f>;

struct Board
{
    cv::Size m_inner;       // corners where four squares meet, along and across
    double m_dSquare = 0.0; // side of a square in metres

    std::size_t nCorners() const { return static_cast<std::size_t>(m_inner.area()); }
    std::vector<cv::Point3f> points() const; // metres, row by row, on the plane z = 0
    std::string describe() const;
};

/** "9x6" and "25mm". Throws AppError that names --inner or --square. */
Board parseBoard(const std::string& rInner, const std::string& rSquare);

/**
 * The orders in which a board can be read that show the same pattern of corners: by half turns, and by quarter turns
 * if it has as many corners along as across. The first is the corners as they are.
 */
std::vector<Corners> turnings(const Corners& rCorners, cv::Size inner);

/** Reads rows the other way round if the order is that of a board seen in a mirror. */
Corners withoutMirror(Corners corners, cv::Size inner);

/**
 * A sheet of paper with the board in true millimetres, a bar of 100 mm and a line that names the board. Throws
 * AppError when the paper has no room for it.
 */
std::string boardSvg(const Board& rBoard, const std::string& rPaper);
std::vector<std::string> paperNames();

} // namespace kestrova::app
