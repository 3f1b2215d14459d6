#include "outputs/ImageRecord.h"

#include "basics/AppError.h"
#include "outputs/Pictures.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace kestrova::app {

// ---- writing ----

namespace {

void check(KestrovaError eError, const std::filesystem::path& rFile)
{
    if (eError == KestrovaErrorSystem) {
        throw AppError(rFile.string() + ": cannot be written", ExitStatus::File);
    }
    if (eError != KestrovaErrorOk) {
        throw AppError(rFile.string() + ": " + kestrovaErrorToString(eError), ExitStatus::File);
    }
}

void saveImage(const StereoSession& rSession, KestrovaImageType eType, KestrovaCamera eCamera,
               const std::filesystem::path& rFile)
{
    check(kestrovaSaveImageExtra(rSession.handle(), eType, eCamera, rFile.c_str()), rFile);
}

} // namespace

void writeRecordedImages(const OutputFolder& rFolder, StereoSession& rSession,
                         const std::vector<KestrovaCamera>& rCameras)
{
    int nEdge = 0;
    int nOffset = 0;
    kestrovaGetEdgeCorrelation(rSession.handle(), &nEdge);
    kestrovaGetDisparityOffset(rSession.handle(), &nOffset);
    for (KestrovaCamera eCamera : rCameras) {
        const std::string name = std::string("_") + cameraName(eCamera) + ".pgm";
        saveImage(rSession, KestrovaImgRaw, eCamera, rFolder.file("raw" + name));
        saveImage(rSession, KestrovaImgRectified, eCamera, rFolder.file("rectified" + name));
        if (nEdge) {
            saveImage(rSession, KestrovaImgEdge, eCamera, rFolder.file("edge" + name));
        }
    }
    const std::string offset = "_offset" + std::to_string(nOffset) + ".pgm";
    const std::filesystem::path file16 = rFolder.file("disparity16_256ths" + offset);
    check(kestrovaSaveImage16Extra(rSession.handle(), KestrovaImg16Disparity, KestrovaCamReference, file16.c_str()),
          file16);
    rSession.matchTo8();
    saveImage(rSession, KestrovaImgDisparity, KestrovaCamReference, rFolder.file("disparity8_pixels" + offset));
}

// ---- telling ----

