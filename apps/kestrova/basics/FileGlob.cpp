#include "basics/FileGlob.h"

#include "basics/AppError.h"

#include <glob.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace kestrova::app {

namespace fs = std::filesystem;

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// The run of digits at the front without its leading zeros. Takes the run off the text.
std::string_view takeNumber(std::string_view& rText)
{
    const auto end = std::find_if_not(rText.begin(), rText.end(), isDigit);
    std::string_view number = rText.substr(0, static_cast<std::size_t>(end - rText.begin()));
    rText.remove_prefix(number.size());
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

} // namespace

bool naturalLess(const std::string& rFirst, const std::string& rSecond)
{
    std::string_view a = rFirst;
    std::string_view b = rSecond;
    while (!a.empty() && !b.empty()) {
        if (isDigit(a.front()) && isDigit(b.front())) {
            const std::string_view first = takeNumber(a);
            const std::string_view second = takeNumber(b);
            if (first != second) { // as many digits as there are: a time in nanoseconds fits no integer on some cameras
                return first.size() != second.size() ? first.size() < second.size() : first < second;
            }
            continue;
        }
        if (a.front() != b.front()) {
            return a.front() < b.front();
        }
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
    if (a.empty() != b.empty()) {
        return a.empty();
    }
    return rFirst < rSecond; // 01 and 1: some order, always the same
}

std::string lastNumberIn(const fs::path& rFile)
{
    const std::string stem = rFile.stem().string();
    const std::size_t uEnd = stem.find_last_of("0123456789");
    if (uEnd == std::string::npos) {
        return {};
    }
    const std::size_t uBefore = stem.find_last_not_of("0123456789", uEnd);
    const std::string digits = stem.substr(uBefore + 1, uEnd - uBefore);
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

bool isPattern(const std::string& rText)
{
    std::error_code error;
    return rText.find_first_of("*?[") != std::string::npos && !fs::exists(rText, error);
}

std::vector<fs::path> expandGlob(const std::string& rPattern, const std::string& rOption)
{
    if (rPattern.empty()) {
        throw AppError(rOption + ": needs the name of a file", ExitStatus::Usage);
    }
    if (!isPattern(rPattern)) {
        return {rPattern};
    }
    glob_t found{};
    const int nError = ::glob(rPattern.c_str(), GLOB_TILDE, nullptr, &found);
    const std::vector<std::string> all(found.gl_pathv, found.gl_pathv + (nError ? 0 : found.gl_pathc));
    ::globfree(&found);
    std::vector<std::string> names;
    std::copy_if(all.begin(), all.end(), std::back_inserter(names), [](const std::string& rName) {
        std::error_code error;
        return !fs::is_directory(rName, error);
    });
    if (names.empty()) {
        throw AppError(rOption + ": '" + rPattern + "' matches no file; check the folder and the ending of the names",
                       ExitStatus::File);
    }
    std::sort(names.begin(), names.end(), naturalLess);
    return {names.begin(), names.end()};
}

} // namespace kestrova::app
