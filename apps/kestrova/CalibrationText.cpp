#include "CalibrationText.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace kestrova::app {

static void writeNumbers(std::ostream& rOut, const double* pdFirst, const double* pdLast)
{
    for (; pdFirst != pdLast; ++pdFirst)
        rOut << ' ' << *pdFirst;
    rOut << '\n';
}

static void writeWarp(std::ostream& rOut, int nId, const SplineSurface& rSurface)
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

static void writeCamera(std::ostream& rOut, int nId, const CalibrationCamera& rCamera, const char* pszPlace)
{
    const int nWarp = 4 * nId;
    rOut << "BeginCamera\nID " << nId << "\nGain " << rCamera.m_dGain << "\nWarp " << nWarp << ' ' << nWarp + 1
         << "\nIWarp " << nWarp + 2 << ' ' << nWarp + 3 << '\n'
         << pszPlace << "\nEndCamera\n";
    writeWarp(rOut, nWarp, rCamera.m_rawFromRectified.m_column);
    writeWarp(rOut, nWarp + 1, rCamera.m_rawFromRectified.m_row);
    writeWarp(rOut, nWarp + 2, rCamera.m_rectifiedFromRaw.m_column);
    writeWarp(rOut, nWarp + 3, rCamera.m_rectifiedFromRaw.m_row);
}

std::string calibrationText(const CalibrationDescription& rDescription)
{
    const cv::Size canvas = rDescription.m_canvas;
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(17);
    out << "Version \"Kestrova 3.0\"\n"
        << "# " << rDescription.m_note << "\n"
        << "# Lengths in metres. The right camera is the reference. Focal length and centre are fractions of the "
           "image.\n"
        << "Product \"PEMBERLOW\"\n"
        << "SerialNumber " << rDescription.m_nSerialNumber << '\n'
        << "FocalLength " << rDescription.m_dFocal / canvas.width << ' ' << rDescription.m_dFocal / canvas.height
        << '\n'
        << "ImageCenter " << (rDescription.m_centre.x + 0.5) / canvas.width << ' '
        << (rDescription.m_centre.y + 0.5) / canvas.height << '\n'
        << "Baseline " << rDescription.m_dBaseline << " 0\n"
        << "CameraConfiguration 2CameraHorizontal\n"
        << "Resolution " << canvas.height << ' ' << canvas.width << '\n'
        << "Disparity " << rDescription.m_nMinDisparity << ' ' << rDescription.m_nMaxDisparity << '\n'
        << "Rectify " << (rDescription.m_bRectify ? "on" : "off") << '\n';
    writeCamera(out, 0, rDescription.m_right, "Position 0 0 0\nChannel RED");
    writeCamera(out, 1, rDescription.m_left, "Position -1 0 0\nChannel GREEN");
    return out.str();
}

CalibrationDescription identityCalibration(cv::Size canvas, double dFocal, double dBaseline)
{
    CalibrationDescription description;
    description.m_canvas = canvas;
    description.m_dFocal = dFocal;
    description.m_centre = {(canvas.width - 1) / 2.0, (canvas.height - 1) / 2.0};
    description.m_dBaseline = dBaseline;
    description.m_nMaxDisparity = std::clamp(canvas.width / 5, 16, 240); // photographs of things at arm's length
    description.m_bRectify = false;
    description.m_note = "A pair that is rectified already: the maps leave every pixel where it is.";
    return description;
}

} // namespace kestrova::app
