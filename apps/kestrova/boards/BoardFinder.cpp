#include "boards/BoardFinder.h"

#include "basics/AppError.h"
#include "basics/ImageFiles.h"
#include "basics/Line.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <mutex>

namespace kestrova::app {

namespace {

constexpr int sk_nLargeSide = 1600; // pixels; above it boards are looked for in a smaller picture

} // namespace

bool isUsed(const Shot& rShot)
{
    return std::all_of(rShot.begin(), rShot.end(), [](const auto& rEntry) { return rEntry.second.isUsed(); });
}

std::size_t Shots::nUsed() const
{
    return static_cast<std::size_t>(
        std::count_if(m_shots.begin(), m_shots.end(), [](const Shot& rShot) { return isUsed(rShot); }));
}

cv::Mat1b readPhoto(const std::filesystem::path& rFile)
{
    static std::mutex s_oneAtATime;
    const auto read = [&] {
        const std::lock_guard lock(s_oneAtATime);
        return readImage(rFile, cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH);
    };
    const cv::Mat image = read();
    if (image.depth() != CV_8U && image.depth() != CV_16U) {
        throw AppError(rFile.string() + ": pixels of floating point; give photos of 8 or 16 bits", ExitStatus::Content);
    }
    if (image.depth() == CV_8U) {
        return image;
    }
    double dMax = 0.0;
    cv::minMaxLoc(image, nullptr, &dMax);
    cv::Mat1b bytes;
    image.convertTo(bytes, CV_8U, dMax < 4096.0 ? 1.0 / 16.0 : 1.0 / 256.0); // 12 bits often stand in 16
    return bytes;
}

namespace {

double smallestStep(const Corners& rCorners, cv::Size inner)
{
    double dSmallest = 1e9;
    for (std::size_t u = 1; u < rCorners.size(); ++u) {
        if (u % static_cast<std::size_t>(inner.width) != 0) {
            dSmallest = std::min(dSmallest, cv::norm(rCorners[u] - rCorners[u - 1]));
        }
    }
    return dSmallest;
}

// On photos with noise or compression this is nearer to the lens model than what the finders say.
Corners refined(const cv::Mat1b& rImage, Corners corners, cv::Size inner)
{
    const int nHalf = std::clamp(static_cast<int>(smallestStep(corners, inner) / 3.0), 2, 11);
    cv::cornerSubPix(rImage, corners, {nHalf, nHalf}, {-1, -1},
                     {cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 60, 1e-4});
    return corners;
}

cv::Mat1b smaller(const cv::Mat1b& rImage)
{
    const int nFactor = (std::max(rImage.cols, rImage.rows) + sk_nLargeSide - 1) / sk_nLargeSide;
    if (nFactor <= 1) {
        return rImage;
    }
    cv::Mat1b reduced;
    cv::resize(rImage, reduced, {}, 1.0 / nFactor, 1.0 / nFactor, cv::INTER_AREA);
    return reduced;
}

} // namespace

std::optional<Corners> findBoard(const cv::Mat1b& rImage, cv::Size inner)
{
    const cv::Mat1b picture = smaller(rImage);
    Corners corners;
    if (!cv::findChessboardCornersSB(picture, inner, corners, cv::CALIB_CB_NORMALIZE_IMAGE) &&
        !cv::findChessboardCorners(picture, inner, corners,
                                   cv::CALIB_CB_ADAPTIVE_THRESH | cv::CALIB_CB_NORMALIZE_IMAGE)) {
        return std::nullopt;
    }
    const cv::Point2f scale(static_cast<float>(rImage.cols) / static_cast<float>(picture.cols),
                            static_cast<float>(rImage.rows) / static_cast<float>(picture.rows));
    for (cv::Point2f& rCorner : corners) {
        rCorner = {(rCorner.x + 0.5f) * scale.x - 0.5f, (rCorner.y + 0.5f) * scale.y - 0.5f};
    }
    return withoutMirror(refined(rImage, std::move(corners), inner), inner);
}

// ---- a board of another size than was said ----

namespace {

cv::Size lying(cv::Size size)
{
    return {std::max(size.width, size.height), std::min(size.width, size.height)};
}

// The finders take a part of a larger board for the whole, each photo another part, so the true size is asked for.
std::optional<cv::Size> trueSize(const cv::Mat1b& rImage)
{
    cv::Size largest;
    for (const cv::Size seed : {cv::Size(3, 3), cv::Size(5, 4)}) {
        Corners ignored;
        cv::Mat meta;
        if (cv::findChessboardCornersSB(smaller(rImage), seed, ignored,
                                        cv::CALIB_CB_NORMALIZE_IMAGE | cv::CALIB_CB_LARGER, meta) &&
            meta.total() > static_cast<std::size_t>(largest.area())) {
            largest = lying(meta.size());
        }
    }
    return largest.empty() ? std::nullopt : std::optional(largest);
}

void checkBoardSize(const Shots& rShots)
{
    constexpr std::size_t uProbes = 8;
    const std::size_t uStep = std::max<std::size_t>(1, rShots.m_shots.size() / uProbes);
    std::map<std::pair<int, int>, int> votes;
    int nProbes = 0;
    for (std::size_t u = 0; u < rShots.m_shots.size(); u += uStep, ++nProbes) {
        if (const auto size = trueSize(readPhoto(rShots.m_shots[u].at(KestrovaCamRight).m_file))) {
            ++votes[{size->width, size->height}];
        }
    }
    const auto best = std::max_element(votes.begin(), votes.end(),
                                       [](const auto& rA, const auto& rB) { return rA.second < rB.second; });
    if (best == votes.end() || best->second < 2 || 3 * best->second < nProbes) {
        return;
    }
    const cv::Size size(best->first.first, best->first.second);
    if (size != lying(rShots.m_board.m_inner)) {
        throw AppError(line("--inner: the photos show a board of %dx%d inner corners, not %dx%d; say --inner %dx%d",
                            size.width, size.height, rShots.m_board.m_inner.width, rShots.m_board.m_inner.height,
                            size.width, size.height),
                       ExitStatus::Content);
    }
}

// ---- all photos ----

double brightness(const cv::Mat1b& rImage, const Corners& rCorners)
{
    std::vector<cv::Point2f> hull;
    cv::convexHull(rCorners, hull);
    std::vector<cv::Point> outline(hull.begin(), hull.end());
    cv::Mat1b mask(rImage.size(), uchar(0));
    cv::fillConvexPoly(mask, outline, 255);
    return cv::mean(rImage, mask)[0];
}

cv::Size look(View& rView, cv::Size inner)
{
    const cv::Mat1b image = readPhoto(rView.m_file);
    if (auto corners = findBoard(image, inner)) {
        rView.m_dBrightness = brightness(image, *corners);
        rView.m_corners = std::move(*corners);
    } else {
        rView.m_reject = "no whole board found";
    }
    return image.size();
}

void checkSizes(const std::vector<View*>& rViews, const std::vector<cv::Size>& rSizes)
{
    for (std::size_t u = 1; u < rViews.size(); ++u) {
        if (rSizes[u] != rSizes[0]) {
            throw AppError(
                line("%s: is %dx%d, but %s is %dx%d; all photos must have the size of the frames to be matched",
                     rViews[u]->m_file.c_str(), rSizes[u].width, rSizes[u].height, rViews[0]->m_file.c_str(),
                     rSizes[0].width, rSizes[0].height),
                ExitStatus::Content);
        }
    }
}

// A photo taken twice would count twice.
void dropRepeated(Shots& rShots)
{
    for (std::size_t u = 1; u < rShots.m_shots.size(); ++u) {
        for (auto& [eCamera, rView] : rShots.m_shots[u]) {
            for (std::size_t v = 0; v < u && rView.isUsed(); ++v) {
                const View& rEarlier = rShots.m_shots[v].at(eCamera);
                if (rEarlier.isUsed() && cv::norm(rEarlier.m_corners, rView.m_corners, cv::NORM_INF) < 0.5) {
                    rView.m_reject = "shows the board where " + rEarlier.m_file.filename().string() + " does";
                }
            }
        }
    }
}

} // namespace

Shots findBoards(const std::vector<PhotoSet>& rPhotos, const Board& rBoard, const Progress& rProgress)
{
    Shots shots{rBoard, {}, {}};
    for (const PhotoSet& rSet : rPhotos) {
        Shot& rShot = shots.m_shots.emplace_back();
        for (const auto& [eCamera, rFile] : rSet) {
            rShot[eCamera].m_file = rFile;
        }
    }
    std::vector<View*> views;
    for (Shot& rShot : shots.m_shots) {
        for (auto& [eCamera, rView] : rShot) {
            views.push_back(&rView);
        }
    }
    std::vector<cv::Size> sizes(views.size());
    std::vector<std::exception_ptr> failures(views.size()); // none may leave a worker thread
    std::mutex oneAtATime;                                  // guards nDone and the terminal
    int nDone = 0;
    cv::parallel_for_({0, static_cast<int>(views.size())}, [&](const cv::Range& rRange) {
        for (auto u = static_cast<std::size_t>(rRange.start); u < static_cast<std::size_t>(rRange.end); ++u) {
            try {
                sizes[u] = look(*views[u], rBoard.m_inner);
            } catch (...) {
                failures[u] = std::current_exception();
            }
            const std::lock_guard lock(oneAtATime);
            rProgress(++nDone, static_cast<int>(views.size()));
        }
    });
    for (const std::exception_ptr& rFailure : failures) {
        if (rFailure) {
            std::rethrow_exception(rFailure);
        }
    }
    checkSizes(views, sizes);
    shots.m_size = sizes.front();
    checkBoardSize(shots);
    dropRepeated(shots);
    return shots;
}

std::string verdicts(const Shots& rShots)
{
    std::string text;
    for (const Shot& rShot : rShots.m_shots) {
        for (const auto& [eCamera, rView] : rShot) {
            text += line("  %-5s  %-20s  ", cameraName(eCamera), rView.m_file.filename().c_str());
            if (!rView.isUsed()) {
                text += "not used: " + rView.m_reject + "\n";
            } else if (rView.m_dLensError == 0.0) { // nothing came of the calibration
                text += "board found\n";
            } else if (rView.m_dSetError == 0.0) {
                text += line("used for this camera only, %.3f px off\n", rView.m_dLensError);
            } else {
                text += line("used, %.3f px off\n", rView.m_dSetError);
            }
        }
    }
    return text;
}

} // namespace kestrova::app
