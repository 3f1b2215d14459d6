#include "boards/PhotoList.h"

#include "basics/AppError.h"
#include "basics/FileGlob.h"
#include "basics/Line.h"
#include "session/FrameList.h"

#include <algorithm>
#include <set>

namespace kestrova::app {

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> expand(KestrovaCamera eCamera, const std::string& rPattern)
{
    std::error_code ignored;
    if (fs::is_directory(rPattern, ignored)) {
        throw AppError(cameraOption(eCamera) + ": " + rPattern + " is a folder; give its photos, as in '" +
                           (fs::path(rPattern) / "*.png").string() + "'",
                       ExitStatus::File);
    }
    return expandGlob(rPattern, cameraOption(eCamera));
}

using FilesOfCameras = PerCamera<std::vector<fs::path>>;

// Names a photo whose number the other camera lacks, if there is one.
std::string lonely(const std::vector<fs::path>& rMany, const std::vector<fs::path>& rFew)
{
    std::set<std::string> known;
    for (const fs::path& rFile : rFew) {
        known.insert(lastNumberIn(rFile));
    }
    for (const fs::path& rFile : rMany) {
        if (!known.contains(lastNumberIn(rFile))) {
            return "; " + rFile.filename().string() + " has no partner";
        }
    }
    return {};
}

void checkCounts(const FilesOfCameras& rFiles)
{
    const auto& rRight = rFiles.at(KestrovaCamRight);
    for (const auto& [eCamera, rOthers] : rFiles) {
        if (rOthers.size() != rRight.size()) {
            const bool bMore = rOthers.size() > rRight.size();
            throw AppError(line("%s has %zu photos and --right %zu; they are paired by order, so each needs a partner",
                                cameraOption(eCamera).c_str(), rOthers.size(), rRight.size()) +
                               lonely(bMore ? rOthers : rRight, bMore ? rRight : rOthers),
                           ExitStatus::Content);
        }
    }
}

void checkSet(const PhotoSet& rSet, bool bAnyNames)
{
    const fs::path& rRight = rSet.at(KestrovaCamRight);
    for (const auto& [eCamera, rFile] : rSet) {
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        if (fs::equivalent(rRight, rFile)) {
            throw AppError(rFile.string() + ": stands behind both --right and " + cameraOption(eCamera) +
                               "; give each camera its own photos",
                           ExitStatus::Content);
        }
        if (!bAnyNames && lastNumberIn(rRight) != lastNumberIn(rFile)) {
            throw AppError(
                rRight.filename().string() + " would be paired with " + rFile.filename().string() +
                    ", but their numbers differ; remove what has no partner, or say --any-names if the order "
                    "is right",
                ExitStatus::Content);
        }
    }
}

} // namespace

std::vector<PhotoSet> pairPhotos(const PhotoNames& rNames, bool bAnyNames)
{
    FilesOfCameras files;
    for (const auto& [eCamera, rPatterns] : rNames) {
        for (const std::string& rPattern : rPatterns) {
            for (fs::path& rFile : expand(eCamera, rPattern)) {
                files[eCamera].push_back(std::move(rFile));
            }
        }
    }
    checkCounts(files);
    std::vector<PhotoSet> sets(files.at(KestrovaCamRight).size());
    for (std::size_t u = 0; u < sets.size(); ++u) {
        for (const auto& [eCamera, rFiles] : files) {
            sets[u][eCamera] = rFiles[u];
        }
        checkSet(sets[u], bAnyNames);
    }
    return sets;
}

} // namespace kestrova::app
