#include "cameras/CalibrationOutline.h"

#include "basics/AppError.h"
#include "basics/InputFile.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <set>
#include <span>

namespace kestrova::app {

namespace {

using Lines = std::span<const std::string>;

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char uc) { return static_cast<char>(std::toupper(uc)); });
    return text;
}

// ---- lines ----

// Comments and surrounding blanks go; a line that ends in a backslash is dropped, not joined.
std::vector<std::string> cleanLines(std::istream& rIn)
{
    constexpr const char* pszBlanks = " \t\r\n\v\f";
    std::vector<std::string> lines;
    for (std::string line; std::getline(rIn, line);) {
        line.erase(std::min(line.find('#'), line.size()));
        line.erase(line.find_last_not_of(pszBlanks) + 1);
        line.erase(0, line.find_first_not_of(pszBlanks));
        if (!line.empty() && line.back() != '\\') {
            lines.push_back(std::move(line));
        }
    }
    return lines;
}

// What stands behind the key, if the line starts with it.
std::optional<std::string> behindKey(const std::string& rLine, const std::string& rKey)
{
    if (upper(rLine.substr(0, rKey.size())) != rKey) {
        return std::nullopt;
    }
    if (rLine.size() > rKey.size() && !std::isspace(static_cast<unsigned char>(rLine[rKey.size()]))) {
        return std::nullopt;
    }
    return rLine.substr(rKey.size());
}

void appendNumbers(std::vector<double>& rNumbers, const std::string& rText, std::size_t nWanted)
{
    const char* psz = rText.c_str();
    for (char* pEnd = nullptr; rNumbers.size() < nWanted; psz = pEnd) {
        const double dValue = std::strtod(psz, &pEnd);
        if (pEnd == psz) {
            return;
        }
        rNumbers.push_back(dValue);
    }
}

// ---- values of a section or block, by key; the first line that can be read counts ----

class Block
{
public:
    Block(std::string where, Lines lines) : m_where(std::move(where)), m_lines(lines) {}

    Lines lines() const { return m_lines; }

    [[noreturn]] void fail(const std::string& rKey, const std::string& rWhat) const
    {
        throw AppError(m_where + rKey + ": " + rWhat, ExitStatus::Content);
    }

    std::optional<std::vector<double>> tryNumbers(const std::string& rKey, std::size_t nWanted,
                                                  bool bSeveralLines = false) const
    {
        for (std::size_t n = 0; n < m_lines.size(); ++n) {
            if (const auto values = behindKey(m_lines[n], rKey)) {
                std::vector<double> numbers;
                appendNumbers(numbers, *values, nWanted);
                for (std::size_t k = n + 1; bSeveralLines && k < m_lines.size() && numbers.size() < nWanted; ++k) {
                    const std::size_t nBefore = numbers.size();
                    appendNumbers(numbers, m_lines[k], nWanted);
                    if (numbers.size() == nBefore) {
                        break;
                    }
                }
                if (std::any_of(numbers.begin(), numbers.end(), [](double d) { return !std::isfinite(d); })) {
                    fail(rKey, "has a value that is no finite number; calibrate anew");
                }
                if (numbers.size() == nWanted) {
                    return numbers;
                }
            }
        }
        return std::nullopt;
    }

    std::vector<double> numbers(const std::string& rKey, std::size_t nWanted, bool bSeveralLines = false) const
    {
        if (auto found = tryNumbers(rKey, nWanted, bSeveralLines)) {
            return *std::move(found);
        }
        fail(rKey, "missing, or not " + std::to_string(nWanted) + (nWanted == 1 ? " number" : " numbers"));
    }

    std::vector<int> wholes(const std::string& rKey, std::size_t nWanted) const
    {
        std::vector<int> values;
        for (double dValue : numbers(rKey, nWanted)) {
            if (!(std::abs(dValue) < 2e9)) { // nor a not-a-number
                fail(rKey, "out of range");
            }
            values.push_back(static_cast<int>(dValue));
        }
        return values;
    }

