// The record of an image: through a file and back, and what the parser takes and refuses.
#include "imageio/imageComment.h"
#include "imageio/imageInfo.h"
#include "support/allSettings.h"

#include <gmock/gmock.h>

namespace kestrova::test {
using namespace std::string_literals;
namespace {

std::vector<double> list(auto... values)
{
    return {static_cast<double>(values)...};
}

/** All fields in order. */
std::vector<double> numbers(const DisparityImageInfo& r)
{
    return list(r.rectQuality, r.edgeCorrelation, r.edgeMask, r.smoothing, r.stereoQuality, r.cameraConfiguration,
                r.stereoMask, r.minDisparity, r.maxDisparity, r.disparityOffset, r.disparityMapping,
                r.minDisparityMapping, r.maxDisparityMapping, r.textureValidation, r.textureValidationThreshold,
                r.textureValidationMapping, r.uniquenessValidation, r.uniquenessValidationThreshold,
                r.uniquenessValidationMapping, r.backForthValidation, r.backForthValidationMapping, r.surfaceValidation,
                r.surfaceValidationDiff, r.surfaceValidationSize, r.surfaceValidationMapping);
}

/** As setAll leaves them. A field whose line is absent stays 0. */
std::vector<double> expected(bool bOn, bool b16)
{
    const int n = bOn ? 1 : 0;
    const int nMap = bOn && !b16 ? 1 : 0;
    return list(2, n, 9 * n, !bOn, n, 1, 11, 15, 250, 10, nMap, 3 * nMap, 203 * nMap, n, 1.3 * n, 241 * n, n, 2.2 * n,
                242 * n, n, 243 * n, n, 0.7 * n, 7 * n, 244 * n);
}

template<class Record, class Type>
void savesAndReads(KestrovaContext h, KestrovaError (*pfnSave)(KestrovaContext, Type, KestrovaCamera, const char*),
                   KestrovaError (*pfnRead)(const char*, Record*, KestrovaImageInfo*),
                   KestrovaError (*pfnGet)(KestrovaContext, Type, KestrovaCamera, Record*), KestrovaImageInfo& rInfo)
{
    const TempFile file;
    Record read{};
    Record image{};
    expectOk({pfnSave(h, Type{}, KestrovaCamReference, file.path()), pfnRead(file.path(), &read, &rInfo),
              pfnGet(h, Type{}, KestrovaCamReference, &image)});
    EXPECT_EQ(read.rowinc, read.ncols); // of 16-bit images too
    read.rowinc = static_cast<int>(read.ncols * sizeof *read.data);
    EXPECT_EQ(pixelsOf(read), pixelsOf(image));
    std::free(read.data);
}

TEST(ImageComment, EveryFieldComesBackFromTheFile)
{
    for (const int nCase : {0, 1, 2, 3}) {
        const bool bOn = nCase % 2 != 0;
        const bool b16 = nCase / 2 != 0;
        const Handle h = open(Shape::Horizontal);
        StereoFrame frame(240, 320, 5);
        KestrovaInput input = frame.planes();
        setAll(h, bOn);
        expectOk({kestrovaSetSubpixelInterpolation(h, b16), kestrovaPreprocess(h, &input), kestrovaStereo(h)});
        setAll(h, !bOn); // the file tells how the image was made, not what holds now
        KestrovaImageInfo info{};
        info.parameters.disparity.disparityMapping = true; // the two that do not stay
        info.parameters.disparity.disparityOffset = 77;
        if (b16) {
            savesAndReads(h, kestrovaSaveImage16Extra, kestrovaReadImage16Extra, kestrovaGetImage16, info);
        } else {
            savesAndReads(h, kestrovaSaveImageExtra, kestrovaReadImageExtra, kestrovaGetImage, info);
        }
        EXPECT_TRUE(info.hasComment && info.serialNumber == 4711 && info.imageType == 0);
        EXPECT_STREQ(info.product, "Pemberlow");
        EXPECT_EQ(info.camera, KestrovaCamRight);
        EXPECT_EQ(numbers(info.parameters.disparity), expected(bOn, b16)) << nCase;
    }
}

TEST(ImageComment, HeadersOfOtherImagesLineByLine)
{
    CalibrationText text(Shape::L);
    text.cameras.push_back({100, "0 0 0", "COLOR"});
    const Handle h = openText(text.text());
    StereoFrame frame(240, 320, 5);
    KestrovaInput input = frame.planes();
    expectOk({kestrovaPreprocess(h, &input)});
    const std::string start = "P5\n# LYRComment\n# Halvorine 4711\n# ";
    const std::string size = "\n320 240\n255\n";
    const std::tuple<KestrovaImageType, KestrovaCamera, std::string> aCases[] = {
        {KestrovaImgRaw, KestrovaCamTop, "Raw Top image\n"},
        {KestrovaImgRectified, KestrovaCamReference, "Rectified Right image\n# RectificationQuality=Standard\n"},
        {KestrovaImgEdge, KestrovaCamLeft,
         "Edge Left image\n# RectificationQuality=Standard\n# EdgeMask=7\n# Smoothing=On\n"}};
    const TempFile file;
    for (const auto& [eType, eCamera, lines] : aCases) {
        KestrovaImage read{};
        KestrovaImageInfo info{};
        expectOk({kestrovaSaveImageExtra(h, eType, eCamera, file.path()),
                  kestrovaReadImageExtra(file.path(), &read, &info)});
        EXPECT_TRUE(file.content().starts_with(start + lines + size)) << file.content().substr(0, 200);
        EXPECT_TRUE(info.imageType == eType && info.camera == std::max(eCamera, KestrovaCamRight)) << lines;
        EXPECT_EQ(pixelsOf(read), image(h, eType, eCamera));
        std::free(read.data);
    }
    const char* const pszNowhere = "/no such folder/file";
    KestrovaImage read{9, 9, 9, nullptr};
    KestrovaImageInfo info{};
    const KestrovaError aErrors[] = {kestrovaSaveImageExtra(h, KestrovaImgRectified, KestrovaCamColor, file.path()),
                                     kestrovaSaveImageExtra(h, KestrovaImgPacked, KestrovaCamLeft, file.path()),
                                     kestrovaSaveImageExtra(h, KestrovaImgRaw, KestrovaCamTop, pszNowhere),
                                     kestrovaSaveImageExtra(nullptr, KestrovaImgRaw, KestrovaCamTop, file.path()),
                                     kestrovaReadImageExtra(pszNowhere, &read, &info),
                                     kestrovaReadImageExtra(nullptr, &read, &info),
                                     kestrovaReadImageExtra(file.path(), nullptr, &info),
                                     kestrovaReadImageExtra(file.path(), &read, nullptr)};
    constexpr auto sk_eBad = KestrovaErrorInvalidParameter;
    EXPECT_THAT(aErrors, testing::ElementsAre(sk_eBad, KestrovaErrorInvalidRequest, KestrovaErrorSystem,
                                              KestrovaErrorInvalidContext, KestrovaErrorImageFileRead, sk_eBad, sk_eBad,
                                              sk_eBad));
    EXPECT_TRUE(read.nrows == 9 && !info.hasComment);
}

TEST(ImageComment, AnImageNeverMadeHasACommentOfSettingsNeverUsed)
{
    const std::string start = "P5\n# LYRComment\n# Pemberlow 4711\n# ";
    const std::string rest = "# TextureValidation=Off\n# UniquenessValidation=Off\n# BackForthValidation=Off\n"
                             "# SurfaceValidation=Off\n";
    const std::string correlated = "# RectificationQuality=Fast\n# EdgeCorrelation=Off\n# Smoothing=Off\n"
                                   "# StereoQuality=Standard\n# CameraConfiguration=3-Cam-L\n# StereoMask=0\n"
                                   "# MinDisparity=0\n# MaxDisparity=0\n# DisparityOffset=0\n";
    const Handle h = open(Shape::Horizontal);
    const TempFile file;
    const auto saved = [&](KestrovaImageType eType) {
        expectOk({kestrovaSaveImageExtra(h, eType, KestrovaCamReference, file.path())});
        return file.content();
    };
    const std::string size = "\n0 0\n255\n";
    EXPECT_EQ(saved(KestrovaImgRectified), start + "Rectified Right image\n# RectificationQuality=Fast\n" + size);
    EXPECT_EQ(saved(KestrovaImgEdge),
              start + "Edge Right image\n# RectificationQuality=Fast\n# Smoothing=Off\n" + size);
    expectOk({kestrovaSaveImage16Extra(h, KestrovaImg16Disparity, KestrovaCamReference, file.path())});
    EXPECT_EQ(file.content(), start + "16-bit-Disparity Right Image\n" + correlated + rest + "\n0 0\n65535\n");
    expectOk({kestrovaSetSubpixelInterpolation(h, false)});
    EXPECT_EQ(saved(KestrovaImgDisparity),
              start + "8-bit-Disparity Right image\n" + correlated + "# DisparityMapping=Off\n" + rest + size);
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
        {" LYRComment \n", sk_eOk, 77, 77, false},
        {"   LYRComment\n", sk_eBad, 77, 77},
        {" LYRComment\n Pemberlow 5", sk_eBad, 77, 77},
        {" LYRComment\n "s + std::string(99, 'p') + " 5\n Raw Left image\n", sk_eOk, 77, 77},
        {" LYRComment\n "s + std::string(100, 'p') + " 5\n Raw Left image\n", sk_eBad, 77, 77},
        {start + "Raw Left", sk_eBad, 77, 77},
        {start + "Raw Left x", sk_eOk, 77, 77},
        {start + "Packed Color image\nanything", sk_eOk, 77, 77},
        {start + "raw Left image\n", sk_eBad, 77, 77},
        {start + "Raw Middle image\n", sk_eBad, 77, 77},
        {start + "Rectified Left image\n", sk_eBad, 77, 77},
        {start + "Rectified Left image\nRectificationQuality=  Fast\n", sk_eOk, 0, 77},
        {start + "Rectified Left image\nRectificationQuality=Fast \n", sk_eBad, 77, 77},
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
        SCOPED_TRACE(rCase.text);
        std::string text = rCase.text;
        KestrovaImageInfo info{};
        info.parameters.disparity.rectQuality = static_cast<KestrovaRectImgQuality>(77);
        info.parameters.edge.edgeMask = info.parameters.disparity.edgeMask = 77;
        testing::internal::CaptureStdout();
        EXPECT_EQ(parseImageInfo(text.data(), &info), rCase.eError);
        const bool bMaybe = rCase.text.find("Maybe") != std::string::npos;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), bMaybe ? "Error in stringToBool!\n" : "");
        const bool bEdge = rCase.text.find("Edge Left") != std::string::npos;
        EXPECT_EQ(info.hasComment, rCase.bComment);
        EXPECT_EQ(info.parameters.rectified.rectQuality, rCase.nQuality);
        EXPECT_EQ(bEdge ? info.parameters.edge.edgeMask : info.parameters.disparity.edgeMask, rCase.nEdgeMask);
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
