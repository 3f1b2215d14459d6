// The record of an image: through a file and back, and what the parser takes and refuses.
#include "imageio/imageComment.h"
#include "imageio/imageInfo.h"
#include "kestrova.h"
#include "support/StereoFrame.h"

#include <cmath>
#include <cstring>
#include <numeric>

namespace kestrova::test {
using namespace std::string_literals;
namespace {

/** All fields in order. */
std::vector<double> numbers(const DisparityImageInfo& r)
{
    return {double(r.rectQuality),
            double(r.edgeCorrelation),
            double(r.edgeMask),
            double(r.smoothing),
            double(r.stereoQuality),
            double(r.cameraConfiguration),
            double(r.stereoMask),
            double(r.minDisparity),
            double(r.maxDisparity),
            double(r.disparityOffset),
            double(r.disparityMapping),
            double(r.minDisparityMapping),
            double(r.maxDisparityMapping),
            double(r.textureValidation),
            r.textureValidationThreshold,
            double(r.textureValidationMapping),
            double(r.uniquenessValidation),
            r.uniquenessValidationThreshold,
            double(r.uniquenessValidationMapping),
            double(r.backForthValidation),
            double(r.backForthValidationMapping),
            double(r.surfaceValidation),
            r.surfaceValidationDiff,
            double(r.surfaceValidationSize),
            double(r.surfaceValidationMapping)};
}

/** Every setting that a comment tells, to values that no default has. */
void setAll(KestrovaContext h, bool bOn)
{
    EXPECT_EQ(kestrovaSetRectImgQuality(h, KestrovaRectEnhanced1), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetEdgeCorrelation(h, bOn), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetEdgeMask(h, 9), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetLowpass(h, !bOn), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetStereoQuality(h, bOn ? KestrovaStereoEnhanced : KestrovaStereoStandard), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetStereoMask(h, 11), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparity(h, 15, 250), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparityMappingOn(h, bOn), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparityMapping(h, 3, 203), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetTextureValidation(h, bOn), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetTextureValidationThreshold(h, 1.26F), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetTextureValidationMapping(h, 241), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetUniquenessValidation(h, bOn), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetUniquenessValidationThreshold(h, 2.25F), KestrovaErrorOk); // a tie goes to even
    EXPECT_EQ(kestrovaSetUniquenessValidationMapping(h, 242), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetBackForthValidation(h, bOn), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetBackForthValidationMapping(h, 243), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidation(h, bOn), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidationDifference(h, 0.74F), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidationSize(h, 7), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidationMapping(h, 244), KestrovaErrorOk);
}

constexpr double sk_dKept = 77; // what a field holds whose line is absent

std::vector<double> expected(bool bOn, bool b16)
{
    const auto on = [&](double d) { return bOn ? d : sk_dKept; };
    const double dOn = bOn;
    const bool bMapping = bOn && !b16;
    return {2,
            dOn,
            on(9),
            1 - dOn,
            dOn,
            1,
            11,
            15,
            250,
            10,
            double(bMapping),
            bMapping ? 3 : sk_dKept,
            bMapping ? 203 : sk_dKept,
            dOn,
            on(1.3),
            on(241),
            dOn,
            on(2.2),
            on(242),
            dOn,
            on(243),
            dOn,
            on(0.7),
            on(7),
            on(244)};
}

KestrovaImageInfo filledInfo()
{
    KestrovaImageInfo info{};
    DisparityImageInfo& r = info.parameters.disparity;
    r.edgeMask = r.disparityOffset = r.minDisparityMapping = r.maxDisparityMapping = r.surfaceValidationSize = 77;
    r.textureValidationThreshold = r.uniquenessValidationThreshold = r.surfaceValidationDiff = sk_dKept;
    r.textureValidationMapping = r.uniquenessValidationMapping = r.backForthValidationMapping =
        r.surfaceValidationMapping = 77;
    return info;
}

TEST(ImageComment, EveryFieldComesBackFromTheFile)
{
    const TempFile file("");
    for (const bool bOn : {false, true}) {
        for (const bool b16 : {false, true}) {
            const Handle handle = open(Shape::Horizontal);
            KestrovaContext h = handle.get();
            StereoFrame frame(240, 320, 5);
            KestrovaInput input = frame.planes();
            EXPECT_EQ(kestrovaSetSubpixelInterpolation(h, b16), KestrovaErrorOk);
            setAll(h, bOn);
            ASSERT_EQ(kestrovaPreprocess(h, &input), KestrovaErrorOk);
            ASSERT_EQ(kestrovaStereo(h), KestrovaErrorOk);
            setAll(h, !bOn); // the file tells how the image was made, not what holds now
            KestrovaImageInfo info = filledInfo();
            if (b16) {
                KestrovaImage16 read{};
                ASSERT_EQ(kestrovaSaveImage16Extra(h, KestrovaImg16Disparity, KestrovaCamReference, file.path()),
                          KestrovaErrorOk);
                ASSERT_EQ(kestrovaReadImage16Extra(file.path(), &read, &info), KestrovaErrorOk);
                EXPECT_EQ(read.rowinc, 320);
                read.rowinc *= 2;
                EXPECT_EQ(pixelsOf(read), disparity16(h));
                std::free(read.data);
            } else {
                KestrovaImage read{};
                ASSERT_EQ(kestrovaSaveImageExtra(h, KestrovaImgDisparity, KestrovaCamReference, file.path()),
                          KestrovaErrorOk);
                ASSERT_EQ(kestrovaReadImageExtra(file.path(), &read, &info), KestrovaErrorOk);
                EXPECT_EQ(pixelsOf(read), image(h, KestrovaImgDisparity, KestrovaCamReference));
                std::free(read.data);
            }
            EXPECT_TRUE(info.hasComment && info.serialNumber == 4711 && info.imageType == 0);
            EXPECT_STREQ(info.product, "Pemberlow");
            EXPECT_EQ(info.camera, KestrovaCamRight);
            EXPECT_EQ(numbers(info.parameters.disparity), expected(bOn, b16)) << bOn << b16;
        }
    }
}

std::string headerOf(const char* pszPath)
{
    std::ostringstream text;
    text << std::ifstream(pszPath, std::ios::binary).rdbuf();
    return text.str().substr(0, text.str().find("\n255\n"));
}

TEST(ImageComment, HeadersOfOtherImagesLineByLine)
{
    CalibrationText text(Shape::L);
    text.cameras.push_back({100, "0 0 0", "COLOR"});
    const Handle handle = openText(text.text());
    KestrovaContext h = handle.get();
    StereoFrame frame(240, 320, 5);
    KestrovaInput input = frame.planes();
    ASSERT_EQ(kestrovaPreprocess(h, &input), KestrovaErrorOk);
    const std::string start = "P5\n# LYRComment\n# Halvorine 4711\n# ";
    const std::string size = "\n320 240";
    const struct
    {
        KestrovaImageType eType;
        KestrovaCamera eCamera;
        std::string lines; // empty for the colour camera's refusal
        KestrovaError eError = KestrovaErrorOk;
    } aCases[] = {
        {KestrovaImgRaw, KestrovaCamTop, "Raw Top image\n"},
        {KestrovaImgRectified, KestrovaCamReference, "Rectified Right image\n# RectificationQuality=Standard\n"},
        {KestrovaImgEdge, KestrovaCamLeft,
         "Edge Left image\n# RectificationQuality=Standard\n# EdgeMask=7\n# Smoothing=On\n"},
        {KestrovaImgRectified, KestrovaCamColor, "", KestrovaErrorInvalidParameter},
        {KestrovaImgPacked, KestrovaCamLeft, "", KestrovaErrorInvalidRequest},
    };
    const TempFile file("");
    for (const auto& rCase : aCases) {
        ASSERT_EQ(kestrovaSaveImageExtra(h, rCase.eType, rCase.eCamera, file.path()), rCase.eError) << rCase.lines;
        if (rCase.eError == KestrovaErrorOk) {
            EXPECT_EQ(headerOf(file.path()), start + rCase.lines + size);
            KestrovaImage read{};
            KestrovaImageInfo info{};
            ASSERT_EQ(kestrovaReadImageExtra(file.path(), &read, &info), KestrovaErrorOk) << rCase.lines;
            EXPECT_EQ(info.imageType, rCase.eType);
            EXPECT_EQ(info.camera, std::max(rCase.eCamera, KestrovaCamRight));
            EXPECT_EQ(info.parameters.rectified.rectQuality, rCase.eType != KestrovaImgRaw ? 1 : 0);
            EXPECT_EQ(info.parameters.edge.edgeMask, rCase.eType == KestrovaImgEdge ? 7 : 0);
            EXPECT_EQ(info.parameters.edge.smoothing, rCase.eType == KestrovaImgEdge);
            EXPECT_EQ(pixelsOf(read), image(h, rCase.eType, rCase.eCamera));
            std::free(read.data);
        }
    }
    const char* const pszNowhere = "/no such folder/file";
    KestrovaImage read{9, 9, 9, nullptr};
    KestrovaImageInfo info{};
    EXPECT_EQ(kestrovaSaveImageExtra(h, KestrovaImgRaw, KestrovaCamTop, pszNowhere), KestrovaErrorSystem);
    EXPECT_EQ(kestrovaSaveImageExtra(nullptr, KestrovaImgRaw, KestrovaCamTop, file.path()),
              KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaReadImageExtra(pszNowhere, &read, &info), KestrovaErrorImageFileRead);
    EXPECT_EQ(kestrovaReadImageExtra(nullptr, &read, &info), KestrovaErrorInvalidParameter);
    EXPECT_EQ(kestrovaReadImageExtra(file.path(), nullptr, &info), KestrovaErrorInvalidParameter);
    EXPECT_EQ(kestrovaReadImageExtra(file.path(), &read, nullptr), KestrovaErrorInvalidParameter);
    EXPECT_TRUE(read.nrows == 9 && !info.hasComment);
}

TEST(ImageComment, TextsThatParseAndThoseThatDoNot)
{
    constexpr auto sk_eBad = KestrovaErrorImageComment;
    constexpr auto sk_eOk = KestrovaErrorOk;
    const std::string start = " LYRComment\n Pemberlow 5\n ";
    const std::string edge = start + "Edge Left image\n";
    const std::string disparity = start + "16-bit-Disparity Reference Image\n";
    const struct
    {
        std::string text;
        KestrovaError eError;
        int nQuality;  // of rectification, 77 for untouched
        int nEdgeMask; // likewise
        bool bComment = true;
    } aCases[] = {
        {"", sk_eOk, 77, 77, false},
        {"\n\n", sk_eOk, 77, 77, false},
        {" LYRComment2\n", sk_eOk, 77, 77, false},
        {" LYRComment \n", sk_eOk, 77, 77, false},
        {"   LYRComment\n", sk_eBad, 77, 77},
        {" LYRComment\n Pemberlow", sk_eBad, 77, 77},
        {" LYRComment\n Pemberlow 5", sk_eBad, 77, 77},
        {" LYRComment\n "s + std::string(99, 'p') + " 5\n Raw Left image\n", sk_eOk, 77, 77},
        {" LYRComment\n "s + std::string(100, 'p') + " 5\n Raw Left image\n", sk_eBad, 77, 77},
        {" LYRComment\n "s + std::string(5000, 'p') + " 5\n Raw Left image\n", sk_eBad, 77, 77},
        {start + "Raw", sk_eBad, 77, 77},
        {start + "Raw Left", sk_eBad, 77, 77},
        {start + "Raw Left x", sk_eOk, 77, 77},
        {start + "Packed Color image\nanything", sk_eOk, 77, 77},
        {start + "raw Left image\n", sk_eBad, 77, 77},
        {start + "Raw Middle image\n", sk_eBad, 77, 77},
        {start + "Rectified Left image\n", sk_eBad, 77, 77},
        {start + "Rectified Left image\nRectificationQuality=  Fast\n", sk_eOk, 0, 77},
        {start + "Rectified Left image\nRectificationQuality=Fast \n", sk_eBad, 77, 77},
        {start + "Rectified Left image\nRectificationQuality=", sk_eBad, 77, 77},
        {start + "Rectified Left image\nEdgeMask=5\n", sk_eBad, 77, 77},
        {edge + "EdgeCorrelation=?\n EdgeMask=5\n RectificationQuality=Enhanced-2\n EdgeMask=x", sk_eOk, 3, 0},
        {edge + "EdgeMask=5\n StereoQuality=Standard\n", sk_eBad, 77, 5},
        {edge + "EdgeMask=4294967301\n", sk_eOk, 77, 5}, // the low 32 bits
        {edge + "EdgeMask=5\n\n", sk_eBad, 77, 5},       // an empty line is a key that nobody knows
        {disparity, sk_eBad, 77, 77},
        {disparity + "StereoQuality=Fast\n", sk_eBad, 77, 77},
        {disparity + "CameraConfiguration=Wide\n", sk_eBad, 77, 77},
        {disparity + "EdgeMask=3\n DisparityMapping=Maybe\n TextureValidation=On", sk_eOk, 77, 3},
    };
    for (const auto& rCase : aCases) {
        std::string text = rCase.text;
        KestrovaImageInfo info{};
        info.parameters.disparity.rectQuality = static_cast<KestrovaRectImgQuality>(77);
        info.parameters.edge.edgeMask = 77;
        info.parameters.disparity.edgeMask = 77;
        testing::internal::CaptureStdout();
        EXPECT_EQ(parseImageInfo(text.data(), &info), rCase.eError) << rCase.text;
        const bool bMaybe = rCase.text.find("Maybe") != std::string::npos;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), bMaybe ? "Error in stringToBool!\n" : "");
        const bool bEdge = rCase.text.find("Edge Left") != std::string::npos;
        EXPECT_EQ(info.hasComment, rCase.bComment) << rCase.text;
        EXPECT_EQ(info.parameters.rectified.rectQuality, rCase.nQuality) << rCase.text;
        EXPECT_EQ(bEdge ? info.parameters.edge.edgeMask : info.parameters.disparity.edgeMask, rCase.nEdgeMask)
            << rCase.text;
    }
    // A file whose comment is damaged still gives its pixels.
    const TempFile file("P5\n#LYRComment\n1 1 255 a");
    KestrovaImage read{};
    KestrovaImageInfo info{};
    EXPECT_EQ(kestrovaReadImageExtra(file.path(), &read, &info), KestrovaErrorImageComment);
    EXPECT_TRUE(read.data != nullptr && *read.data == 'a');
    std::free(read.data);
}

} // namespace
} // namespace kestrova::test
