#include "outputs/FrameSummary.h"

#include "basics/Json.h"

namespace kestrova::app {

namespace {

/** The members of an object in their order. */
class JsonObject
{
public:
    JsonObject& add(const std::string& rKey, const std::string& rJson)
    {
        m_text += (m_text.empty() ? "" : ", ") + jsonText(rKey) + ": " + rJson;
        return *this;
    }
    JsonObject& add(const std::string& rKey, double dValue) { return add(rKey, jsonNumber(dValue)); }
    JsonObject& add(const std::string& rKey, int nValue) { return add(rKey, std::to_string(nValue)); }
    std::string text() const { return "{" + m_text + "}"; }

private:
    std::string m_text;
};

JsonObject beginning(const FrameNames& rNames)
{
    JsonObject frame;
    frame.add("frame", jsonText(rNames.m_name));
    for (const auto& [eCamera, rFile] : rNames.m_files) {
        frame.add(cameraName(eCamera), jsonText(rFile.string()));
    }
    return frame;
}

} // namespace

std::string frameSummary(const FrameNames& rNames, const StereoResult& rResult)
{
    const DisparityMap& rMap = rResult.m_map16;
    const auto anCount = rMap.count();
    const double dAll = static_cast<double>(rMap.m_pixels.total());
    JsonObject rejected;
    for (int i = 1; i < sk_nRejects; ++i) {
        rejected.add(rejectName(static_cast<Reject>(i)), anCount[static_cast<std::size_t>(i)] / dAll);
    }
    JsonObject milliseconds;
    for (const StageTime& rTime : rResult.m_times) {
        milliseconds.add(rTime.m_key, rTime.m_dMilliseconds);
    }
    const bool bMetres = rResult.m_optics.m_fBaseline > 0.0f;
    const auto metric = [bMetres](double dValue) { return bMetres ? jsonNumber(dValue) : std::string("null"); };
    return beginning(rNames)
        .add("width", rMap.m_pixels.cols)
        .add("height", rMap.m_pixels.rows)
        .add("view", jsonText(rResult.m_bSeenFromLeft ? "left" : "right"))
        .add("disparity_min", rResult.m_range[0])
        .add("disparity_max", rResult.m_range[1])
        .add("disparity_offset", rResult.m_nOffset)
        .add("focal_px", metric(rResult.m_optics.m_fFocal))
        .add("baseline_m", metric(rResult.m_optics.m_fBaseline))
        .add("density", anCount[0] / dAll)
        .add("rejected", rejected.text())
        .add("milliseconds", milliseconds.text())
        .text();
}

std::string frameFailure(const FrameNames& rNames, const std::string& rError)
{
    return beginning(rNames).add("error", jsonText(rError)).text();
}

} // namespace kestrova::app