    int whole(const std::string& rKey) const { return wholes(rKey, 1)[0]; }

    std::string word(const std::string& rKey) const
    {
        for (const std::string& rLine : m_lines) {
            if (const auto value = behindKey(rLine, rKey)) {
                const std::size_t nFirst = value->find_first_not_of(" \t");
                if (nFirst == std::string::npos) {
                    continue;
                }
                const bool bQuoted = (*value)[nFirst] == '"';
                const std::size_t nEnd = value->find_first_of(bQuoted ? "\"" : " \t", nFirst + bQuoted);
                return value->substr(nFirst + bQuoted, nEnd - nFirst - bQuoted);
            }
        }
        fail(rKey, "missing");
    }

    // The lines of the blocks BEGIN<kind> to END<kind>, without the two.
    std::vector<Block> blocks(const std::string& rKind) const
    {
        std::vector<Block> found;
        const auto isBorder = [&](const std::string& rLine) {
            return behindKey(rLine, "BEGIN" + rKind) || behindKey(rLine, "END" + rKind);
        };
        for (std::size_t n = 0; n < m_lines.size(); ++n) {
            if (behindKey(m_lines[n], "BEGIN" + rKind)) {
                const auto end =
                    std::find_if(m_lines.begin() + static_cast<std::ptrdiff_t>(n) + 1, m_lines.end(), isBorder);
                if (end == m_lines.end()) {
                    fail("BEGIN" + rKind, "no END" + rKind + " follows");
                }
                const auto nEnd = static_cast<std::size_t>(end - m_lines.begin());
                found.emplace_back(m_where, m_lines.subspan(n + 1, nEnd - n - 1));
            }
        }
        return found;
    }

    Block named(const std::string& rKind, int nId) const
    {
        return {m_where + rKind + " " + std::to_string(nId) + ": ", m_lines};
    }

private:
    std::string m_where; // goes before every complaint
    Lines m_lines;
};

SplineSurface readSurface(const std::vector<Block>& rWarps, int nId, const Block& rCamera)
{
    const auto found =
        std::find_if(rWarps.begin(), rWarps.end(), [&](const Block& rWarp) { return rWarp.whole("ID") == nId; });
    if (found == rWarps.end()) {
        rCamera.fail("WARP, IWARP", "no warp block has the ID " + std::to_string(nId));
    }
    const Block warp = found->named("warp", nId);
    const std::vector<int> anCount = warp.wholes("NUMBERCOEFS", 2);
    if (anCount[0] != anCount[1] || anCount[0] < 4 || anCount[0] > 1000) {
        warp.fail("NUMBERCOEFS", "not two equal numbers from 4 to 1000");
    }
    SplineSurface surface;
    surface.m_nCoefs = anCount[0];
    const auto nCoefs = static_cast<std::size_t>(surface.m_nCoefs);
    if (warp.whole("NUMBERKNOTS") != surface.m_nCoefs + 4) {
        warp.fail("NUMBERKNOTS", "not NUMBERCOEFS + 4");
    }
    surface.m_adKnotsX = warp.numbers("KNOTSX", nCoefs + 4);
    surface.m_adKnotsY = warp.numbers("KNOTSY", nCoefs + 4);
    surface.m_adCoefs = warp.numbers("COEFS", nCoefs * nCoefs, true);
    return surface;
}

