// kestrova info: what a calibration file holds, or an image file of the library tells; calibrations written anew.
#include "basics/InputFile.h"
#include "basics/OutputFile.h"
#include "commands/Commands.h"
#include "outputs/ImageRecord.h"
#include "session/StereoSession.h"

#include <cstdio>

namespace kestrova::app {

namespace {

const char* placeName(const cv::Vec3i& rPosition)
{
    if (rPosition == cv::Vec3i(0, 0, 0)) {
        return "right, the reference";
    }
    if (rPosition == cv::Vec3i(-1, 0, 0)) {
        return "left";
    }
    return rPosition == cv::Vec3i(0, -1, 0) ? "top" : "not in use";
}

void printCamera(const OutlineCamera& rCamera, cv::Size canvas)
{
    std::printf("  camera %d: %s, channel %s, gain %.4g, maps of %dx%d coefficients\n", rCamera.m_nId,
                placeName(rCamera.m_position), rCamera.m_channel.c_str(), rCamera.m_dGain,
                rCamera.m_rawFromRectified.m_column.m_nCoefs, rCamera.m_rawFromRectified.m_column.m_nCoefs);
    std::printf("    corners of the rectified image, as column row of a raw frame of %dx%d:\n", canvas.width,
                canvas.height);
    for (const cv::Point2d& rCorner :
         {cv::Point2d(0, 0), cv::Point2d(canvas.width - 1, 0), cv::Point2d(0, canvas.height - 1),
          cv::Point2d(canvas.width - 1, canvas.height - 1)}) {
        const cv::Point2d raw = rCamera.rawPosition(rCorner, canvas, canvas);
        const bool bInside = raw.x >= 0 && raw.y >= 0 && raw.x <= canvas.width - 1 && raw.y <= canvas.height - 1;
        std::printf("      %5.0f %5.0f  <-  %8.2f %8.2f%s\n", rCorner.x, rCorner.y, raw.x, raw.y,
                    bInside ? "" : "  outside the frame");
    }
}

void info(const std::string& rFile)
{
    const std::vector<OutlineSection> sections = readOutline(rFile);
    const StereoSession session(rFile); // proves that the library takes the file
    const cv::Size canvas = session.canvas();
    const Optics optics = session.optics();
    std::printf("%s: %zu section%s\n", rFile.c_str(), sections.size(), sections.size() == 1 ? "" : "s");
    for (std::size_t n = 0; n < sections.size(); ++n) {
        const OutlineSection& rSection = sections[n];
        std::printf("section %zu: version %s, product %s, serial number %d, configuration %s\n", n,
                    rSection.m_version.c_str(), rSection.m_product.c_str(), rSection.m_nSerialNumber,
                    rSection.m_configuration.c_str());
        std::printf("  baseline %.2f mm, focal length %.2f pixels at %d columns, disparity %d to %d\n",
                    1000.0 * rSection.m_dBaseline, rSection.m_focalLength[0] * canvas.width, canvas.width,
                    rSection.m_disparity[0], rSection.m_disparity[1]);
        for (const OutlineCamera& rCamera : rSection.m_cameras) {
            printCamera(rCamera, canvas);
        }
    }
    std::printf("as the library has the first section:\n"
                "  rectified images %dx%d, focal length %.2f pixels, baseline %.2f mm, centre column %.2f row %.2f\n%s",
                canvas.width, canvas.height, optics.m_fFocal, 1000.0 * optics.m_fBaseline, optics.m_fCentreCol,
                optics.m_fCentreRow, describeSettings(session.handle()).c_str());
    std::puts("The right camera is the reference: disparity d at column x of the right image matches column x + d of "
              "the left.");
}

/** Puts the new text in place only once the library has loaded it: blocks that cannot be followed would be missing. */
void rewrite(const std::string& rFile, const std::string& rOut)
{
    const StereoSession session(rFile);
    OutputFile out(rOut);
    if (kestrovaWriteCurrentContextToFile(session.handle(), out.file().c_str()) != KestrovaErrorOk) {
        throw AppError(rOut + ": cannot be written", ExitStatus::File);
    }
    try {
        const StereoSession proof(out.file());
    } catch (const AppError&) {
        throw AppError(rFile + ": cannot be rewritten: the library copies blocks that spell BeginCamera, Position, "
                               "EndCamera and BeginWarp in this way, with positions of the product",
                       ExitStatus::Content);
    }
    out.commit();
    std::printf("%s: rewritten to %s\n", rFile.c_str(), rOut.c_str());
}

struct InfoOptions
{
    std::string m_file;
    std::optional<std::string> m_write;
};

void info(const InfoOptions& rOptions)
{
    checkLength(rOptions.m_file, sk_nLongestImage);
    const bool bImage = isImageFile(rOptions.m_file);
    if (bImage && rOptions.m_write) {
        throw AppError("--write: " + rOptions.m_file + " is an image, not a calibration", ExitStatus::Usage);
    }
    if (bImage) {
        std::fputs(describeImageFile(rOptions.m_file).c_str(), stdout);
    } else if (rOptions.m_write) {
        rewrite(rOptions.m_file, *rOptions.m_write);
    } else {
        info(rOptions.m_file);
    }
}

} // namespace

void addInfoCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<InfoOptions>();
    CLI::App* pCommand = rProgram.add_subcommand("info", "Says what a calibration file or a PGM file of run holds");
    pCommand->add_option("file", pOptions->m_file, "calibration or image file")->required();
    pCommand->add_option("--write", pOptions->m_write,
                         "write the calibration anew to this file, with every setting spelled out");
    pCommand->callback([pOptions] { info(*pOptions); });
}

} // namespace kestrova::app
