#include "outputs/DisparityFiles.h"

#include "basics/AppError.h"
#include "basics/ImageFiles.h"
#include "basics/InputFile.h"
#include "basics/Line.h"
#include "outputs/ImageRecord.h"
#include "outputs/Results.h"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace kestrova::app {

namespace fs = std::filesystem;

namespace {

constexpr float sk_fUnknown = std::numeric_limits<float>::infinity();

} // namespace

[[noreturn]] static void bad(const fs::path& rFile, const std::string& rWhat)
{
    throw AppError(rFile.string() + ": " + rWhat, ExitStatus::Content);
}

namespace {

std::string readAll(const fs::path& rFile)
{
    checkLength(rFile, sk_nLongestImage);
    std::ifstream in(rFile, std::ios::binary);
    std::ostringstream text;
    if (!in || fs::is_directory(rFile)) {
        throw AppError(rFile.string() + ": cannot be read; give the name of a disparity file", ExitStatus::File);
    }
    text << in.rdbuf();
    if (text.str().empty()) {
        bad(rFile, "is empty; write it again");
    }
    return text.str();
}

// ---- arrays of floats ----

/** The values of an image whose size its header tells, which may be anything. */
template<typename Value>
cv::Mat_<Value> valuesOf(const fs::path& rFile, long nRows, long nCols, const std::string& rBytes, std::size_t uFrom)
{
    constexpr long nMost = 100'000;
    if (nRows < 1 || nCols < 1 || nRows > nMost || nCols > nMost) {
        bad(rFile, line("an image of %ldx%ld; 1 to %ld columns and rows are possible", nCols, nRows, nMost));
    }
    const std::size_t uBytes = static_cast<std::size_t>(nRows) * static_cast<std::size_t>(nCols) * sizeof(Value);
    if (rBytes.size() - uFrom < uBytes) {
        bad(rFile, line("ends early: %ldx%ld values take %zu bytes, write it again", nCols, nRows, uBytes));
    }
    cv::Mat_<Value> values(static_cast<int>(nRows), static_cast<int>(nCols));
    std::memcpy(values.data, rBytes.data() + uFrom, uBytes);
    return values;
}

/**
 * Of the number behind the size only the sign counts, which tells the order of bytes: disparities are pixels as they
 * stand, though some data sets have the greys of their images there.
 */
cv::Mat1f readPfm(const fs::path& rFile, const std::string& rBytes)
{
    std::istringstream in(rBytes.substr(0, 256));
    std::string mark;
    long nCols = 0;
    long nRows = 0;
    double dScale = 0.0;
    if (!(in >> mark >> nCols >> nRows >> dScale) || mark != "Pf" || dScale == 0.0) {
        bad(rFile, "is no PFM of one channel: needs Pf, width, height and scale");
    }
    const std::size_t uFrom = static_cast<std::size_t>(in.tellg()) + 1; // one white space
    cv::Mat1f values = valuesOf<float>(rFile, nRows, nCols, rBytes, std::min(uFrom, rBytes.size()));
    if (dScale > 0.0) {
        for (float& rValue : values) {
            rValue = std::bit_cast<float>(__builtin_bswap32(std::bit_cast<std::uint32_t>(rValue)));
        }
    }
    cv::flip(values, values, 0);
    return values;
}

cv::Mat1f readNpy(const fs::path& rFile, const std::string& rBytes)
{
    const auto byte = [&](std::size_t u) { return static_cast<std::size_t>(static_cast<unsigned char>(rBytes[u])); };
    if (rBytes.size() < 12) {
        bad(rFile, "ends early; write it again");
    }
    const bool bShort = rBytes[6] == 1;
    const std::size_t uFrom = bShort ? 10 : 12;
    const std::size_t uHead = byte(8) | byte(9) << 8 | (bShort ? 0 : byte(10) << 16 | byte(11) << 24);
    const std::string head = rBytes.substr(uFrom, std::min<std::size_t>(uHead, 4096));
    const std::size_t uShape = head.find("'shape': (");
    long nRows = 0;
    long nCols = 0;
    if (uFrom + uHead > rBytes.size() || head.find("'fortran_order': False") == std::string::npos ||
        uShape == std::string::npos ||
        std::sscanf(head.c_str() + uShape, "'shape': (%9ld, %9ld)", &nRows, &nCols) != 2) {
        bad(rFile, "needs two dimensions, rows first; save numpy.ascontiguousarray(disparity)");
    }
    if (head.find("'descr': '<f4'") != std::string::npos) {
        return valuesOf<float>(rFile, nRows, nCols, rBytes, uFrom + uHead);
    }
    if (head.find("'descr': '<f8'") == std::string::npos) {
        bad(rFile, "holds no floats; save disparity.astype(numpy.float32)");
    }
    cv::Mat1f narrow;
    valuesOf<double>(rFile, nRows, nCols, rBytes, uFrom + uHead).convertTo(narrow, CV_32F);
    return narrow;
}

cv::Mat1f withoutUnknown(cv::Mat1f values)
{
    for (float& rValue : values) {
        if (!std::isfinite(rValue) || rValue <= 0.0f) {
            rValue = sk_fUnknown;
        }
    }
    return values;
}

// ---- images ----

DisparityFile ofMap(const DisparityMap& rMap, const std::string& rForm)
{
    return {rMap.m_pixels, rMap.m_reject, rForm};
}

RejectCodes codesOf(const DisparityImageInfo& r)
{
    RejectCodes codes;
    const auto take = [&](std::size_t n, bool bOn, std::uint8_t ucCode) {
        if (bOn) {
            codes.m_aucCodes[n] = ucCode;
        }
    };
    take(0, r.textureValidation, r.textureValidationMapping);
    take(1, r.uniquenessValidation, r.uniquenessValidationMapping);
    take(3, r.surfaceValidation, r.surfaceValidationMapping);
    take(4, r.backForthValidation, r.backForthValidationMapping);
    return codes;
}

/** A PGM of the library; none when the file has no record of a disparity. */
std::optional<DisparityFile> readRecorded(const fs::path& rFile)
{
    struct Free
    {
        void operator()(void* p) const { std::free(p); }
    };
    KestrovaImageInfo info{};
    const auto isDisparity = [&] { return info.hasComment && info.imageType == KestrovaImgDisparity; };
    const DisparityImageInfo& r = info.parameters.disparity;
    if (KestrovaImage bytes{}; kestrovaReadImageExtra(rFile.c_str(), &bytes, &info) == KestrovaErrorOk) {
        const std::unique_ptr<void, Free> owner(bytes.data);
        if (!isDisparity()) {
            return {};
        }
        ByteScale scale{static_cast<double>(r.disparityOffset), 1.0, 0};
        if (r.disparityMapping && r.maxDisparityMapping > r.minDisparityMapping) {
            scale = {static_cast<double>(r.minDisparity),
                     static_cast<double>(r.maxDisparity - r.minDisparity) /
                         (r.maxDisparityMapping - r.minDisparityMapping),
                     r.minDisparityMapping};
        }
        const cv::Mat1b image(bytes.nrows, bytes.ncols, bytes.data, static_cast<std::size_t>(bytes.rowinc));
        return ofMap(readDisparity8(image, scale, codesOf(r)), "8-bit disparity with its record");
    }
    KestrovaImage16 words{};
    const KestrovaError eError = kestrovaReadImage16Extra(rFile.c_str(), &words, &info);
    const std::unique_ptr<void, Free> owner(words.data);
    if (eError != KestrovaErrorOk || !isDisparity()) {
        return {};
    }
    const cv::Mat1w image =
        cv::Mat1w(words.nrows, words.ncols, words.data, 2 * static_cast<std::size_t>(words.ncols)).clone();
    return ofMap(readDisparity16(image, r.disparityOffset, codesOf(r)),
                 line("16-bit disparity with its record, offset %d", r.disparityOffset));
}

DisparityFile scaled(const cv::Mat& rImage, double dScale)
{
    cv::Mat1f values;
    rImage.convertTo(values, CV_32F, dScale);
    return {withoutUnknown(values),
            {},
            line("%d bits, %g px a level, 0 unknown", 8 << (rImage.depth() != CV_8U), dScale),
            dScale};
}

/** The number that follows a mark in a file's name. */
std::optional<int> numberAfter(const std::string& rName, const std::string& rMark)
{
    const std::size_t uMark = rName.find(rMark);
    int nValue = 0;
    if (uMark == std::string::npos) {
        return {};
    }
    const char* const pFrom = rName.data() + uMark + rMark.size();
    const bool bNumber = std::from_chars(pFrom, rName.data() + rName.size(), nValue).ec == std::errc();
    return bNumber && nValue >= 0 && nValue < 65536 ? std::optional(nValue) : std::nullopt;
}

DisparityFile readWholeNumbers(const fs::path& rFile, std::optional<double> scale)
{
    cv::Mat image = readImage(rFile, cv::IMREAD_UNCHANGED);
    if (image.depth() != CV_8U && image.depth() != CV_16U) {
        bad(rFile, "is no disparity: give PFM, NPY, PNG or PGM of 8 or 16 bits");
    }
    if (image.channels() != 1) {
        bad(rFile, "is a picture in colour, not data; give the file that it was made from");
    }
    const bool b8 = image.depth() == CV_8U;
    const std::string name = rFile.filename().string();
    const std::optional<int> offset = numberAfter(name, b8 ? "_pixels_offset" : "_256ths_offset");
    if (!scale && offset) {
        const std::string form = line("%d bits of this library, offset %d", b8 ? 8 : 16, *offset);
        return b8 ? ofMap(readDisparity8(image, {static_cast<double>(*offset), 1.0, 0}, {}), form)
                  : ofMap(readDisparity16(image, *offset, {}), form);
    }
    if (const std::optional<int> ths = numberAfter(name, "_kitti_"); !scale && ths && *ths > 0) {
        scale = 1.0 / *ths;
    }
    return scaled(image, scale.value_or(b8 ? 1.0 : 1.0 / 256.0));
}

} // namespace

DisparityFile readDisparityFile(const fs::path& rFile, std::optional<double> scale)
{
    const std::string bytes = readAll(rFile);
    if (bytes.starts_with("Pf") || bytes.starts_with("PF")) {
        return {withoutUnknown(readPfm(rFile, bytes)), {}, "PFM"};
    }
    if (bytes.starts_with("\x93NUMPY")) {
        return {withoutUnknown(readNpy(rFile, bytes)), {}, "NPY"};
    }
    if (isImageFile(rFile)) {
        if (std::optional<DisparityFile> recorded = readRecorded(rFile)) {
            return *recorded;
        }
    }
    return readWholeNumbers(rFile, scale);
}

} // namespace kestrova::app