OutlineCamera readCamera(const Block& rBlock, const std::vector<Block>& rWarps)
{
    OutlineCamera camera;
    camera.m_nId = rBlock.whole("ID");
    const Block block = rBlock.named("camera", camera.m_nId);
    camera.m_dGain = block.numbers("GAIN", 1)[0];
    camera.m_channel = upper(block.word("CHANNEL"));
    static const std::set<std::string> s_channels{"RED", "GREEN", "BLUE", "COLOR"};
    if (!s_channels.contains(camera.m_channel)) {
        block.fail("CHANNEL", "'" + camera.m_channel + "' is none of RED, GREEN, BLUE and COLOR");
    }
    const auto position = block.wholes("POSITION", 3);
    camera.m_position = {position[0], position[1], position[2]};
    const auto map = [&](const char* pszKey) {
        const auto ids = block.wholes(pszKey, 2);
        return SplineMap{readSurface(rWarps, ids[0], block), readSurface(rWarps, ids[1], block)};
    };
    camera.m_rawFromRectified = map("WARP");
    camera.m_rectifiedFromRaw = map("IWARP");
    if (const auto factor = block.tryNumbers("RECTFACTOR", 2)) {
        camera.m_rectFactor = {(*factor)[0], (*factor)[1]};
    }
    if (const auto factor = block.tryNumbers("RAWFACTOR", 2)) {
        camera.m_rawFactor = {(*factor)[0], (*factor)[1]};
    }
    return camera;
}

struct ProductRow
{
    const char* m_pszName;
    std::vector<cv::Vec3i> m_positions; // cameras that it must have
};

const std::vector<ProductRow>& products()
{
    static const std::vector<cv::Vec3i> s_three{{0, 0, 0}, {0, -1, 0}, {-1, 0, 0}};
    static const std::vector<ProductRow> s_rows{{"KESTROVA", s_three},
                                                {"HALVORINE", s_three},
                                                {"PEMBERLOW", {{0, 0, 0}, {-1, 0, 0}}},
                                                {"TANDRELL", {{0, 0, 0}, {0, -1, 0}}}};
    return s_rows;
}

// What the library asks of a section beyond readable values.
void checkKind(const Block& rBlock, const OutlineSection& rSection)
{
    int nMajor = 0;
    int nMinor = 0;
    std::sscanf(rSection.m_version.c_str(), "%*s %d . %d", &nMajor, &nMinor);
    if (!(nMajor == 2 && nMinor >= 0 && nMinor <= 2) && !(nMajor == 3 && nMinor == 0)) {
        rBlock.fail("VERSION", "'" + rSection.m_version + "' is none of 2.0, 2.1, 2.2 and 3.0");
    }
    const auto& rProducts = products();
    const auto product = std::find_if(rProducts.begin(), rProducts.end(), [&](const ProductRow& rRow) {
        return upper(rSection.m_product) == rRow.m_pszName;
    });
    if (product == rProducts.end()) {
        rBlock.fail("PRODUCT", "'" + rSection.m_product + "' is not known");
    }
    const std::string& rKind = rSection.m_configuration;
    if (rKind != "2CAMERAHORIZONTAL" && rKind != "2CAMERAVERTICAL" &&
        (rKind != "L" || product->m_positions.size() != 3)) {
        rBlock.fail("CAMERACONFIGURATION", "'" + rKind + "' does not suit the product");
    }
    for (const cv::Vec3i& rPosition : product->m_positions) {
        if (!rSection.camera(rPosition)) {
            rBlock.fail("POSITION", "no camera stands at " + std::to_string(rPosition[0]) + " " +
                                        std::to_string(rPosition[1]) + " " + std::to_string(rPosition[2]));
        }
    }
}

OutlineSection readSection(const Block& rBlock)
{
    OutlineSection section;
    section.m_version = rBlock.word("VERSION");
    section.m_product = rBlock.word("PRODUCT");
    section.m_nSerialNumber = rBlock.whole("SERIALNUMBER");
    const auto focal = rBlock.tryNumbers("FOCALLENGTH", 2);
    const double dFocal = rBlock.numbers("FOCALLENGTH", 1)[0];
    section.m_focalLength = {dFocal, focal ? (*focal)[1] : dFocal * 4 / 3};
    section.m_dBaseline = rBlock.numbers("BASELINE", 1)[0];
    section.m_configuration = upper(rBlock.word("CAMERACONFIGURATION"));
    const auto disparity = rBlock.wholes("DISPARITY", 2);
    if (disparity[0] < 0 || disparity[0] >= disparity[1] || disparity[1] - disparity[0] > 240 || disparity[1] > 1024) {
        rBlock.fail("DISPARITY", "needs 0 <= minimum < maximum <= 1024, at most 240 apart");
    }
    section.m_disparity = {disparity[0], disparity[1]};
    const std::vector<Block> warps = rBlock.blocks("WARP");
    for (const Block& rCamera : rBlock.blocks("CAMERA")) {
        section.m_cameras.push_back(readCamera(rCamera, warps));
    }
    checkKind(rBlock, section);
    return section;
}

} // namespace

