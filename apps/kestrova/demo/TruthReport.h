// The demo's results against the room that it rendered: shares and errors by surface, an L against its pair, planes.
#pragma once

#include "demo/SceneRenderer.h"
#include "outputs/PlaneSearch.h"
#include "outputs/Results.h"

namespace kestrova::app {

/** How a set of pixels came out against the truth. */
struct Accuracy
{
    long m_nPixels = 0;
    long m_nValid = 0;
    long m_nWithin1 = 0;
    double m_dSumPixels = 0.0; // absolute errors of those within 1
    double m_dSumMetres = 0.0;

    void add(float fMeasured, float fTrue, double dFocalTimesBaseline);
    double validShare() const { return share(m_nValid, m_nPixels); }
    double within1Share() const { return share(m_nWithin1, m_nValid); }
    double correctShare() const { return share(m_nWithin1, m_nPixels); }
    double meanPixels() const { return m_nWithin1 ? m_dSumPixels / static_cast<double>(m_nWithin1) : 0.0; }
    double meanMetres() const { return m_nWithin1 ? m_dSumMetres / static_cast<double>(m_nWithin1) : 0.0; }

private:
    static double share(long nPart, long nWhole)
    {
        return nWhole ? 100.0 * static_cast<double>(nPart) / static_cast<double>(nWhole) : 0.0;
    }
};

/** The pixels of some sights whose true depth lies in [near, far) metres. */
Accuracy measureAccuracy(const DisparityMap& rMap, const SceneTruth& rTruth, const std::vector<Sight>& rSights,
                         double dFocalTimesBaseline, double dNear = 0.0, double dFar = 1e9);

std::string accuracyTable(const StereoResult& rResult, const SceneTruth& rTruth);

/** An L, and the pair of its right and left camera, on the same frames with the same settings. */
struct PairAndL
{
    std::string m_name;
    StereoResult m_pair, m_allThree;
};

/** Both truths are of the same canvas; the first holds what all three cameras see, the second what the pair sees. */
std::string compareWithPair(const std::vector<PairAndL>& rRuns, const SceneTruth& rTruthOfL,
                            const SceneTruth& rTruthOfPair);

/** How far floor and back wall of the room are from the found planes that are closest to them in direction. */
std::string planeErrors(const std::vector<FoundPlane>& rPlanes, const Scene& rScene, const RectificationPlan& rPlan);

} // namespace kestrova::app
