// Raw frames and calibration texts of random make, for calls in random order.
#pragma once

#include "kestrova.h"
#include "reliability/GuardedBlock.h"
#include "support/CalibrationText.h"

#include <cstring>

namespace kestrova::test {

/** A frame with the memory that it lies in. */
struct Frame
{
    KestrovaInput input{};
    std::vector<Block> blocks{};
};

/** Three planes; the second and third are the first moved right and down, so that correlation finds something. */
inline std::vector<Block> makePlanes(Random& rRandom, int nRows, int nRowInc)
{
    const auto uBytes = static_cast<std::size_t>(nRows) * static_cast<std::size_t>(nRowInc);
    std::vector<Block> planes;
    const int nShift = rRandom.between(0, 9);
    const int nMove = nShift * (rRandom.oneIn(2) ? 1 : nRowInc);
    for (int i = 0; i < 3; ++i) {
        planes.push_back(makeBlock(rRandom, uBytes));
        const auto uMove = static_cast<std::size_t>(i == 1 ? nShift : nMove);
        if (i > 0 && uMove < uBytes && !rRandom.oneIn(4)) {
            std::memcpy(planes.back()->as() + uMove, planes[0]->as(), uBytes - uMove);
        }
    }
    return planes;
}

inline Frame makeFrame(Random& rRandom)
{
    static constexpr int sk_anSizes[][2] = {{12, 16}, {24, 32},  {31, 43}, {48, 64},
                                            {47, 65}, {96, 128}, {5, 3},   {1, 1}};
    const auto& [nRows, nCols] = sk_anSizes[rRandom.between(0, rRandom.oneIn(6) ? 7 : 5)];
    const int nPad = rRandom.oneIn(3) ? rRandom.between(1, 40) : 0;
    Frame frame;
    if (rRandom.oneIn(3)) {
        const int nRowInc = 4 * nCols + nPad;
        frame.blocks = {makeBlock(rRandom, static_cast<std::size_t>(nRows * nRowInc))};
        kestrovaBuildPackedKestrovaInput(nCols, nRows, nRowInc, 1, 2, frame.blocks[0]->as(), &frame.input);
    } else {
        frame.blocks = makePlanes(rRandom, nRows, nCols + nPad);
        kestrovaBuildRGBKestrovaInput(nCols, nRows, nCols + nPad, 1, 2, frame.blocks[0]->as(), frame.blocks[1]->as(),
                                      frame.blocks[2]->as(), &frame.input);
    }
    for (const Block& pBlock : frame.blocks) {
        pBlock->seal();
    }
    return frame;
}

/** One thing wrong with it, or a plane left out, which is right for some sets. */
inline void spoil(Random& rRandom, KestrovaInput& rInput)
{
    switch (rRandom.between(0, 6)) {
    case 0:
        rInput.inputType = rRandom.pick({0, 3, -1, 0x7FFFFFFF});
        break;
    case 1:
        rInput.nrows = rRandom.pick({0, -1, -2147483647});
        break;
    case 2:
        rInput.ncols = rRandom.pick({0, -5, -2147483647});
        break;
    case 3:
        rInput.rowinc = rRandom.pick({0, -64, 1, rInput.ncols - 1});
        break;
    case 4:
        rInput.pPlane0 = nullptr;
        break;
    case 5:
        rInput.pPlane1 = nullptr;
        break;
    default:
        rInput.pPlane2 = nullptr;
    }
}

inline MapText randomMap(Random& rRandom)
{
    const double dRow = rRandom.fraction() * 0.3 - 0.1, dRowScale = 0.8 + rRandom.fraction() * 0.4;
    const double dCol = rRandom.fraction() * 0.3 - 0.1, dColScale = 0.8 + rRandom.fraction() * 0.4;
    return {[=](double d, double) { return dRow + dRowScale * d; },
            [=](double, double d) { return dCol + dColScale * d; }};
}

/** A set of two or three cameras, its channels in any order, with a colour camera or not. */
inline CalibrationText randomSet(Random& rRandom, Shape eShape)
{
    CalibrationText text(eShape);
    text.set("Disparity", "0 16").set("Baseline", rRandom.pick({"0.12", "0.2", "0.15"}));
    const char* aszChannels[] = {"RED", "GREEN", "BLUE"};
    if (rRandom.oneIn(2)) {
        std::swap(aszChannels[0], aszChannels[rRandom.between(1, 2)]);
    }
    for (std::size_t i = 0; i < text.cameras.size(); ++i) {
        text.cameras[i].channel = aszChannels[i];
        text.cameras[i].dGain = rRandom.pick({1.0, 0.8, 1.3});
        if (rRandom.oneIn(2)) {
            text.cameras[i].forward = text.cameras[i].inverse = randomMap(rRandom);
        }
    }
    if (rRandom.oneIn(3)) {
        text.cameras.push_back({100, "0 0 0", "COLOR"});
    }
    static constexpr const char* sk_apszLines[][2] = {
        {"Resolution", "24 32"},          {"StereoQuality", "Enhanced"},  {"RectificationQuality", "Enhanced-2"},
        {"RectificationQuality", "Fast"}, {"SubpixelInterpolate", "Off"}, {"Lowpass", "Off"}};
    for (const auto& [pszKey, pszValue] : sk_apszLines) {
        if (rRandom.oneIn(4)) {
            text.set(pszKey, pszValue);
        }
    }
    return text;
}

inline std::string randomCalibration(Random& rRandom)
{
    std::string text =
        randomSet(rRandom, rRandom.pick({Shape::Horizontal, Shape::Horizontal, Shape::Vertical, Shape::L})).text();
    while (rRandom.oneIn(4)) {
        text += randomSet(rRandom, rRandom.pick({Shape::Horizontal, Shape::Vertical, Shape::L})).text();
    }
    return text;
}

/** Bytes changed, cut out or cut off. */
inline void damage(Random& rRandom, std::string& rBytes)
{
    for (int n = rRandom.between(1, 3); n > 0 && !rBytes.empty(); --n) {
        const auto uAt = static_cast<std::size_t>(rRandom.between(0, static_cast<int>(rBytes.size()) - 1));
        switch (rRandom.between(0, 3)) {
        case 0:
            rBytes[uAt] = static_cast<char>(rRandom.between(1, 255));
            break;
        case 1:
            rBytes[uAt] = rRandom.pick({' ', '\n', '0', '9', '-', '.', 'e'});
            break;
        case 2:
            rBytes.erase(uAt, static_cast<std::size_t>(rRandom.between(1, 40)));
            break;
        default:
            rBytes.resize(uAt);
        }
    }
}

} // namespace kestrova::test
