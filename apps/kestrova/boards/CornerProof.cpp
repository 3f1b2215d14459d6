#include "boards/CornerProof.h"

#include "basics/AppError.h"
#include "boards/SetRefinement.h"
#include "cameras/RigProof.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace kestrova::app {

namespace {

// The first part of a corner's way; nothing when it leaves the image.
std::optional<cv::Point2d> rectify(const StereoSession& rSession, KestrovaCamera eCamera, cv::Point2f corner)
{
    float fRow = 0.0f;
    float fCol = 0.0f;
    if (const KestrovaError error = kestrovaRectifyPixel(rSession.handle(), eCamera, &fRow, &fCol, corner.y, corner.x);
        error != KestrovaErrorOk) {
        throw AppError(std::string("rectification of a corner: ") + kestrovaErrorToString(error));
    }
    const cv::Size canvas = rSession.canvas();
    if (!(fCol > 0.0f && fRow > 0.0f && fCol < static_cast<float>(canvas.width - 1) &&
          fRow < static_cast<float>(canvas.height - 1))) {
        return std::nullopt;
    }
    return cv::Point2d(fCol, fRow);
}

struct Sighting // of one corner in both images
{
    double m_dRows = 0.0; // other minus right
    cv::Vec3d m_point;    // metres
};

std::optional<Sighting> sight(const StereoSession& rSession, KestrovaCamera eOther, cv::Point2f right,
                              cv::Point2f other)
{
    const auto rightAt = rectify(rSession, KestrovaCamRight, right);
    const auto otherAt = rectify(rSession, eOther, other);
    if (!rightAt || !otherAt) {
        return std::nullopt;
    }
    const cv::Point2d shift = *otherAt - *rightAt;
    const bool bTop = eOther == KestrovaCamTop;
    const Optics optics = rSession.optics();
    const double dZ = double(optics.m_fFocal) * double(optics.m_fBaseline) / (bTop ? shift.y : shift.x);
    return Sighting{bTop ? shift.x : shift.y,
                    {(rightAt->x - double(optics.m_fCentreCol)) * dZ / double(optics.m_fFocal),
                     (rightAt->y - double(optics.m_fCentreRow)) * dZ / double(optics.m_fFocal), dZ}};
}

void addSides(const std::vector<std::optional<Sighting>>& rBoard, cv::Size inner, std::vector<double>& rSides)
{
    const auto at = [&](int nRow, int nCol) { return rBoard[static_cast<std::size_t>(nRow * inner.width + nCol)]; };
    for (int nRow = 0; nRow < inner.height; ++nRow) {
        for (int nCol = 0; nCol < inner.width; ++nCol) {
            if (nCol + 1 < inner.width && at(nRow, nCol) && at(nRow, nCol + 1)) {
                rSides.push_back(cv::norm(at(nRow, nCol)->m_point - at(nRow, nCol + 1)->m_point));
            }
            if (nRow + 1 < inner.height && at(nRow, nCol) && at(nRow + 1, nCol)) {
                rSides.push_back(cv::norm(at(nRow, nCol)->m_point - at(nRow + 1, nCol)->m_point));
            }
        }
    }
}

// Size of the board in space, as a share of what it is. From all its corners at once: noise makes every single side
// longer, but turns the whole board neither larger nor smaller.
std::optional<double> scaleOf(const std::vector<std::optional<Sighting>>& rSeen, const Board& rBoard)
{
    const std::vector<cv::Point3f> points = rBoard.points();
    cv::Vec3d middleOfPoints, middleOfSeen;
    int nCount = 0;
    for (std::size_t u = 0; u < rSeen.size(); ++u) {
        if (rSeen[u]) {
            middleOfPoints += cv::Vec3d(points[u].x, points[u].y, 0.0);
            middleOfSeen += rSeen[u]->m_point;
            ++nCount;
        }
    }
    if (nCount < 2 * rBoard.m_inner.width) {
        return std::nullopt;
    }
    cv::Matx33d product = cv::Matx33d::zeros();
    double dSquares = 0.0;
    for (std::size_t u = 0; u < rSeen.size(); ++u) {
        if (rSeen[u]) {
            const cv::Vec3d point = cv::Vec3d(points[u].x, points[u].y, 0.0) - middleOfPoints / nCount;
            product += point * (rSeen[u]->m_point - middleOfSeen / nCount).t();
            dSquares += point.dot(point);
        }
    }
    cv::Matx31d singular;
    cv::SVD::compute(product, singular);
    return (singular(0) + singular(1)) / dSquares; // the board is flat
}

PairProof prove(const StereoSession& rSession, const Shots& rShots, KestrovaCamera eOther)
{
    PairProof proof;
    std::vector<double> differences;
    std::vector<double> sides;
    std::vector<double> scales;
    for (const Shot& rShot : rShots.m_shots) {
        const View& rRight = rShot.at(KestrovaCamRight);
        const View& rOther = rShot.at(eOther);
        proof.m_adShotRms.push_back(-1.0);
        if (!rRight.isUsed() || !rOther.isUsed()) {
            continue;
        }
        std::vector<std::optional<Sighting>> board;
        std::vector<double> ofShot;
        for (std::size_t u = 0; u < rRight.m_corners.size(); ++u) {
            if (board.push_back(sight(rSession, eOther, rRight.m_corners[u], rOther.m_corners[u])); board.back()) {
                ofShot.push_back(board.back()->m_dRows);
            }
        }
        addSides(board, rShots.m_board.m_inner, sides);
        if (const auto scale = scaleOf(board, rShots.m_board)) {
            scales.push_back(*scale);
        }
        proof.m_adShotRms.back() = rowErrors(ofShot).m_dRms;
        differences.insert(differences.end(), ofShot.begin(), ofShot.end());
    }
    if (scales.empty()) {
        throw AppError("no board lies inside the rectified images: the rectification shows another part of the view "
                       "than the photos do",
                       ExitStatus::Unfit);
    }
    proof.m_rows = rowErrors(std::move(differences));
    cv::Scalar mean, spread;
    cv::meanStdDev(sides, mean, spread);
    proof.m_dSquare = rShots.m_board.m_dSquare * cv::mean(scales)[0];
    proof.m_dSquareSpread = spread[0];
    return proof;
}

void proveSection(PerCamera<PairProof>& rProofs, StereoSession& rSession, const CameraSet& rSet, const Shots& rShots)
{
    rSession.useCameras(configurationOf(rSet));
    expectFrames(rSession.handle(), rShots.m_size);
    for (const auto& [eCamera, rCamera] : rSet) {
        if (eCamera != KestrovaCamRight) {
            rProofs[eCamera] = prove(rSession, rShots, eCamera);
        }
    }
}

} // namespace