std::vector<OutlineSection> readOutline(const std::filesystem::path& rFile)
{
    checkLength(rFile, sk_nLongestText);
    std::ifstream in(rFile, std::ios::binary);
    if (!in || std::filesystem::is_directory(rFile)) {
        throw AppError(rFile.string() + ": cannot be read; is the path right?", ExitStatus::File);
    }
    const std::vector<std::string> lines = cleanLines(in);
    const std::string where = rFile.string() + ": bad calibration: ";
    if (!lines.empty() && lines.front().starts_with("\xEF\xBB\xBF")) {
        throw AppError(where + "begins with a byte order mark; save it as plain text without one", ExitStatus::Content);
    }
    const auto isStart = [](const std::string& rLine) { return behindKey(rLine, "VERSION").has_value(); };
    std::vector<OutlineSection> sections;
    auto start = std::find_if(lines.begin(), lines.end(), isStart);
    if (start == lines.end()) {
        throw AppError(where + "VERSION: missing; is it the text that calibrate or import wrote?", ExitStatus::Content);
    }
    while (start != lines.end()) {
        const auto end = std::find_if(start + 1, lines.end(), isStart);
        sections.push_back(readSection(Block(where, Lines(start, end))));
        start = end;
    }
    return sections;
}

const OutlineCamera* OutlineSection::camera(cv::Vec3i position) const
{
    // Where two blocks claim one place, the later counts.
    const auto found = std::find_if(m_cameras.rbegin(), m_cameras.rend(), [&](const OutlineCamera& rCamera) {
        return rCamera.m_position == position && rCamera.m_nId != 100;
    });
    return found == m_cameras.rend() ? nullptr : &*found;
}

cv::Point2d OutlineCamera::rawPosition(const cv::Point2d& rPixel, cv::Size canvas, cv::Size raw) const
{
    const double dX = std::clamp((rPixel.x + 0.5) / canvas.width - m_rectFactor[0], 0.0, 1.0);
    const double dY = std::clamp((rPixel.y + 0.5) / canvas.height - m_rectFactor[1], 0.0, 1.0);
    return {(m_rawFromRectified.m_column(dX, dY) + m_rawFactor[0]) * raw.width - 0.5,
            (m_rawFromRectified.m_row(dX, dY) + m_rawFactor[1]) * raw.height - 0.5};
}

cv::Point2d OutlineCamera::rectifiedPosition(const cv::Point2d& rRaw, cv::Size canvas, cv::Size raw) const
{
    const cv::Point2d unmoved = rRaw - cv::Point2d(m_rawFactor[0] * raw.width, m_rawFactor[1] * raw.height);
    return m_rectifiedFromRaw(unmoved, raw, canvas) +
           cv::Point2d(m_rectFactor[0] * canvas.width, m_rectFactor[1] * canvas.height);
}

std::optional<cv::Point2d> OutlineCamera::believedPosition(const cv::Point2d& rPixel, cv::Size canvas,
                                                           cv::Size raw) const
{
    const cv::Point2d at = rawPosition(rPixel, canvas, raw);
    if (!(at.x >= 0.0 && at.y >= 0.0 && at.x <= raw.width - 1.0 && at.y <= raw.height - 1.0)) {
        return std::nullopt;
    }
    return cv::norm(rectifiedPosition(at, canvas, raw) - rPixel) <= 1.0 ? std::optional(at) : std::nullopt;
}

} // namespace kestrova::app
