// Frames from their files, brought to the size that is matched.
#pragma once

#include "session/FrameFit.h"
#include "session/FrameList.h"

namespace kestrova::app {

struct Frames
{
    PerCamera<cv::Mat1b> m_grey;
    cv::Mat3b m_colour = {};             // of the right camera; may be empty
    PerCamera<cv::Mat1b> m_regions = {}; // where rectified images show something; without them the maps say it
};

struct ReadWishes
{
    bool m_bRectified = false; // frames of any shape, set into a 4 by 3 canvas
    std::optional<cv::Size> m_resize = {};
    std::optional<int> m_bits = {}; // of 16-bit images
    bool m_bColour = true;
};

/** Reads frame after frame; all must have the size of the first. */
class FrameReader
{
public:
    explicit FrameReader(const ReadWishes& rWishes) : m_wishes(rWishes) {}

    /** Throws AppError that names the file, and the line of the list that named it. */
    Frames read(const FrameNames& rNames);

    const std::optional<FrameFit>& fit() const { return m_fit; } // of rectified frames, from the first one on

private:
    Frames readFiles(const FrameNames& rNames);
    void bringToSize(const FrameNames& rNames, Frames& rFrames);

    ReadWishes m_wishes;
    std::optional<cv::Size> m_size; // of the frames as they come
    std::optional<FrameFit> m_fit;
};

} // namespace kestrova::app
