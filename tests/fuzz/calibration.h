// What becomes of a section that loads: its maps stay in the unit square, and it is written both ways.
#pragma once

#include "api/StereoContext.h"
#include "calibration/write.h"
#include "fuzz.h"
#include "rectify/Camera.h"

namespace kestrova::fuzz {

inline void requireInUnitSquare(const WarpMapFunc& rMap)
{
    for (const float f : {0.0F, 0.3F, 1.0F}) {
        float fRow = -1;
        float fCol = -1;
        rMap.map(fRow, fCol, f, 1 - f);
        require(fRow >= 0 && fRow <= 1 && fCol >= 0 && fCol <= 1);
    }
}

inline void useLoaded(const StereoContext& rContext)
{
    for (int nCamera = 0; nCamera < rContext.m_nCameraCount; ++nCamera) {
        requireInUnitSquare(*rContext.m_apCameras[nCamera]->forwardMap());
        requireInUnitSquare(*rContext.m_apCameras[nCamera]->inverseMap());
    }
    char* pcText = nullptr;
    std::size_t uLength = 0;
    {
        const FilePtr pStream(open_memstream(&pcText, &uLength));
        require(stereoContextWriteDefaultToStream(&rContext, pStream.get()));
        CalibrationWriter(rContext, pStream.get()).saveToFile();
    }
    std::free(pcText);
}

} // namespace kestrova::fuzz
