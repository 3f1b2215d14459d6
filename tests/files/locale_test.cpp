// Text in a program under another locale: the bytes that are written and the values that are read are those of C.
#include "support/ForeignLocale.h"

#include "geometry/LYRPointCloud3d.h"
#include "geometry/LYRTransform3d.h"
#include "support/allSettings.h"

#include <cstring>
#include <locale.h>

namespace kestrova::test {
namespace {

/** Written texts, with the line of the date left out. */
std::string written(KestrovaError (*pfnWrite)(KestrovaContext, const char*), KestrovaContext h)
{
    const TempFile file;
    expectOk({pfnWrite(h, file.path())});
    std::string text = file.content();
    const std::size_t uDate = text.find("\nDate ");
    return uDate == std::string::npos ? text : text.erase(uDate, text.find('\n', uDate + 1) - uDate);
}

std::string calibrations()
{
    // Letters and white space of the locale: a dotless i, and a byte that some call a blank.
    const std::string text = CalibrationText(Shape::Horizontal).set("ImageCenter", "0.25 0.625").text();
    const Handle h = openText("VERSION \"Kestrova 3.0\"\nVERSION\xa0\n" + replaced(text, "Version", "X"));
    setAll(h, true);
    expectOk({kestrovaSetRectAdjustment(h, KestrovaCamRight, 0.0123, -0.5)});
    const std::string current = written(kestrovaWriteCurrentContextToFile, h);
    const Handle again = openText(current);
    return current + written(kestrovaWriteDefaultContextToFile, h) + written(kestrovaWriteCurrentContextToFile, again);
}

std::string images()
{
    const Handle h = open(Shape::Horizontal);
    setAll(h, true);
    StereoFrame frame(240, 320, 5);
    KestrovaInput input = frame.planes();
    const TempFile file;
    KestrovaImage image{};
    KestrovaImageInfo info{};
    expectOk({kestrovaSetSubpixelInterpolation(h, false), kestrovaPreprocess(h, &input), kestrovaStereo(h),
              kestrovaSaveImageExtra(h, KestrovaImgDisparity, KestrovaCamReference, file.path()),
              kestrovaReadImageExtra(file.path(), &image, &info)});
    std::free(image.data);
    const DisparityImageInfo& r = info.parameters.disparity;
    EXPECT_TRUE(r.textureValidationThreshold == 1.3 && r.uniquenessValidationThreshold == 2.2 &&
                r.surfaceValidationDiff == 0.7);
    return file.content();
}

std::string transforms()
{
    const TempFile file("Rx 0.500000 Ry .25 Rz -1e-1 Tx 1.5 Ty 2.5\nTz 1234567.5", ".trans");
    KestrovaTransform transform{};
    expectOk({kestrovaGetTransformFromFile(file.stem(), &transform)});
    EXPECT_TRUE(transform.matrix[0][3] == 1.5 && transform.matrix[2][3] == 1234567.5);
    expectOk({kestrovaWriteTransformToFile(file.stem(), &transform)});
    return file.content();
}

std::string clouds()
{
    const TempFile file("1.5 2.25 -0.125 51 102 204 7.5 8.5\n");
    std::string text;
    LYRPointCloud3d cloud;
    EXPECT_TRUE(cloud.load(file.path()) && cloud.save(file.path()));
    text += file.content();
    EXPECT_TRUE(cloud.saveVRML(file.path()));
    return text + file.content();
}

} // namespace

TEST(Locale, FilesAreThoseOfC)
{
    std::string (*const apfnTexts[])() = {calibrations, images, transforms, clouds};
    std::vector<std::string> wanted;
    for (const auto pfnText : apfnTexts) {
        wanted.push_back(pfnText());
    }
    for (const auto& [pszSource, pszCharacters] : {std::pair{"de_DE", "UTF-8"}, {"tr_TR", "ISO-8859-9"}}) {
        const ForeignLocale locale(pszSource, pszCharacters);
        ASSERT_TRUE(locale.isSet());
        const std::string name = std::setlocale(LC_ALL, nullptr);
        for (std::size_t u = 0; u < wanted.size(); ++u) {
            EXPECT_EQ(apfnTexts[u](), wanted[u]) << pszSource;
        }
        char acNumber[8] = "";
        std::snprintf(acNumber, sizeof acNumber, "%.1f", 0.5);
        EXPECT_STREQ(acNumber, "0,5") << "the program's own locale stays";
        EXPECT_TRUE(std::setlocale(LC_ALL, nullptr) == name && ::uselocale(nullptr) == LC_GLOBAL_LOCALE);
    }
}

} // namespace kestrova::test
