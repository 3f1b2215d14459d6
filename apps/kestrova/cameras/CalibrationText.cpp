#include "cameras/CalibrationText.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace kestrova::app {

namespace {

void writeNumbers(std::ostream& rOut, const double* pdFirst, const double* pdLast)
{
    for (; pdFirst != pdLast; ++pdFirst) {
        rOut << ' ' << *pdFirst;
    }
    rOut << '\n';
}

void writeWarp(std::ostream& rOut, int nId, const SplineSurface& rSurface)
{
    const auto writeKnots = [&](const char* pszKey, const std::vector<double>& rKnots) {
        rOut << pszKey;
        writeNumbers(rOut, rKnots.data(), rKnots.data() + rKnots.size());
    };
    rOut << "BeginWarp\nID " << nId << "\nNumberKnots " << rSurface.m_adKnotsX.size() << '\n';
    writeKnots("KnotsX", rSurface.m_adKnotsX);
    writeKnots("KnotsY", rSurface.m_adKnotsY);
    rOut << "NumberCoefs " << rSurface.m_nCoefs << ' ' << rSurface.m_nCoefs << "\nCoefs";
    for (int i = 0; i < rSurface.m_nCoefs; ++i) {
        const double* pdLine = rSurface.m_adCoefs.data() + i * rSurface.m_nCoefs;
        writeNumbers(rOut, pdLine, pdLine + rSurface.m_nCoefs);
    }
    rOut << "EndWarp\n";
}

struct SetWords
{
    const char* m_pszProduct;
    const char* m_pszConfiguration;
};

SetWords wordsOf(KestrovaCameraConfiguration eConfiguration)
{
    switch (eConfiguration) {
    case KestrovaCfg3CameraL:
        return {"KESTROVA", "L"};
    case KestrovaCfg2CameraVertical:
        return {"TANDRELL", "2CameraVertical"};
    default:
        return {"PEMBERLOW", "2CameraHorizontal"};
    }
}

const char* placeOf(KestrovaCamera eCamera)
{
    return eCamera == KestrovaCamRight ? "Position 0 0 0\nChannel RED"
           : eCamera == KestrovaCamTop ? "Position 0 -1 0\nChannel BLUE"
                                       : "Position -1 0 0\nChannel GREEN";
}

void writeCamera(std::ostream& rOut, int nId, const CalibrationCamera& rCamera, KestrovaCamera eCamera)
{
    const int nWarp = 4 * nId;
    rOut << "BeginCamera\nID " << nId << "\nGain " << rCamera.m_dGain << "\nWarp " << nWarp << ' ' << nWarp + 1
         << "\nIWarp " << nWarp + 2 << ' ' << nWarp + 3 << '\n'
         << placeOf(eCamera) << "\nEndCamera\n";
}

void writeWarps(std::ostream& rOut, int nId, const CalibrationCamera& rCamera)
{
    const int nWarp = 4 * nId;
    writeWarp(rOut, nWarp, rCamera.m_rawFromRectified.m_column);
    writeWarp(rOut, nWarp + 1, rCamera.m_rawFromRectified.m_row);
    writeWarp(rOut, nWarp + 2, rCamera.m_rectifiedFromRaw.m_column);
    writeWarp(rOut, nWarp + 3, rCamera.m_rectifiedFromRaw.m_row);
}

} // namespace

std::string calibrationText(const CalibrationDescription& rDescription)
{
    const cv::Size canvas = rDescription.m_canvas;
    const KestrovaCameraConfiguration eConfiguration = configurationOf(rDescription.m_cameras);
    const SetWords words = wordsOf(eConfiguration);
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(17);
    out << "Version \"Kestrova 3.0\"\n"
        << "# " << rDescription.m_note << "\n"
        << "# Lengths in metres. The right camera is the reference. Focal length and centre are fractions of the "
           "image.\n"
        << "Product \"" << words.m_pszProduct << "\"\n"
        << "SerialNumber " << rDescription.m_nSerialNumber << '\n'
        << "FocalLength " << rDescription.m_dFocal / canvas.width << ' ' << rDescription.m_dFocal / canvas.height
        << '\n'
        << "ImageCenter " << (rDescription.m_centre.x + 0.5) / canvas.width << ' '
        << (rDescription.m_centre.y + 0.5) / canvas.height << '\n'
        << "Baseline " << rDescription.m_dBaseline << ' '
        << (eConfiguration == KestrovaCfg2CameraHorizontal ? 0.0 : rDescription.m_dBaseline) << '\n'
        << "CameraConfiguration " << words.m_pszConfiguration << '\n'
        << "Resolution " << canvas.height << ' ' << canvas.width << '\n'
        << "Disparity " << rDescription.m_nMinDisparity << ' ' << rDescription.m_nMaxDisparity << '\n'
        << "Rectify " << (rDescription.m_bRectify ? "on" : "off") << '\n';
    int nId = 0;
    for (const auto& [eCamera, rCamera] : rDescription.m_cameras) {
        writeCamera(out, nId++, rCamera, eCamera);
    }
    nId = 0; // maps stand behind all cameras: who rewrites a calibration copies the rest from the first map on
    for (const auto& [eCamera, rCamera] : rDescription.m_cameras) {
        writeWarps(out, nId++, rCamera);
    }
    return out.str();
}

CalibrationDescription identityCalibration(cv::Size canvas, double dFocal, double dBaseline,
                                           KestrovaCameraConfiguration eConfiguration)
{
    CalibrationDescription description;
    description.m_canvas = canvas;
    description.m_dFocal = dFocal;
    description.m_centre = {(canvas.width - 1) / 2.0, (canvas.height - 1) / 2.0};
    description.m_dBaseline = dBaseline;
    description.m_nMaxDisparity = std::clamp(canvas.width / 5, 16, 240); // photographs of things at arm's length
    description.m_bRectify = false;
    description.m_note = "Frames that are rectified already: the maps leave every pixel where it is.";
    for (KestrovaCamera eCamera : camerasOf(eConfiguration)) {
        description.m_cameras[eCamera] = {};
    }
    return description;
}

} // namespace kestrova::app
