// Which files make a frame: single ones, two or three patterns paired by order, or a list.
#pragma once

#include "cameras/CameraModel.h"

#include <filesystem>
#include <string>

namespace kestrova::app {

/** The option that names the files of a camera, such as --right. */
std::string cameraOption(KestrovaCamera eCamera);

struct FrameNames
{
    std::string m_name; // of the right file without folder and ending, more of it where two would be alike
    PerCamera<std::filesystem::path> m_files;
    std::string m_origin = {}; // "FILE: line N: " for errors; empty when the command line names the files
};

struct FrameList
{
    std::vector<FrameNames> m_frames;
    std::string m_remark = {}; // for the person who asked; may be empty
};

/**
 * One pattern or file name for each camera; all must give as many files. The first right file goes with the first left
 * one, and so on; a remark tells where numbers in the names speak against it.
 */
FrameList pairByOrder(const PerCamera<std::string>& rPatterns);

/**
 * A line a frame: right left [top], names with blanks in quotes, - for a camera that is not there, # before a comment.
 * Names are relative to the folder of the list.
 */
FrameList readFrameList(const std::filesystem::path& rFile);

/** Part i of n, counted from 1, as "i/n": every n-th frame from the i-th on. The parts of all i are the whole. */
std::vector<FrameNames> shardOf(const std::vector<FrameNames>& rFrames, const std::string& rPart);

} // namespace kestrova::app
