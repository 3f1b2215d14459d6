// Calibrations of other systems in and out, by the program's own commands.
#include "app/program.h"
#include "cameras/RigProof.h"
#include "formats/RigWriters.h"

#include <gmock/gmock.h>

namespace kestrova::app {

namespace {

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

    // The largest distance of the raw pixels that two calibrations show at the same rectified pixel.
    double mapDifference(const std::string& rA, const std::string& rB) const
    {
        const OutlineSection a = readOutline(m_folder / rA).front();
        const OutlineSection b = readOutline(m_folder / rB).front();
        double dWorst = 0.0;
        for (const cv::Vec3i& rPosition : {cv::Vec3i(0, 0, 0), cv::Vec3i(-1, 0, 0)}) {
            for (int nRow = 0; nRow < m_size.height; nRow += 3) {
                for (int nCol = 0; nCol < m_size.width; nCol += 3) {
                    const cv::Point2d at(nCol, nRow);
                    dWorst = std::max(dWorst, cv::norm(a.camera(rPosition)->rawPosition(at, m_size, m_size) -
                                                       b.camera(rPosition)->rawPosition(at, m_size, m_size)));
                }
            }
        }
        return dWorst;
    }

    const cv::Size m_size{320, 240};
};

} // namespace

// The maps are compared at the same rectified pixels: the way back plans the same view anew, or keeps it.
TEST_F(Formats, ARigGoesOutAndComesBackWithTheSameMaps)
{
    const std::tuple<const char*, CameraModel, bool> aLenses[] = {
        {"plumb-bob", {m_size, {}, {-.27, .09, .0008, -.0006}}, true},
        {"rational", {m_size, {}, {.30, -.02, 0, 0, .002, .62, .03, .001}}, true},
        {"rational, not centred", {m_size, {}, {.30, -.02, .002, -.0015, .002, .62, .03, .001}}, false},
        {"equidistant", {m_size, {}, {-.01, .003, -.002, .0004}, Lens::Equidistant}, true}};
    for (const auto& [pszLens, lens, bFourTerms] : aLenses) {
        writeText(m_folder / "rig.txt", buildRig(pairOf(lens), {}).text());
        for (const auto& [form, more, size] :
             {std::tuple<std::string, std::string, std::string>{"opencv", " --keep-p", ""},
              {"ros", " --keep-p", " --size 640x480"},
              {"kalibr", "", ""}}) {
            const Outcome out = call("export --calibration rig.txt --to " + form + " --out " + form +
                                     (bFourTerms || form != "kalibr" ? size : " --size 1280x960"));
            ASSERT_EQ(out.m_nStatus, form == "kalibr" && !bFourTerms ? 5 : 0) << pszLens << out.m_error;
            if (out.m_nStatus != 0) {
                continue; // a lens that the form cannot hold is refused, not bent
            }
            const Outcome in = call("import " + form + more + " -o back.txt");
            ASSERT_EQ(in.m_nStatus, 0) << pszLens << in.m_error;
            EXPECT_THAT(in.m_out,
                        testing::AllOf(testing::HasSubstr(": " + form + ", 2 cameras"),
                                       testing::HasSubstr("baseline 120.02 mm: does this match your ruler?")));
            EXPECT_LT(mapDifference("rig.txt", "back.txt"), 0.02) << pszLens << ' ' << form << out.m_out << in.m_out;
        }
    }
}

// The lenses themselves, as their makers write them, not as fitted to maps.
TEST_F(Formats, ReadersTakeTheLensesAsTheyStand)
{
    CameraSet pair = exampleCameraSet(m_size);
    pair.at(KestrovaCamLeft).m_model.m_adDistortion =
        pair.at(KestrovaCamRight).m_model.m_adDistortion = {.12, -.05, .001, .0004, .01, .42, -.1, .02};
    const Rig rig = buildRig(pair, {});
    writeText(m_folder / "rig.txt", rig.text());
    const RigExport whole{rig.m_set, rig.m_plan, {}, {}};
    const auto backFrom = [&](const TextFiles& rFiles, const std::string& rMore) {
        std::string names;
        for (const auto& [rName, rText] : rFiles) {
            writeText(m_folder / rName, rText);
            names += rName + ' ';
        }
        const Outcome in = call("import " + names + rMore + " -o back.txt");
        EXPECT_EQ(in.m_nStatus, 0) << in.m_error;
        return mapDifference("rig.txt", "back.txt");
    };
    EXPECT_LT(backFrom(writeRos(whole), ""), 1e-3);
    EXPECT_LT(backFrom(writeRos(whole), "--keep-p"), 1e-3);
    EXPECT_LT(backFrom(writeOpenCv(whole), "--left-is 1"), 1e-3);

    // The program that most people calibrate with: its own storage, in XML and under other names, T in millimetres.
    {
        cv::FileStorage storage((m_folder / "stereo.xml").string(), cv::FileStorage::WRITE);
        const MountedCamera& rLeft = pair.at(KestrovaCamLeft);
        storage << "cameraMatrix1" << cv::Mat(rLeft.m_model.m_cameraMatrix) << "distCoeffs1"
                << rLeft.m_model.m_adDistortion << "cameraMatrix2"
                << cv::Mat(pair.at(KestrovaCamRight).m_model.m_cameraMatrix) << "distCoeffs2"
                << cv::Mat(pair.at(KestrovaCamRight).m_model.m_adDistortion).t() << "R" << cv::Mat(rLeft.m_rotation)
                << "T" << cv::Mat(1000.0 * rLeft.m_translation) << "imageSize" << m_size;
    }
    EXPECT_LT(backFrom({}, "stereo.xml --unit mm"), 1e-3);
    CameraSet three = exampleCameraSet(m_size, KestrovaCfg3CameraL);
    for (auto& [eCamera, rCamera] : three) {
        rCamera.m_model.m_adDistortion.resize(4);
    }
    const Rig l = buildRig(three, {});
    writeText(m_folder / "rig.txt", l.text());
    EXPECT_LT(backFrom(writeKalibr({l.m_set, l.m_plan, {}, {}}), ""), 1e-3);
    EXPECT_THAT(slurp(m_folder / "back.txt"), testing::HasSubstr("CameraConfiguration L"));
}

