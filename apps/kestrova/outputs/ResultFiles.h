// The files that come of a result, one function for each kind. A file of whole numbers carries its scale in its name,
// and what is seen from the left camera says so in its name.
#pragma once

#include "basics/OutputFolder.h"
#include "outputs/Results.h"

namespace kestrova::app {

void writeDisparityPfm(const OutputFolder& rFolder, const StereoResult& rResult);
void writeDisparityNpy(const OutputFolder& rFolder, const StereoResult& rResult);
void writeNative16(const OutputFolder& rFolder, const StereoResult& rResult);
void writeKitti16(const OutputFolder& rFolder, const StereoResult& rResult, int nScale);
void writeDepth(const OutputFolder& rFolder, const StereoResult& rResult);
void writeColour(const OutputFolder& rFolder, const StereoResult& rResult);
void writeReasons(const OutputFolder& rFolder, const StereoResult& rResult);
void writeDisparity8(const OutputFolder& rFolder, const StereoResult& rResult);
void writeImages(const OutputFolder& rFolder, const StereoResult& rResult); // raw, rectified, edge, the pair with lines
void writeResultCloud(const OutputFolder& rFolder, const StereoResult& rResult, const std::string& rSource);

} // namespace kestrova::app
