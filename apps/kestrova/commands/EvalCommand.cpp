// kestrova eval: a disparity file against a known truth, in the measures of stereo benchmarks.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "commands/Commands.h"
#include "outputs/DisparityFiles.h"
#include "outputs/Results.h"
#include "outputs/TruthComparison.h"
#include "session/FrameFit.h"

#include <opencv2/imgproc.hpp>

#include <cstdio>

namespace kestrova::app {

namespace {

struct EvalOptions
{
    std::string m_disparity, m_truth;
    std::optional<std::string> m_reasons;
    std::optional<double> m_disparityScale, m_truthScale;
    std::string m_disparityView = "right";
    std::optional<std::string> m_truthView;
    bool m_bResizeTruth = false;
    std::vector<int> m_anRange;
};

std::string sizeText(cv::Size size)
{
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

/** Values scale with the width. A 4 by 3 size may be the canvas that run set a frame of another shape into. */
cv::Mat1f resizedTruth(const EvalOptions& rOptions, cv::Mat1f truth, cv::Size size)
{
    truth.setTo(0.0f, truth == std::numeric_limits<float>::infinity());
    if (4 * size.height == 3 * size.width) {
        return fitDisparity(truth, planFrameFit(truth.size(), size));
    }
    const double dShape =
        static_cast<double>(truth.cols) * size.height / (static_cast<double>(truth.rows) * size.width);
    if (dShape < 0.99 || dShape > 1.01) {
        throw AppError(rOptions.m_truth + ": " + sizeText(truth.size()) + " has another shape than the disparity's " +
                           sizeText(size) + "; crop it first",
                       ExitStatus::Content);
    }
    cv::Mat1f resized;
    const double dScale = static_cast<double>(size.width) / truth.cols;
    cv::resize(truth, resized, size, 0, 0, cv::INTER_NEAREST);
    resized *= dScale;
    return resized;
}

DisparityFile truthFor(const EvalOptions& rOptions, cv::Size size)
{
    DisparityFile file = readDisparityFile(rOptions.m_truth, rOptions.m_truthScale);
    if (file.m_pixels.size() == size) {
        return file;
    }
    if (!rOptions.m_bResizeTruth) {
        throw AppError(rOptions.m_truth + ": is " + sizeText(file.m_pixels.size()) + ", but " + rOptions.m_disparity +
                           " is " + sizeText(size) + "; give the truth of this size, or --resize-truth",
                       ExitStatus::Content);
    }
    file.m_pixels = resizedTruth(rOptions, file.m_pixels, size);
    return file;
}

AppError wrongScale(const EvalOptions& rOptions, double dFactor, const DisparityFile& rDisparity,
                    const DisparityFile& rTruth)
{
    const std::string instead = rTruth.m_scale       ? line("say --truth-scale %.4g", *rTruth.m_scale * dFactor)
                                : rDisparity.m_scale ? line("say --disparity-scale %.4g", *rDisparity.m_scale / dFactor)
                                                     : std::string("bring both files to pixels of one image size");
    return AppError(rOptions.m_truth +
                        line(": most disparities are %.4g times the truth, so the scale is wrong; ", dFactor) + instead,
                    ExitStatus::Unfit);
}

std::optional<cv::Mat1b> reasonsFor(const EvalOptions& rOptions, const DisparityFile& rDisparity)
{
    if (!rOptions.m_reasons) {
        return rDisparity.m_reasons;
    }
    const cv::Mat1b reasons = readGrey(*rOptions.m_reasons);
    if (reasons.size() != rDisparity.m_pixels.size()) {
        throw AppError(*rOptions.m_reasons + ": is " + sizeText(reasons.size()) + ", but " + rOptions.m_disparity +
                           " is " + sizeText(rDisparity.m_pixels.size()) + "; give the reasons of the same run",
                       ExitStatus::Content);
    }
    return reasons;
}

void evaluate(const EvalOptions& rOptions)
{
    std::optional<cv::Vec2i> range;
    if (!rOptions.m_anRange.empty()) {
        range = cv::Vec2i(rOptions.m_anRange[0], rOptions.m_anRange[1]);
    }
    if (range && (*range)[0] >= (*range)[1]) {
        throw AppError("--range: needs MIN below MAX", ExitStatus::Usage);
    }
    const DisparityFile disparity = readDisparityFile(rOptions.m_disparity, rOptions.m_disparityScale);
    const std::string truthView = rOptions.m_truthView.value_or(rOptions.m_disparityView);
    const bool bMoved = truthView != rOptions.m_disparityView;
    const DisparityFile truthFile = truthFor(rOptions, disparity.m_pixels.size());
    const cv::Mat1f& truth = truthFile.m_pixels;
    const std::optional<cv::Mat1b> reasons = reasonsFor(rOptions, disparity);
    const auto toView = [](const std::string& rView, const cv::Mat1f& rImage) {
        return rView == "left" ? toLeftView(rImage) : toRightView(rImage);
    };
    const cv::Mat1f pixels = bMoved ? toView(truthView, disparity.m_pixels) : disparity.m_pixels;
    const TruthErrors errors = measureErrors(pixels, truth, range);
    std::printf("disparity %s: %s, %s camera\ntruth     %s: %s, %s camera\n", rOptions.m_disparity.c_str(),
                disparity.m_form.c_str(), rOptions.m_disparityView.c_str(), rOptions.m_truth.c_str(),
                truthFile.m_form.c_str(), truthView.c_str());
    if (bMoved) {
        std::puts(
            "each disparity is moved to the truth's view by its own length; where several meet, the nearest wins");
    }
    const std::optional<double> factor = wrongFactor(pixels, truth);
    if (errors.m_nKnown == 0 && !factor) {
        throw AppError(rOptions.m_truth + ": no pixel has a known disparity" +
                           (range ? std::string(" inside --range") : std::string()) + "; give another truth or scale",
                       ExitStatus::Unfit);
    }
    if (errors.m_nKnown > 0) {
        std::fputs(truthErrorsText(errors).c_str(), stdout);
    }
    if (reasons && errors.m_nKnown > 0) {
        // A pixel without a disparity cannot be moved, but the truth can.
        const cv::Mat1f truthThere = bMoved ? toView(rOptions.m_disparityView, truth) : truth;
        std::fputs(truthByReasonText(*reasons, truthThere, range).c_str(), stdout);
        if (bMoved) {
            std::puts("the truth is moved to the disparity's view, and is unknown where nothing arrives");
        }
    }
    if (factor) {
        throw wrongScale(rOptions, *factor, disparity, truthFile);
    }
}

const char* const sk_pszForms =
    "PFM, NPY, KITTI PNG (16 bits, 256ths, 0 unknown), 16- and 8-bit PNG of run with the scale in their names, PGM of "
    "run with their record, or 8 bits with a scale";

} // namespace

void addEvalCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<EvalOptions>();
    EvalOptions& r = *pOptions;
    CLI::App* pCommand = rProgram.add_subcommand("eval", "Compares a disparity file with a known truth");
    pCommand->add_option("--disparity", r.m_disparity, sk_pszForms)->required()->type_name("FILE");
    pCommand->add_option("--truth", r.m_truth, "the same forms")->required()->type_name("FILE");
    pCommand
        ->add_option("--reasons", r.m_reasons,
                     "reason_codes.png of run: what is true where each reason took the disparity (16-bit files of the "
                     "library hold reasons themselves)")
        ->type_name("FILE");
    pCommand->add_option("--disparity-scale", r.m_disparityScale, "pixels of disparity for a level of whole numbers")
        ->check(CLI::Range(1e-6, 1e3));
    pCommand->add_option("--truth-scale", r.m_truthScale, "the same for the truth (default 1 for 8 bits, else 1/256)")
        ->check(CLI::Range(1e-6, 1e3));
    pCommand->add_option("--disparity-view", r.m_disparityView, "the image that the disparity belongs to")
        ->check(CLI::IsMember({"left", "right"}))
        ->capture_default_str();
    pCommand->add_option("--truth-view", r.m_truthView, "the image that the truth belongs to (default: the same)")
        ->check(CLI::IsMember({"left", "right"}));
    pCommand->add_flag("--resize-truth", r.m_bResizeTruth,
                       "bring a truth of another size to the disparity's; values scale with the width");
    pCommand->add_option("--range", r.m_anRange, "the range that was searched: truth outside is counted, then left out")
        ->type_size(2)
        ->expected(1)
        ->type_name("MIN MAX");
    pCommand->callback([pOptions] { evaluate(*pOptions); });
}

} // namespace kestrova::app
