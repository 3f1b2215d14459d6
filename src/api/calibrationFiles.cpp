// Calibrations to files.
#include "api/MultiContext.h"
#include "calibration/write.h"
#include "files/OutputFile.h"
#include "kestrova.h"

using namespace kestrova;

namespace {

/** write(context, stream) for every camera set of the handle, up to the first that has no text. */
template<class Write>
KestrovaError writeSections(KestrovaContext context, const char* pszPath, Write write)
{
    if (getActiveContext(context) == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    OutputFile file(pszPath);
    if (file.stream() == nullptr) {
        return KestrovaErrorSystem;
    }
    KestrovaError eError = KestrovaErrorOk;
    for (const auto& rpContext : multiContextOf(context)->m_apContexts) {
        if (eError == KestrovaErrorOk && rpContext != nullptr && !write(*rpContext, file.stream())) {
            eError = KestrovaErrorInvalidContext; // the sections before it stay
        }
    }
    return file.finish() ? eError : KestrovaErrorSystem;
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
