// kestrova run: anyone's frames, one or many, of two or three cameras, with a calibration, or rectified already.
#include "basics/InputFile.h"
#include "basics/Line.h"
#include "basics/Progress.h"
#include "commands/Commands.h"
#include "commands/FrameRunner.h"

#include <cstdio>

namespace kestrova::app {

namespace {

void printBatch(const RunOptions& rOptions, const FrameRunner& rRunner, std::size_t uAll, double dSeconds)
{
    if (uAll == 0) {
        std::puts("no frame is left for this shard");
    } else {
        std::printf(
            "%zu of %zu frames written to %s; found on average %.1f %% of the pixels; %.1f frames per second in "
            "%.1f seconds\n",
            rRunner.done(), uAll, rOptions.m_to.c_str(), 100.0 * rRunner.meanDensity(),
            static_cast<double>(uAll) / dSeconds, dSeconds);
    }
}

void run(const RunOptions& rOptions)
{
    checkOptions(rOptions);
    const OutputChoice outputs = chooseOutputs(rOptions.m_out, rOptions.hasMetres(), rOptions.m_view == "left");
    const auto [list, ahead] = framesOf(rOptions);
    if (!list.m_remark.empty()) {
        std::fprintf(stderr, "kestrova: note: %s\n", list.m_remark.c_str());
    }
    FrameRunner runner(rOptions, outputs, ahead);
    Progress progress(rOptions.isBatch() ? list.m_frames.size() : 0);
    std::optional<ExitStatus> failure; // of the first frame that was left out
    std::size_t uTried = 0;
    for (const FrameNames& rNames : list.m_frames) {
        if (const std::optional<AppError> error = runner.run(rNames)) {
            progress.clear();
            std::fprintf(stderr, "kestrova: left out: %s\n", oneLine(error->what()).c_str());
            failure = failure.value_or(error->status());
        }
        progress.done(++uTried);
    }
    progress.clear();
    const bool bJsonOnly = rOptions.m_json == "-";
    if (rOptions.isBatch() && !bJsonOnly) {
        printBatch(rOptions, runner, list.m_frames.size(), progress.seconds());
    } else if (runner.done() && !bJsonOnly) {
        std::printf("written to %s\n", rOptions.m_to.c_str());
    }
    if (failure) {
        throw AppError(line("%zu of %zu frames were left out; see the lines above",
                            list.m_frames.size() - runner.done(), list.m_frames.size()),
                       *failure);
    }
    if (const std::string wrong = runner.failure(); !wrong.empty()) {
        throw AppError(wrong, ExitStatus::Unfit);
    }
}

} // namespace

void addRunCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<RunOptions>();
    CLI::App* pCommand =
        rProgram.add_subcommand("run", "Disparity and points from image files of two or three cameras");
    addRunOptions(*pCommand, *pOptions);
    pCommand->callback([pOptions] { run(*pOptions); });
}

} // namespace kestrova::app