TEST_F(Formats, FourCoefficientsWithoutANameAreFoundOutOrAskedFor)
{
    const std::tuple<double, std::vector<double>, const char*, int, const char*> aCases[] = {
        {0.8, {-.27, .09, .0008, -.0006}, "", 0, "taken as k1 k2 p1 p2; if cv::fisheye wrote them, say --fisheye"},
        {0.8, {.30, .15, .08, .05}, "", 0, "taken as those of cv::fisheye"}, // an ordinary lens, told by its angles
        {0.42, {-.02, .003, -.001, .0002}, "", 2, "say --fisheye or --no-fisheye"},
        {0.42, {-.02, .003, -.001, .0002}, " --fisheye", 0, "sees further than a flat image"},
        {0.42, {-.02, .003, -.001, .0002}, " --no-fisheye", 0, "proof: "}};
    for (const auto& [dFocal, coefficients, pszMore, nStatus, pszWords] : aCases) {
        CameraSet pair = pairOf({m_size, {}, coefficients});
        for (auto& [eCamera, rCamera] : pair) {
            rCamera.m_model.m_cameraMatrix(0, 0) = rCamera.m_model.m_cameraMatrix(1, 1) = dFocal * m_size.width;
        }
        for (auto [name, text] : writeOpenCv({pair, buildRig(pairOf({m_size, {}, {}}), {}).m_plan, {}, {}})) {
            if (const std::size_t uAt = text.find("distortion_model"); uAt != std::string::npos) {
                text.erase(uAt, text.find('\n', uAt) - uAt);
            }
            writeText(m_folder / name, text);
        }
        const Outcome in = call("import intrinsics.yml extrinsics.yml -o out.txt" + std::string(pszMore));
        EXPECT_EQ(in.m_nStatus, nStatus) << pszWords << in.m_error;
        EXPECT_THAT(in.m_out + in.m_error, testing::HasSubstr(pszWords));
    }
}

