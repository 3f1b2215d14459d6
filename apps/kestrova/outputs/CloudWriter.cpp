#include "outputs/CloudWriter.h"

#include "basics/AppError.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>

namespace kestrova::app {

static_assert(std::endian::native == std::endian::little, "all formats are written in the order of the machine");

namespace {

void save(const std::filesystem::path& rFile, const std::string& rHeader, const char* pData, std::size_t nBytes)
{
    std::ofstream out(rFile, std::ios::binary);
    out << rHeader;
    out.write(pData, static_cast<std::streamsize>(nBytes));
    if (!out.flush()) {
        throw AppError(rFile.string() + ": cannot be written", ExitStatus::File);
    }
}

} // namespace

void writeCloud(const std::filesystem::path& rFile, const std::vector<CloudPoint>& rPoints, const std::string& rSource,
                const std::string& rFrame)
{
    constexpr std::size_t nFloats = 3 * sizeof(float);
    constexpr std::size_t nRecord = nFloats + 3 + sizeof(float);
    std::vector<char> data(nRecord * rPoints.size());
    char* pTo = data.data();
    for (const CloudPoint& rPoint : rPoints) {
        std::memcpy(pTo, &rPoint.m_position, nFloats);
        std::memcpy(pTo + nFloats, rPoint.m_colour.val, 3);
        std::memcpy(pTo + nFloats + 3, &rPoint.m_fDisparity, sizeof(float));
        pTo += nRecord;
    }
    std::string source = rSource; // a comment ends with its line, and a file name may hold anything
    std::replace_if(
        source.begin(), source.end(), [](unsigned char uc) { return std::iscntrl(uc) != 0; }, '?');
    const std::string header = "ply\nformat binary_little_endian 1.0\n"
                               "comment frame=" +
                               rFrame + ", unit=m, source=" + source + "\nelement vertex " +
                               std::to_string(rPoints.size()) +
                               "\nproperty float x\nproperty float y\nproperty float z\n"
                               "property uchar red\nproperty uchar green\nproperty uchar blue\n"
                               "property float disparity\nend_header\n";
    save(rFile, header, data.data(), data.size());
}

void writePfm(const std::filesystem::path& rFile, const cv::Mat1f& rImage)
{
    cv::Mat1f upward;
    cv::flip(rImage, upward, 0);
    const std::string header = "Pf\n" + std::to_string(rImage.cols) + ' ' + std::to_string(rImage.rows) + "\n-1.0\n";
    save(rFile, header, reinterpret_cast<const char*>(upward.data), upward.total() * sizeof(float));
}

void writeNpy(const std::filesystem::path& rFile, const cv::Mat1f& rImage)
{
    cv::Mat1f values = rImage.clone();
    for (float& rValue : values) {
        rValue = std::isfinite(rValue) ? rValue : std::numeric_limits<float>::quiet_NaN();
    }
    std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + std::to_string(rImage.rows) + ", " +
                         std::to_string(rImage.cols) + "), }";
    constexpr std::size_t nBefore = 10; // mark, version and length of the header
    header.append(63 - (nBefore + header.size()) % 64, ' ');
    header += '\n'; // the data begin at a multiple of 64 bytes
    const std::string mark{'\x93',
                           'N',
                           'U',
                           'M',
                           'P',
                           'Y',
                           '\1',
                           '\0',
                           static_cast<char>(header.size() & 0xFF),
                           static_cast<char>(header.size() >> 8)};
    save(rFile, mark + header, reinterpret_cast<const char*>(values.data), values.total() * sizeof(float));
}

} // namespace kestrova::app
