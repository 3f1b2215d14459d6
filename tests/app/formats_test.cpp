// Calibrations of other systems in and out, by the program's own commands.
#include "app/program.h"
#include "cameras/RigProof.h"
#include "formats/RigWriters.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace kestrova::app {

struct Formats : Program
{
    static CameraSet pairOf(const CameraModel& rLens)
    {
        CameraSet pair = exampleCameraSet(rLens.m_size);
        for (auto& [eCamera, rCamera] : pair) {
            rCamera.m_model.m_eLens = rLens.m_eLens;
            rCamera.m_model.m_adDistortion = rLens.m_adDistortion;
        }
        return pair;
    }

    void replace(const std::string& rFile, const std::string& rFrom, const std::string& rTo) const
    {
        std::string text = slurp(m_folder / rFile);
        text.replace(text.find(rFrom), rFrom.size(), rTo); // throws when it is not there
        writeText(m_folder / rFile, text);
    }

    // The largest distance of the raw pixels that two calibrations show at the same rectified pixel.
    double mapDifference(const std::string& rA, const std::string& rB) const
    {
        const OutlineSection a = readOutline(m_folder / rA).front();
        const OutlineSection b = readOutline(m_folder / rB).front();
        double dWorst = 0.0;
        for (const cv::Vec3i& rPosition : {cv::Vec3i(0, 0, 0), cv::Vec3i(-1, 0, 0)})
            for (int nRow = 0; nRow < m_size.height; nRow += 3)
                for (int nCol = 0; nCol < m_size.width; nCol += 3) {
                    const cv::Point2d at(nCol, nRow);
                    dWorst = std::max(dWorst, cv::norm(a.camera(rPosition)->rawPosition(at, m_size, m_size) -
                                                       b.camera(rPosition)->rawPosition(at, m_size, m_size)));
                }
        return dWorst;
    }

    const cv::Size m_size{320, 240};
};

TEST_F(Formats, ARigGoesOutAndComesBackWithTheSameMaps)
{
    const std::pair<const char*, CameraModel> aLenses[] = {
        {"plumb-bob", {m_size, {}, {-.27, .09, .0008, -.0006}}},
        {"rational", {m_size, {}, {.30, -.02, 0, 0, .002, .62, .03, .001}}},
        {"equidistant", {m_size, {}, {-.01, .003, -.002, .0004}, Lens::Equidistant}}};
    for (const auto& [pszLens, lens] : aLenses) {
        writeText(m_folder / "rig.txt", buildRig(pairOf(lens), {}).text());
        for (const std::string form : {"opencv", "ros", "kalibr"}) {
            const Outcome out = call("export --calibration rig.txt --to " + form + " --out " + form);
            ASSERT_EQ(out.m_nStatus, 0) << pszLens << out.m_error;
            const Outcome in = call("import " + form + " -o back.txt");
            ASSERT_EQ(in.m_nStatus, 0) << pszLens << in.m_error;
            std::printf("%s %s %.4f\n%s%s", pszLens, form.c_str(), mapDifference("rig.txt", "back.txt"),
                        out.m_out.c_str(), in.m_out.c_str());
            EXPECT_LT(mapDifference("rig.txt", "back.txt"), 0.02) << pszLens << ' ' << form << out.m_out << in.m_out;
        }
    }
}

} // namespace kestrova::app
