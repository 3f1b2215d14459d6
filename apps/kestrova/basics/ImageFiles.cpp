#include "basics/ImageFiles.h"

#include "basics/AppError.h"
#include "basics/InputFile.h"
#include "basics/Line.h"

#include <opencv2/imgcodecs.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace kestrova::app {

namespace fs = std::filesystem;

void writeText(const fs::path& rFile, const std::string& rText)
{
    std::ofstream out(rFile, std::ios::binary);
    if (!(out << rText).flush()) {
        throw AppError(rFile.string() + ": cannot be written; is the disk full?", ExitStatus::File);
    }
}

// Encoders take no notice of a full disk, or print what their library says.
void writeImage(const fs::path& rFile, const cv::Mat& rImage)
{
    std::vector<unsigned char> bytes;
    if (!cv::imencode(rFile.extension().string(), rImage, bytes)) {
        throw AppError(rFile.string() + ": cannot be written in this form", ExitStatus::File);
    }
    writeText(rFile, {bytes.begin(), bytes.end()});
}

namespace {

/**
 * Keeps standard error shut while it lives: image decoders write there by themselves, and a fault gets our line only.
 */
class QuietErrors
{
public:
    QuietErrors()
    {
        std::fflush(stderr);
        const int nNowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nNowhere, STDERR_FILENO);
        ::close(nNowhere);
    }
    ~QuietErrors()
    {
        ::dup2(m_nKept, STDERR_FILENO);
        ::close(m_nKept);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    int m_nKept = ::dup(STDERR_FILENO);
};

// The decoder fills with grey what is missing of a JPEG. A whole one ends with a mark that its data cannot hold; some
// cameras write a little more behind it.
bool isCutJpeg(const std::string& rFile)
{
    std::ifstream in(rFile, std::ios::binary);
    if (in.get() != 0xFF || in.get() != 0xD8) {
        return false;
    }
    std::string tail(1 << 16, '\0');
    in.seekg(0, std::ios::end);
    in.seekg(std::max<std::streamoff>(0, in.tellg() - static_cast<std::streamoff>(tail.size())));
    in.read(tail.data(), static_cast<std::streamsize>(tail.size()));
    return tail.find("\xFF\xD9") == std::string::npos;
}

cv::Mat decode(const std::string& rFile, int nHow)
{
    const QuietErrors quiet;
    try {
        return cv::imread(rFile, nHow);
    } catch (const cv::Exception&) { // a header that claims more than there can be
        return {};
    }
}

} // namespace

cv::Mat readImage(const fs::path& rFile, int nHow)
{
    std::error_code error;
    if (fs::is_directory(rFile, error)) {
        throw AppError(rFile.string() + ": is a folder; give a pattern in quotes, such as '" +
                           (rFile / "*.png").string() + "'",
                       ExitStatus::File);
    }
    if (!fs::exists(rFile, error)) {
        throw AppError(rFile.string() + ": no such file", ExitStatus::File);
    }
    if (::access(rFile.c_str(), R_OK) != 0) {
        throw AppError(rFile.string() + ": may not be read; see its permissions", ExitStatus::File);
    }
    checkLength(rFile, sk_nLongestImage);
    const cv::Mat image = isCutJpeg(rFile.string()) ? cv::Mat() : decode(rFile.string(), nHow);
    if (image.empty()) {
        throw AppError(rFile.string() +
                           ": cannot be read as an image; is it complete, and of a usual form such as PNG?",
                       ExitStatus::Content);
    }
    return image;
}

cv::Mat1b readGrey(const fs::path& rFile)
{
    return readImage(rFile, cv::IMREAD_GRAYSCALE);
}

cv::Mat3b readColour(const fs::path& rFile, std::optional<int> bits)
{
    cv::Mat stored = readImage(rFile, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH);
    if (stored.depth() == CV_16U) {
        stored.convertTo(stored, CV_8U, 256.0 / (1 << bits.value_or(16)));
    }
    const cv::Mat3b image = stored;
    const bool bGrey =
        std::all_of(image.begin(), image.end(), [](const cv::Vec3b& r) { return r[0] == r[1] && r[1] == r[2]; });
    return bGrey ? cv::Mat3b() : image;
}

namespace {

constexpr double sk_dTwelveBits = 4095.0;

} // namespace

cv::Mat1b readFrame(const fs::path& rFile, std::optional<int> bits)
{
    const cv::Mat image = readImage(rFile, cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH);
    if (image.depth() == CV_8U) {
        return image;
    }
    if (image.depth() != CV_16U) {
        throw AppError(rFile.string() + ": holds floating-point numbers; frames have 8 or 16 bits, so convert it first",
                       ExitStatus::Content);
    }
    double dBrightest = 0.0;
    cv::minMaxLoc(image, nullptr, &dBrightest);
    if (!bits && dBrightest <= sk_dTwelveBits) {
        throw AppError(rFile.string() + line(": 16 bits, but no pixel is above %.0f; say with --bits how many bits the "
                                             "camera fills, such as --bits 12, or --bits 16 for a dark frame",
                                             dBrightest),
                       ExitStatus::Content);
    }
    const int nShift = bits.value_or(16) - 8;
    if (dBrightest >= 256.0 * (1 << nShift)) {
        throw AppError(rFile.string() +
                           line(": a pixel of %.0f does not fit --bits %d; give more bits", dBrightest, nShift + 8),
                       ExitStatus::Content);
    }
    cv::Mat1b frame(image.size());
    for (int nRow = 0; nRow < image.rows; ++nRow) {
        std::transform(image.ptr<std::uint16_t>(nRow), image.ptr<std::uint16_t>(nRow) + image.cols, frame[nRow],
                       [nShift](std::uint16_t u) { return static_cast<unsigned char>(u >> nShift); });
    }
    return frame;
}

} // namespace kestrova::app