TEST_F(Formats, WrongSourcesGetOneLineThatNamesTheFileTheKeyAndTheWayOut)
{
    const Rig rig = buildRig(pairOf({m_size, {}, {-.2, .05, 0, 0}}), {});
    const RigExport whole{rig.m_set, rig.m_plan, {}, {}};
    using Change = std::pair<std::string, std::string>; // first occurrence of this becomes that; "" cuts the file off
    struct Case
    {
        const char* m_pszFile;
        Change m_change;
        const char* m_pszArguments;
        int m_nStatus;
        const char* m_pszLine;
    };
    std::string deep = "<?xml version=\"1.0\"?>";
    for (int n = 0; n < 100000; ++n) {
        deep += "<a>";
    }
    writeText(m_folder / "deep.xml", deep);
    writeText(m_folder / "self.yaml", "a: &a\n  b: *a\n");
    const Case aCases[] = {
        {"left.yaml", {"", ""}, "deep.xml", 4, "deep.xml: blocks in blocks"},
        {"left.yaml", {"", ""}, "self.yaml", 4, "self.yaml: line 1: too many keys, or too deep"},
        {"left.yaml", {"", ""}, "/dev/zero", 4, "is a device"},
        {"intrinsics.yml", {"D2:", "D3:"}, "opencv", 4, "D2: missing .nor is there distCoeffs2.*give all files"},
        {"intrinsics.yml", {"image_width", "w"}, "opencv", 2, "size of the frames; give it with --size"},
        {"extrinsics.yml", {"unit", "u"}, "opencv", 2, "unit of T; give .* --unit mm"},
        {"extrinsics.yml", {"", ""}, "opencv --unit mm", 4, "metres given as millimetres; compare T and --unit"},
        {"extrinsics.yml",
         {"R: !!opencv-matrix\n   rows: 3", "R: !!opencv-matrix\n   rows: 4"},
         "opencv",
         4,
         "extrinsics.yml: line 5: R: 9 numbers do not fill 4 rows of 3"},
        {"intrinsics.yml",
         {"data: [ ", "data: [ .Nan, #"},
         "opencv",
         4,
         "intrinsics.yml: line 7: M1: .*is the file complete"},
        {"intrinsics.yml",
         {", 0.0,", ", .Nan,"},
         "opencv",
         4,
         "intrinsics.yml: line 7: M1: has a value that is no finite"},
        {"intrinsics.yml", {"M2", ""}, "opencv", 4, "M2: missing"},
        {"extrinsics.yml",
         {"0, ", ""},
         "opencv",
         4,
         "extrinsics.yml: line [0-9]+: cannot be read as YAML .*is the file complete"},
        {"left.yaml",
         {"plumb_bob", "thin_prism"},
         "ros",
         4,
         "left.yaml: line [0-9]+: distortion_model: 'thin_prism' is not known"},
        {"left.yaml",
         {"image_width: 320", "image_width: 640"},
         "ros",
         4,
         "left.yaml: size 640x240, but the right one has 320x240"},
        {"right.yaml", {"projection_matrix", "p"}, "ros", 4, "right.yaml: projection_matrix: missing"},
        {"right.yaml",
         {"data: [", "data: [0.0, 0, 0, 0, 0, 0, 0, 0, 0] # "},
         "ros",
         4,
         "right.yaml: .*is the file complete|right.yaml: line [0-9]+: camera_matrix: focal length 0"},
        {"camchain.yaml",
         {"pinhole", "omni"},
         "kalibr",
         4,
         "camchain.yaml: line 2: cam0.camera_model: 'omni' is not supported; calibrate with pinhole-radtan"},
        {"camchain.yaml", {"T_cn_cnm1", "T_c"}, "kalibr", 4, "cam1.T_cn_cnm1: missing"},
        {"camchain.yaml",
         {"distortion_coeffs: [", "distortion_coeffs: [1, "},
         "kalibr",
         4,
         "cam0.distortion_coeffs: is 1 by 5, 1 by 4 is wanted"},
        {"camchain.yaml",
         {"[0.0, 0.0, 0.0, 1.0]", "[0.0, 0.0, 0.0, 2.0]"},
         "kalibr",
         4,
         "T_cn_cnm1: last row is not 0 0 0 1"},
        {"left.yaml", {"", ""}, "ros/left.yaml --from ros", 2, "1 given, 2 are wanted"},
        {"left.yaml", {"", ""}, "ros/left.yaml ros/left.yaml", 4, "projection_matrix: no baseline"},
        {"left.yaml", {"", ""}, "ros --canvas 640x400", 2, "--canvas: 640x400: needs a 4 by 3 size"},
        {"left.yaml", {"", ""}, "ros --left-is 3", 2, "--left-is: '3' is not 1 or 'left.yaml'"},
        {"camchain.yaml", {"", ""}, "kalibr --keep-p", 5, "--keep-p: the source has no rectification"},
        {"camchain.yaml", {"", ""}, "nowhere.yaml", 3, "nowhere.yaml: cannot be read"},
        {"camchain.yaml",
         {"", ""},
         "'" KESTROVA_PROGRAM "'",
         4,
         "cannot be read as YAML|is it a calibration|too long for what it should be"}};
    for (const Case& rCase : aCases) {
        for (const auto& [pszFolder, files] :
             {std::pair("opencv", writeOpenCv(whole)), std::pair("ros", writeRos(whole)),
              std::pair("kalibr", writeKalibr(whole))}) {
            std::filesystem::create_directories(m_folder / pszFolder);
            for (auto [name, text] : files) {
                if (name == rCase.m_pszFile && !rCase.m_change.first.empty()) {
                    const std::size_t nAt = text.find(rCase.m_change.first);
                    text = text.substr(0, nAt) + rCase.m_change.second +
                           (rCase.m_change.second.empty() ? "" : text.substr(nAt + rCase.m_change.first.size()));
                }
                writeText(m_folder / (std::string(pszFolder) + "/" + name), text);
            }
        }
        const Outcome in = call("import -o out.txt " + std::string(rCase.m_pszArguments));
        EXPECT_EQ(in.m_nStatus, rCase.m_nStatus) << rCase.m_pszLine << in.m_error;
        EXPECT_THAT(in.m_error,
                    testing::ContainsRegex("^kestrova: [^\n]*(" + std::string(rCase.m_pszLine) + ")[^\n]*\n$"));
        EXPECT_FALSE(std::filesystem::exists(m_folder / "out.txt"));
    }
}

} // namespace kestrova::app
