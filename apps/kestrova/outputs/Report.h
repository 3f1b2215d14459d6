// What run prints about a result: sizes, row agreement, rejects, timings, and the planes of its cloud.
#pragma once

#include "outputs/PlaneSearch.h"
#include "outputs/Results.h"

namespace kestrova::app {

std::string summary(const StereoResult& rResult);

/** Finds the planes of the result's cloud; empty when none are wished for. */
struct PlaneReport
{
    std::vector<FoundPlane> m_planes;
    std::string m_text;
};
PlaneReport reportPlanes(const StereoResult& rResult, const PlaneWishes& rWishes);

} // namespace kestrova::app