namespace {

/** One setting a line, under the names of the command line. */
class Lines
{
public:
    void add(const char* pszName, const std::string& rValue)
    {
        m_text += "  " + std::string(pszName) + std::string(27 - std::min<std::size_t>(26, std::strlen(pszName)), ' ') +
                  rValue + "\n";
    }
    void add(const char* pszName, int nValue) { add(pszName, std::to_string(nValue)); }
    void add(const char* pszName, double dValue) { add(pszName, cv::format("%.1f", dValue)); }
    void addWord(const char* pszName, SettingKind eKind, int nValue)
    {
        add(pszName, wordsOf(eKind)[static_cast<std::size_t>(nValue)]);
    }
    bool addSwitch(const char* pszName, bool bOn)
    {
        addWord(pszName, SettingKind::Switch, bOn ? 1 : 0);
        return bOn;
    }
    const std::string& text() const { return m_text; }

private:
    std::string m_text;
};

void addValidations(Lines& rLines, const DisparityImageInfo& r)
{
    if (rLines.addSwitch("texture-validation", r.textureValidation)) {
        rLines.add("texture-threshold", r.textureValidationThreshold);
        rLines.add("texture-mapping", r.textureValidationMapping);
    }
    if (rLines.addSwitch("uniqueness-validation", r.uniquenessValidation)) {
        rLines.add("uniqueness-threshold", r.uniquenessValidationThreshold);
        rLines.add("uniqueness-mapping", r.uniquenessValidationMapping);
    }
    if (rLines.addSwitch("back-forth-validation", r.backForthValidation)) {
        rLines.add("back-forth-mapping", r.backForthValidationMapping);
    }
    if (rLines.addSwitch("surface-validation", r.surfaceValidation)) {
        rLines.add("surface-difference", r.surfaceValidationDiff);
        rLines.add("surface-size", r.surfaceValidationSize);
        rLines.add("surface-mapping", r.surfaceValidationMapping);
    }
}

void addDisparity(Lines& rLines, const DisparityImageInfo& r, bool b8)
{
    static constexpr const char* sk_apszConfigurations[] = {"L", "horizontal pair", "vertical pair"};
    rLines.addWord("rectification", SettingKind::Rectification, r.rectQuality);
    if (rLines.addSwitch("edge-correlation", r.edgeCorrelation)) {
        rLines.add("edge-mask", r.edgeMask);
    }
    rLines.addSwitch("lowpass", r.smoothing);
    rLines.addWord("quality", SettingKind::Quality, r.stereoQuality);
    rLines.add("cameras", sk_apszConfigurations[r.cameraConfiguration]);
    rLines.add("stereo-mask", r.stereoMask);
    rLines.add("disparity", cv::format("%d to %d", r.minDisparity, r.maxDisparity));
    rLines.add("offset of every disparity", r.disparityOffset);
    if (b8 && rLines.addSwitch("disparity-mapping", r.disparityMapping)) {
        rLines.add("mapping-range", cv::format("%d to %d", r.minDisparityMapping, r.maxDisparityMapping));
    }
    addValidations(rLines, r);
}

struct ImageFile
{
    cv::Size m_size;
    bool m_b8 = true;
    KestrovaImageInfo m_info{};
};

template<typename Record>
KestrovaError readAs(KestrovaError (*pfnRead)(const char*, Record*, KestrovaImageInfo*),
                     const std::filesystem::path& rFile, ImageFile& rImage)
{
    Record record{};
    const KestrovaError eError = pfnRead(rFile.c_str(), &record, &rImage.m_info);
    std::free(record.data);
    rImage.m_size = {record.ncols, record.nrows};
    return eError;
}

ImageFile readImageFile(const std::filesystem::path& rFile)
{
    ImageFile image;
    KestrovaError eError = readAs(kestrovaReadImageExtra, rFile, image);
    if (eError == KestrovaErrorImageFileRead) {
        image.m_b8 = false;
        eError = readAs(kestrovaReadImage16Extra, rFile, image);
    }
    if (eError == KestrovaErrorImageFileRead) {
        throw AppError(rFile.string() + ": the header is damaged, or pixels are missing", ExitStatus::Content);
    }
    if (eError != KestrovaErrorOk) {
        throw AppError(rFile.string() + ": its record is damaged", ExitStatus::Content);
    }
    return image;
}

} // namespace

bool isImageFile(const std::filesystem::path& rFile)
{
    std::ifstream file(rFile, std::ios::binary);
    return file.get() == 'P' && file.get() == '5' && std::isspace(file.get());
}

std::string describeImageFile(const std::filesystem::path& rFile)
{
    static constexpr const char* sk_apszTypes[] = {"8-bit disparity", "raw image", "rectified image", "edge image",
                                                   "packed image"};
    const ImageFile image = readImageFile(rFile);
    const KestrovaImageInfo& rInfo = image.m_info;
    const std::string head =
        cv::format("%s: %dx%d, %d bits\n", rFile.c_str(), image.m_size.width, image.m_size.height, image.m_b8 ? 8 : 16);
    if (!rInfo.hasComment) {
        return head + "no record of the library\n";
    }
    const bool b16 = rInfo.imageType == KestrovaImg16Disparity && !image.m_b8;
    Lines lines;
    if (rInfo.imageType == KestrovaImgDisparity) { // of either width
        addDisparity(lines, rInfo.parameters.disparity, image.m_b8);
    } else if (rInfo.imageType == KestrovaImgEdge) {
        lines.addWord("rectification", SettingKind::Rectification, rInfo.parameters.edge.rectQuality);
        lines.add("edge-mask", rInfo.parameters.edge.edgeMask);
        lines.addSwitch("lowpass", rInfo.parameters.edge.smoothing);
    } else if (rInfo.imageType == KestrovaImgRectified) {
        lines.addWord("rectification", SettingKind::Rectification, rInfo.parameters.rectified.rectQuality);
    }
    return head +
           cv::format("%s %d, %s, %s camera\n", rInfo.product, rInfo.serialNumber,
                      b16 ? "16-bit disparity" : sk_apszTypes[rInfo.imageType], cameraName(rInfo.camera)) +
           lines.text();
}

} // namespace kestrova::app
