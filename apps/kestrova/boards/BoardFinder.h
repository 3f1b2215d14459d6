// Looks for the board in every photo.
#pragma once

#include "boards/Board.h"
#include "boards/PhotoList.h"

#include <functional>
#include <optional>

namespace kestrova::app {

/** One photo, and what has become of it. */
struct View
{
    std::filesystem::path m_file;
    Corners m_corners;          // empty when no board was found
    double m_dBrightness = 0.0; // mean grey of the board
    double m_dLensError = 0.0;  // pixels RMS, against the camera alone
    double m_dSetError = 0.0;   // pixels RMS, against the whole set
    std::string m_reject;       // why it is not used; empty when it is

    bool isUsed() const { return m_reject.empty(); }
};

using Shot = PerCamera<View>; // photos of one instant
bool isUsed(const Shot& rShot);

struct Shots
{
    Board m_board;
    cv::Size m_size;
    std::vector<Shot> m_shots;

    std::size_t nUsed() const;
};

/** A photo as 8-bit grey; 12- and 16-bit files are scaled. Throws AppError that names the file. */
cv::Mat1b readPhoto(const std::filesystem::path& rFile);

/** Corners to a fraction of a pixel, or none. */
std::optional<Corners> findBoard(const cv::Mat1b& rImage, cv::Size inner);

using Progress = std::function<void(int nDone, int nAll)>;

/** Throws AppError when sizes differ, or when the photos show a board of another size. */
Shots findBoards(const std::vector<PhotoSet>& rPhotos, const Board& rBoard, const Progress& rProgress);

/** A line a photo: used, or why not. */
std::string verdicts(const Shots& rShots);

} // namespace kestrova::app
