#include "session/FrameList.h"

#include "basics/AppError.h"
#include "basics/FileGlob.h"
#include "basics/InputFile.h"
#include "basics/Line.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <set>
#include <sstream>

namespace kestrova::app {

namespace fs = std::filesystem;

std::string cameraOption(KestrovaCamera eCamera)
{
    return std::string("--") + cameraName(eCamera);
}

// ---- names ----

namespace {

bool allDiffer(const std::vector<FrameNames>& rFrames)
{
    std::set<std::string> names;
    return std::all_of(rFrames.begin(), rFrames.end(), [&](const auto& r) { return names.insert(r.m_name).second; });
}

// Outputs bear these names, so they are settled for all frames before any shard is taken.
void nameFrames(std::vector<FrameNames>& rFrames)
{
    const auto right = [](const FrameNames& r) { return r.m_files.at(KestrovaCamRight); };
    for (FrameNames& rFrame : rFrames) {
        rFrame.m_name = right(rFrame).stem().string();
    }
    if (allDiffer(rFrames)) {
        return;
    }
    for (FrameNames& rFrame : rFrames) { // the whole path, without what would lead out of a folder
        rFrame.m_name.clear();
        for (const fs::path& rPart : right(rFrame).lexically_normal().relative_path()) {
            if (rPart != "..") {
                rFrame.m_name.append(rFrame.m_name.empty() ? "" : "_").append(rPart.string());
            }
        }
    }
    std::set<std::string> names;
    for (const FrameNames& rFrame : rFrames) {
        if (!names.insert(rFrame.m_name).second) {
            throw AppError(rFrame.m_origin + right(rFrame).string() +
                               ": is the right image of two frames; give each frame once",
                           ExitStatus::Content);
        }
    }
}

// ---- patterns ----

// The first place where two lists of files part company by their numbers.
std::size_t firstDifference(const std::vector<fs::path>& rFirst, const std::vector<fs::path>& rSecond)
{
    const std::size_t nBoth = std::min(rFirst.size(), rSecond.size());
    for (std::size_t n = 0; n < nBoth; ++n) {
        if (lastNumberIn(rFirst[n]) != lastNumberIn(rSecond[n])) {
            return n;
        }
    }
    return nBoth;
}

void checkCounts(const std::vector<fs::path>& rRight, KestrovaCamera eOther, const std::vector<fs::path>& rOther)
{
    if (rRight.size() == rOther.size()) {
        return;
    }
    const bool bRightMore = rRight.size() > rOther.size();
    const std::vector<fs::path>& rMore = bRightMore ? rRight : rOther;
    const std::size_t nAt = firstDifference(rRight, rOther);
    throw AppError(line("%s gives %zu file%s, %s %zu: ", cameraOption(KestrovaCamRight).c_str(), rRight.size(),
                        rRight.size() == 1 ? "" : "s", cameraOption(eOther).c_str(), rOther.size()) +
                       rMore[nAt].string() + " is the first without a partner; each frame needs a file of every camera",
                   ExitStatus::Content);
}

} // namespace

FrameList pairByOrder(const PerCamera<std::string>& rPatterns)
{
    PerCamera<std::vector<fs::path>> files;
    for (const auto& [eCamera, rPattern] : rPatterns) {
        files[eCamera] = expandGlob(rPattern, cameraOption(eCamera));
    }
    const std::vector<fs::path>& rRight = files.at(KestrovaCamRight);
    FrameList list{std::vector<FrameNames>(rRight.size())};
    for (const auto& [eCamera, rOfCamera] : files) {
        checkCounts(rRight, eCamera, rOfCamera);
        if (const std::size_t n = firstDifference(rRight, rOfCamera); rRight.size() > 1 && n < rRight.size()) {
            list.m_remark = "paired by order, though numbers differ, first in " + rRight[n].string() + " and " +
                            rOfCamera[n].string();
        }
        for (std::size_t n = 0; n < rRight.size(); ++n) {
            list.m_frames[n].m_files[eCamera] = rOfCamera[n];
        }
    }
    nameFrames(list.m_frames);
    return list;
}

// ---- lists ----

namespace {

PerCamera<fs::path> readLine(const std::string& rText, const fs::path& rFolder, const std::string& rOrigin)
{
    const std::array<KestrovaCamera, 3> aeOrder{KestrovaCamRight, KestrovaCamLeft, KestrovaCamTop};
    PerCamera<fs::path> files;
    std::istringstream words(rText);
    std::size_t nWord = 0;
    for (std::string word; words >> std::quoted(word); ++nWord) {
        if (nWord == aeOrder.size()) {
            throw AppError(rOrigin + "more than three files; a line is RIGHT LEFT [TOP], names with blanks in quotes",
                           ExitStatus::Content);
        }
        if (word != "-") {
            files[aeOrder[nWord]] = rFolder / word;
        }
    }
    if (!files.contains(KestrovaCamRight) || files.size() < 2) {
        throw AppError(rOrigin + "a line is RIGHT LEFT [TOP], with - for a left camera that is not there",
                       ExitStatus::Content);
    }
    return files;
}

} // namespace

FrameList readFrameList(const fs::path& rFile)
{
    std::error_code error;
    checkLength(rFile, 4 * sk_nLongestText);
    std::ifstream in(rFile);
    if (!in || fs::is_directory(rFile, error)) {
        throw AppError(rFile.string() + ": cannot be read as a list of frames", ExitStatus::File);
    }
    FrameList list;
    std::string text;
    for (int nLine = 1; std::getline(in, text); ++nLine) {
        if (!text.empty() && text.back() == '\r') {
            text.pop_back();
        }
        if (nLine == 1 && text.starts_with("\xEF\xBB\xBF")) { // the mark that some editors begin a file with
            text.erase(0, 3);
        }
        const std::size_t nFirst = text.find_first_not_of(" \t");
        if (nFirst == std::string::npos || text[nFirst] == '#') {
            continue;
        }
        const std::string origin = rFile.string() + line(": line %d: ", nLine);
        if (text.find('\0') != std::string::npos) {
            throw AppError(origin + "holds a byte 0; is it a list of names?", ExitStatus::Content);
        }
        list.m_frames.push_back({{}, readLine(text, rFile.parent_path(), origin), origin});
        if (configurationOf(list.m_frames.back().m_files) != configurationOf(list.m_frames.front().m_files)) {
            throw AppError(origin + "other cameras than the lines before; every line needs the same ones",
                           ExitStatus::Content);
        }
    }
    if (list.m_frames.empty()) {
        throw AppError(rFile.string() + ": names no frame; a line is RIGHT LEFT [TOP]", ExitStatus::Content);
    }
    nameFrames(list.m_frames);
    return list;
}

std::vector<FrameNames> shardOf(const std::vector<FrameNames>& rFrames, const std::string& rPart)
{
    std::size_t uPart = 0;
    std::size_t uParts = 0;
    char cRest = 0;
    if (rPart.find_first_not_of("0123456789/") != std::string::npos ||
        std::sscanf(rPart.c_str(), "%9zu/%9zu%c", &uPart, &uParts, &cRest) != 2 || uPart < 1 || uPart > uParts) {
        throw AppError("--shard: '" + rPart + "' is not a part such as 1/8; parts count from 1, so an array job is 1-8",
                       ExitStatus::Usage);
    }
    std::vector<FrameNames> part;
    for (std::size_t n = uPart - 1; n < rFrames.size(); n += uParts) {
        part.push_back(rFrames[n]);
    }
    return part;
}

} // namespace kestrova::app