PerCamera<PairProof> proveCorners(StereoSession& rSession, const Rig& rRig, const Shots& rShots)
{
    PerCamera<PairProof> proofs;
    for (const Rig& rFurther : rRig.m_further) {
        proveSection(proofs, rSession, rFurther.m_set, rShots);
    }
    proveSection(proofs, rSession, rRig.m_set, rShots); // last, so that the session stays with the first section
    return proofs;
}

double coverage(const Shots& rShots, KestrovaCamera eCamera)
{
    cv::Mat1b covered(rShots.m_size, uchar(0));
    for (const Shot& rShot : rShots.m_shots) {
        const View& rView = rShot.at(eCamera);
        if (!rView.isUsed()) {
            continue;
        }
        Corners hull;
        cv::convexHull(rView.m_corners, hull);
        cv::fillConvexPoly(covered, std::vector<cv::Point>(hull.begin(), hull.end()), 255);
    }
    return cv::countNonZero(covered) / static_cast<double>(covered.total());
}

PerCamera<double> matchedGains(const Shots& rShots)
{
    constexpr double dAgree = 0.03;
    PerCamera<double> gains;
    for (const auto& [eCamera, rFirst] : rShots.m_shots.front()) {
        std::vector<double> ratios;
        for (const Shot& rShot : rShots.m_shots) {
            if (rShot.at(KestrovaCamRight).isUsed() && rShot.at(eCamera).isUsed()) {
                ratios.push_back(rShot.at(KestrovaCamRight).m_dBrightness /
                                 std::max(rShot.at(eCamera).m_dBrightness, 1.0));
            }
        }
        const double dGain = medianOf(ratios);
        for (double& rRatio : ratios) {
            rRatio = std::abs(rRatio - dGain);
        }
        gains[eCamera] = 1.4826 * medianOf(ratios) < dAgree && dGain > 0.25 && dGain < 4.0 ? dGain : 1.0;
    }
    return gains;
}

} // namespace kestrova::app
