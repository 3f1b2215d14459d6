// kestrova import: calibrations of other systems become a calibration text, proved by the library before it is kept.
#include "basics/AppError.h"
#include "basics/OutputFile.h"
#include "basics/Units.h"
#include "cameras/RigProof.h"
#include "commands/Commands.h"
#include "formats/SourceRig.h"
#include "outputs/Results.h"

#include <cstdio>

namespace kestrova::app {

namespace {

struct ImportOptions
{
    std::string m_from = "auto";
    std::vector<std::string> m_sources;
    std::string m_out;
    std::string m_size, m_unit, m_leftIs, m_canvas, m_near, m_far;
    std::vector<int> m_anDisparity;
    double m_dAlpha = 0.0;
    bool m_bKeep = false;
    bool m_bFisheye = false;
    bool m_bNoFisheye = false;
};

SourceFacts factsOf(const ImportOptions& rOptions)
{
    SourceFacts facts;
    if (!rOptions.m_size.empty()) {
        facts.m_size = parseSize(rOptions.m_size, "--size");
    }
    if (!rOptions.m_unit.empty()) {
        facts.m_dUnit = parseLength("1" + rOptions.m_unit, "--unit");
    }
    if (rOptions.m_bFisheye || rOptions.m_bNoFisheye) {
        facts.m_fisheye = rOptions.m_bFisheye;
    }
    return facts;
}

// The camera that --left-is means, by the names that cameraSetOf gives: the first of the source is left there.
KestrovaCamera leftOf(const std::string& rWish, const SourceRig& rSource)
{
    std::string known;
    for (std::size_t i = 0; i < rSource.m_cameras.size(); ++i) {
        const std::string& rName = rSource.m_cameras[i].m_name;
        if (rWish == std::to_string(i + 1) || std::filesystem::path(rWish).filename() == rName) {
            return i == 0 ? KestrovaCamLeft : KestrovaCamRight;
        }
        known += " or " + std::to_string(i + 1) + " or '" + rName + "'";
    }
    throw AppError("--left-is: '" + rWish + "' is not" + known.substr(3), ExitStatus::Usage);
}

RigWishes wishesOf(const ImportOptions& rOptions, const SourceRig& rSource)
{
    RigWishes wishes;
    wishes.m_source = rSource.m_source;
    wishes.m_eNames = CameraNames::ByGeometry;
    wishes.m_dAlpha = rOptions.m_dAlpha;
    wishes.m_note = "Imported from " + rSource.m_format + ".";
    if (!rOptions.m_canvas.empty()) {
        wishes.m_canvas = parseSize(rOptions.m_canvas, "--canvas");
    }
    if (!rOptions.m_near.empty()) {
        wishes.m_depth.m_dNear = parseLength(rOptions.m_near, "--near");
    }
    if (!rOptions.m_far.empty()) {
        wishes.m_depth.m_dFar = parseLength(rOptions.m_far, "--far");
    }
    if (!rOptions.m_anDisparity.empty()) {
        wishes.m_disparity = cv::Vec2i(rOptions.m_anDisparity[0], rOptions.m_anDisparity[1]);
        const cv::Vec2i& rRange = *wishes.m_disparity;
        if (rRange[0] < 0 || rRange[0] >= rRange[1] || rRange[1] - rRange[0] > 240 || rRange[1] > 1024) {
            throw AppError("--disparity: needs 0 <= minimum < maximum <= 1024, at most 240 apart", ExitStatus::Usage);
        }
    }
    if (!rOptions.m_leftIs.empty()) {
        if (rSource.m_cameras.size() != 2) {
            throw AppError("--left-is: is for pairs; a set of three is ordered by R and T", ExitStatus::Usage);
        }
        wishes.m_leftIs = leftOf(rOptions.m_leftIs, rSource);
    }
    if (rOptions.m_bKeep) {
        wishes.m_given = givenView(rSource);
    }
    return wishes;
}

void printRig(const Rig& rRig)
{
    const RectificationPlan& rPlan = rRig.m_plan;
    std::printf("baseline %.2f mm: does this match your ruler?\n"
                "rectified images %dx%d, focal length %.2f pixels, disparity %d to %d\n",
                1000.0 * rPlan.m_dBaseline, rPlan.m_canvas.width, rPlan.m_canvas.height, rPlan.m_dFocal,
                rRig.m_description.m_nMinDisparity, rRig.m_description.m_nMaxDisparity);
    for (const auto& [eCamera, rMaps] : rRig.m_maps) {
        std::printf("%s maps: %d coefficients an axis, %.4f pixel RMS and at most %.4f off the lens (limits 0.02 and "
                    "0.1): good\n",
                    cameraName(eCamera), rMaps.m_nCoefs, rMaps.worstRms(), rMaps.largestError());
    }
}

void import(const ImportOptions& rOptions)
{
    const SourceRig source =
        readSource(rOptions.m_from, {rOptions.m_sources.begin(), rOptions.m_sources.end()}, factsOf(rOptions));
    const Rig rig = buildRig(cameraSetOf(source), wishesOf(rOptions, source));
    OutputFile out(rOptions.m_out);
    writeText(out.file(), rig.text());
    const RigProof proof = proveRig(out.file(), rig);
    out.commit();
    std::printf("%s: %s, %zu cameras\n", source.m_source.c_str(), source.m_format.c_str(), source.m_cameras.size());
    for (const std::string& rRemark : source.m_remarks) {
        std::puts(rRemark.c_str());
    }
    for (const std::string& rRemark : rig.m_remarks) {
        std::puts(rRemark.c_str());
    }
    printRig(rig);
    for (const Rig& rFurther : rig.m_further) {
        printRig(rFurther);
    }
    std::printf(
        "proof: %zu points through the library, %.4f pixel RMS and at most %.4f off the lens (limit 0.1): good\n"
        "written to %s\n",
        proof.m_nPoints, proof.m_dRms, proof.m_dWorst, rOptions.m_out.c_str());
}

} // namespace

void addImportCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<ImportOptions>();
    CLI::App* pCommand =
        rProgram.add_subcommand("import", "Makes a calibration from one of OpenCV, ROS or Kalibr (docs/importing.md)");
    pCommand->add_option("sources", pOptions->m_sources, "files, or a folder of them")->required();
    pCommand->add_option("--from", pOptions->m_from, "what wrote them; auto goes by the keys")
        ->check(CLI::IsMember({"opencv", "ros", "kalibr", "auto"}))
        ->capture_default_str();
    pCommand->add_option("-o,--out", pOptions->m_out, "the calibration to write")->required();
    pCommand->add_option("--size", pOptions->m_size, "size of the raw frames, such as 640x480: OpenCV files lack it");
    pCommand->add_option("--unit", pOptions->m_unit, "unit of T in the source: OpenCV files lack it, others are in m")
        ->check(CLI::IsMember({"mm", "cm", "m"}));
    pCommand->add_option("--left-is", pOptions->m_leftIs, "1 or 2, or its file: the left camera, against R and T");
    pCommand->add_option("--alpha", pOptions->m_dAlpha, "0 shows only what every ray reaches, 1 keeps each raw pixel")
        ->check(CLI::Range(0.0, 1.0))
        ->capture_default_str();
    pCommand->add_flag("--keep-p", pOptions->m_bKeep, "keep the source's rectified view, only cut to 4 by 3");
    auto* pFisheye = pCommand->add_flag("--fisheye", pOptions->m_bFisheye,
                                        "the four terms of an OpenCV file are those of cv::fisheye");
    pCommand->add_flag("--no-fisheye", pOptions->m_bNoFisheye, "they are k1 k2 p1 p2")->excludes(pFisheye);
    pCommand->add_option("--canvas", pOptions->m_canvas, "size of the rectified images: 4 by 3, 64x48 to 1280x960");
    auto* pDisparity =
        pCommand->add_option("--disparity", pOptions->m_anDisparity, "smallest and largest disparity, in pixels")
            ->expected(2);
    pCommand->add_option("--near", pOptions->m_near, "nearest distance to measure, such as 0.4m")->excludes(pDisparity);
    pCommand->add_option("--far", pOptions->m_far, "farthest distance to measure")->excludes(pDisparity);
    pCommand->callback([pOptions] { import(*pOptions); });
}

} // namespace kestrova::app
