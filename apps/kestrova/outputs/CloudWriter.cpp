#include "outputs/CloudWriter.h"

#include "basics/AppError.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>
#include <fstream>

namespace kestrova::app {

static_assert(std::endian::native == std::endian::little, "both formats are written in the order of the machine");

static void save(const std::filesystem::path& rFile, const std::string& rHeader, const char* pData, std::size_t nBytes)
{
    std::ofstream out(rFile, std::ios::binary);
    out << rHeader;
    out.write(pData, static_cast<std::streamsize>(nBytes));
    if (!out.flush())
        throw AppError(rFile.string() + ": cannot be written", ExitStatus::File);
}

void writeCloud(const std::filesystem::path& rFile, const std::vector<CloudPoint>& rPoints, const std::string& rSource)
{
    constexpr std::size_t nFloats = 3 * sizeof(float);
    constexpr std::size_t nRecord = nFloats + 3;
    std::vector<char> data(nRecord * rPoints.size());
    char* pTo = data.data();
    for (const CloudPoint& rPoint : rPoints) {
        std::memcpy(pTo, &rPoint.m_position, nFloats);
        std::memcpy(pTo + nFloats, rPoint.m_colour.val, 3);
        pTo += nRecord;
    }
    std::string source = rSource; // a comment ends with its line, and a file name may hold anything
    std::replace_if(
        source.begin(), source.end(), [](unsigned char uc) { return std::iscntrl(uc) != 0; }, '?');
    const std::string header = "ply\nformat binary_little_endian 1.0\n"
                               "comment frame=right_rectified_optical, unit=m, source=" +
                               source + "\nelement vertex " + std::to_string(rPoints.size()) +
                               "\nproperty float x\nproperty float y\nproperty float z\n"
                               "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
    save(rFile, header, data.data(), data.size());
}

void writePfm(const std::filesystem::path& rFile, const cv::Mat1f& rImage)
{
    cv::Mat1f upward;
    cv::flip(rImage, upward, 0);
    const std::string header = "Pf\n" + std::to_string(rImage.cols) + ' ' + std::to_string(rImage.rows) + "\n-1.0\n";
    save(rFile, header, reinterpret_cast<const char*>(upward.data), upward.total() * sizeof(float));
}

} // namespace kestrova::app
