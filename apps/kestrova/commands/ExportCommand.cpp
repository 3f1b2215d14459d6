// kestrova export: a calibration text becomes files of OpenCV, ROS or Kalibr.
#include "basics/AppError.h"
#include "basics/OutputFolder.h"
#include "basics/Units.h"
#include "commands/Commands.h"
#include "formats/RigWriters.h"
#include "outputs/Results.h"
#include "session/StereoSession.h"

#include <cstdio>

namespace kestrova::app {

namespace {

struct ExportOptions
{
    std::string m_calibration, m_to, m_out, m_size;
};

RectificationPlan viewOf(const StereoSession& rSession)
{
    const Optics optics = rSession.optics();
    RectificationPlan view;
    view.m_canvas = rSession.canvas();
    view.m_dFocal = rSession.outline().m_focalLength[0] * view.m_canvas.width;
    view.m_centre = {optics.m_fCentreCol, optics.m_fCentreRow};
    view.m_dBaseline = rSession.outline().m_dBaseline;
    return view;
}

void exportTo(const ExportOptions& rOptions)
{
    const StereoSession session(rOptions.m_calibration);
    const RectificationPlan view = viewOf(session);
    const cv::Size raw = rOptions.m_size.empty() ? view.m_canvas : parseSize(rOptions.m_size, "--size");
    const bool bKalibr = rOptions.m_to == "kalibr";
    const RigExport rig = exportRig(session.outline(), view, raw, bKalibr ? LensTerms::FourTerms : LensTerms::Any);
    const TextFiles files = bKalibr ? writeKalibr(rig) : rOptions.m_to == "ros" ? writeRos(rig) : writeOpenCv(rig);
    OutputFolder folder(rOptions.m_out);
    for (const auto& [rName, rText] : files) {
        writeText(folder.file(rName), rText);
    }
    folder.commit();
    std::printf("%s: raw frames of %dx%d%s, baseline %.2f mm\n", rOptions.m_calibration.c_str(), raw.width, raw.height,
                rOptions.m_size.empty() ? " (the size of the rectified ones; say --size if they have another)" : "",
                1000.0 * view.m_dBaseline);
    if (const std::size_t nSections = readOutline(rOptions.m_calibration).size(); nSections > 1) {
        std::printf("the first of %zu sections is exported\n", nSections);
    }
    for (const auto& [eCamera, rCamera] : rig.m_set) {
        std::printf("%s lens: %s, %zu terms, %.4f pixel RMS and at most %.4f off the maps (limit 0.1): good\n",
                    cameraName(eCamera), rCamera.m_model.m_eLens == Lens::Equidistant ? "equidistant" : "polynomial",
                    rCamera.m_model.m_adDistortion.size(), rig.m_rms.at(eCamera), rig.m_worst.at(eCamera));
    }
    for (const auto& [rName, rText] : files) {
        std::printf("written to %s\n", (std::filesystem::path(rOptions.m_out) / rName).c_str());
    }
}

} // namespace

void addExportCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<ExportOptions>();
    CLI::App* pCommand = rProgram.add_subcommand(
        "export", "Writes a calibration in the form of OpenCV, ROS or Kalibr (docs/importing.md)");
    pCommand->add_option("--calibration", pOptions->m_calibration, "calibration file")->required();
    pCommand
        ->add_option("--to", pOptions->m_to,
                     "intrinsics.yml and extrinsics.yml; left.yaml and right.yaml; camchain.yaml")
        ->required()
        ->check(CLI::IsMember({"opencv", "ros", "kalibr"}));
    pCommand->add_option("--out", pOptions->m_out, "folder for the files")->required();
    pCommand->add_option("--size", pOptions->m_size, "size of the raw frames, such as 1280x720");
    pCommand->callback([pOptions] { exportTo(*pOptions); });
}

} // namespace kestrova::app
