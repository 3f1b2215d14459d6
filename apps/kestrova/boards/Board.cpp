#include "boards/Board.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "basics/Units.h"

#include <algorithm>

namespace kestrova::app {

namespace {

constexpr int sk_nFewest = 3; // corners a side; the finders want no less
constexpr int sk_nMost = 60;

} // namespace

std::vector<cv::Point3f> Board::points() const
{
    std::vector<cv::Point3f> all;
    for (int nRow = 0; nRow < m_inner.height; ++nRow) {
        for (int nCol = 0; nCol < m_inner.width; ++nCol) {
            all.emplace_back(static_cast<float>(nCol * m_dSquare), static_cast<float>(nRow * m_dSquare), 0.0f);
        }
    }
    return all;
}

std::string Board::describe() const
{
    return line("%dx%d inner corners, squares of %.6g mm", m_inner.width, m_inner.height, 1000.0 * m_dSquare);
}

Board parseBoard(const std::string& rInner, const std::string& rSquare)
{
    const Board board{parseSize(rInner, "--inner"), parseLength(rSquare, "--square")};
    if (std::min(board.m_inner.width, board.m_inner.height) < sk_nFewest ||
        std::max(board.m_inner.width, board.m_inner.height) > sk_nMost) {
        throw AppError(line("--inner: %s: from %d to %d corners a side; count the corners where four squares meet, one "
                            "less than squares",
                            rInner.c_str(), sk_nFewest, sk_nMost),
                       ExitStatus::Usage);
    }
    if (board.m_dSquare > 1.0 || board.m_dSquare < 0.001) {
        throw AppError("--square: " + rSquare + ": squares have 1 mm to 1 m; check the unit", ExitStatus::Usage);
    }
    return board;
}

namespace {

Corners quarterTurn(const Corners& rCorners, int nSide)
{
    Corners turned(rCorners.size());
    for (int nRow = 0; nRow < nSide; ++nRow) {
        for (int nCol = 0; nCol < nSide; ++nCol) {
            turned[static_cast<std::size_t>(nRow * nSide + nCol)] =
                rCorners[static_cast<std::size_t>((nSide - 1 - nCol) * nSide + nRow)];
        }
    }
    return turned;
}

} // namespace

std::vector<Corners> turnings(const Corners& rCorners, cv::Size inner)
{
    std::vector<Corners> all{rCorners, Corners(rCorners.rbegin(), rCorners.rend())};
    if (inner.width == inner.height) {
        for (int n = 0; n < 2; ++n) {
            all.push_back(quarterTurn(all[static_cast<std::size_t>(n)], inner.width));
        }
    }
    return all;
}

Corners withoutMirror(Corners corners, cv::Size inner)
{
    const auto uCols = static_cast<std::size_t>(inner.width);
    const cv::Point2f along = corners[uCols - 1] - corners.front();
    const cv::Point2f down = corners[corners.size() - uCols] - corners.front();
    if (along.cross(down) < 0.0f) {
        for (auto row = corners.begin(); row != corners.end(); row += inner.width) {
            std::reverse(row, row + inner.width);
        }
    }
    return corners;
}

} // namespace kestrova::app
