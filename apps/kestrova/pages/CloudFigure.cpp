#include "pages/CloudFigure.h"

#include "basics/Line.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace kestrova::app {

extern const char* const sk_pszCloudViewer; // pages/cloudViewer.js

namespace {

/** As many points as wished for, each with the same chance, in their order. Every n-th point would leave stripes. */
std::vector<CloudPoint> thinned(const std::vector<CloudPoint>& rCloud, std::size_t nMost)
{
    if (rCloud.size() <= nMost) {
        return rCloud;
    }
    std::vector<CloudPoint> kept;
    kept.reserve(nMost);
    std::mt19937 chance(1);
    std::sample(rCloud.begin(), rCloud.end(), std::back_inserter(kept), nMost, chance);
    return kept;
}

std::string dataElement(const char* pszId, const std::vector<unsigned char>& rBytes)
{
    return line("<script type=\"application/base64\" id=\"%s\">", pszId) + base64(rBytes.data(), rBytes.size()) +
           "</script>\n";
}

} // namespace

cv::Mat3b paletteOf(const ColourScale& rScale)
{
    DisparityMap ramp{cv::Mat1f(1, 256), cv::Mat1b(1, 256, uchar(0))};
    for (int i = 0; i < 256; ++i) {
        ramp.m_pixels(0, i) = static_cast<float>(std::lerp(rScale.m_dMin, rScale.m_dMax, i / 255.0));
    }
    return colourDisparity(ramp, rScale);
}

namespace {

std::string cloudData(const std::vector<CloudPoint>& rPoints, const ColourScale& rScale)
{
    std::vector<unsigned char> positions(rPoints.size() * sizeof(cv::Point3f));
    std::vector<unsigned char> colours;
    unsigned char* pTo = positions.data();
    for (const CloudPoint& rPoint : rPoints) {
        std::memcpy(pTo, &rPoint.m_position, sizeof(cv::Point3f));
        pTo += sizeof(cv::Point3f);
        colours.insert(colours.end(), rPoint.m_colour.val, rPoint.m_colour.val + 3);
    }
    std::vector<unsigned char> palette;
    for (const cv::Vec3b& rColour : paletteOf(rScale)) {
        palette.insert(palette.end(), {rColour[2], rColour[1], rColour[0]});
    }
    return dataElement("cloud-positions", positions) + dataElement("cloud-colours", colours) +
           dataElement("cloud-palette", palette);
}

const char* const sk_pszCloudStyle = R"css(<style>
#cloud canvas { width: 100%; height: min(72vh, 640px); display: block; border-radius: 8px; background-color: #10161d;
  touch-action: none; cursor: grab; }
#cloud canvas:active { cursor: grabbing; }
#cloud.failed canvas, #cloud.failed .controls, #cloud.failed figcaption { display: none; }
.controls { display: flex; flex-wrap: wrap; gap: .5rem 1rem; align-items: center; margin-top: .6rem; font-size: .9rem; }
.controls label { display: flex; gap: .4rem; align-items: center; }
button, select { font: inherit; color: inherit; background: var(--sheet); border: 1px solid var(--rule);
  border-radius: 6px; padding: .2rem .7rem; }
</style>
)css";

const char* const sk_pszCloudControls = R"html(<canvas tabindex="0" aria-label="Point cloud"></canvas>
<p class="sentence" hidden="hidden">This browser shows no WebGL, so the cloud cannot be drawn here; cloud.ply holds the same points for other viewers.</p>
<div class="controls">
<span><button value="tilted">Tilted</button> <button value="camera">From the camera</button> <button value="side">From the side</button> <button value="above">From above</button></span>
<label>Colour <select><option value="picture">of the picture</option><option value="disparity">by disparity</option></select></label>
<label>Point size <input type="range" min="-2" max="2" step="0.25" value="0"/></label>
</div>
)html";

} // namespace

void addCloud(HtmlPage& rPage, const StereoResult& rResult, const ColourScale& rScale, KestrovaCamera eView)
{
    rPage.heading("The cloud");
    if (rResult.m_cloud.empty()) {
        rPage.paragraph(rResult.m_optics.m_fBaseline > 0.0f
                            ? "No pixel was given a distance."
                            : "There is no cloud: focal length and baseline were not given.");
        return;
    }
    const std::vector<CloudPoint> points = thinned(rResult.m_cloud, sk_nMostPagePoints);
    const Optics& rOptics = rResult.m_optics;
    const cv::Size size = rResult.m_map16.m_pixels.size();
    const double dSpread = std::sqrt(static_cast<double>(rResult.m_cloud.size()) / static_cast<double>(points.size()));
    rPage.html(sk_pszCloudStyle +
               line("<figure id=\"cloud\" data-points=\"%zu\" data-focal=\"%.4f\" data-centre-column=\"%.3f\" "
                    "data-centre-row=\"%.3f\" data-columns=\"%d\" data-rows=\"%d\" data-scale=\"%.8g\" "
                    "data-least=\"%g\" data-most=\"%g\" data-spread=\"%.3f\">\n",
                    points.size(), rOptics.m_fFocal, rOptics.m_fCentreCol, rOptics.m_fCentreRow, size.width,
                    size.height, rScale.m_dFocalTimesBaseline, rScale.m_dMin, rScale.m_dMax, dSpread) +
               sk_pszCloudControls);
    const std::string shown = points.size() < rResult.m_cloud.size()
                                  ? line("%zu of %zu points, picked evenly", points.size(), rResult.m_cloud.size())
                                  : line("%zu points", points.size());
    rPage.html("<figcaption>" + shown +
               ". Drag turns, the wheel or two fingers zoom, drag with the right button or Shift moves, a double click "
               "goes back. The orange frame is the " +
               std::string(cameraName(eView)) +
               " camera. Metres in its rectified frame: x right, y down, z "
               "forward.</figcaption>\n</figure>\n");
    rPage.html(cloudData(points, rScale));
    rPage.script(sk_pszCloudViewer);
}

} // namespace kestrova::app
