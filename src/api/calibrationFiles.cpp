// Calibrations to files.
#include "api/MultiContext.h"
#include "calibration/write.h"
#include "kestrova.h"
#include "pgm/FilePtr.h"

using namespace kestrova;

namespace {

/** write(context, stream) for every camera set of the handle, up to the first that has no text. */
template<class Write>
KestrovaError writeSections(KestrovaContext context, const char* pszPath, Write write)
{
    if (getActiveContext(context) == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    const FilePtr pFile(std::fopen(pszPath, "w"));
    if (pFile == nullptr) {
        return KestrovaErrorSystem;
    }
    for (const auto& rpContext : multiContextOf(context)->m_apContexts) {
        if (rpContext != nullptr && !write(*rpContext, pFile.get())) {
            return KestrovaErrorInvalidContext;
        }
    }
    return KestrovaErrorOk;
}

} // namespace

KestrovaError kestrovaWriteDefaultContextToFile(KestrovaContext context, const char* path)
{
    return writeSections(context, path, [](const StereoContext& rContext, std::FILE* pStream) {
        return stereoContextWriteDefaultToStream(&rContext, pStream);
    });
}

KestrovaError kestrovaWriteCurrentContextToFile(KestrovaContext context, const char* path)
{
    return writeSections(context, path, [](const StereoContext& rContext, std::FILE* pStream) {
        if (rContext.m_pCalibration->m_calibrationLines.empty()) {
            return false;
        }
        // A text whose blocks cannot be followed ends early. By our decision that is no error of the function.
        CalibrationWriter(rContext, pStream).saveToFile();
        return true;
    });
}
