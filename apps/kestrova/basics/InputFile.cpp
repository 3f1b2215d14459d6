#include "basics/InputFile.h"

#include "basics/AppError.h"

#include <algorithm>

namespace kestrova::app {

namespace fs = std::filesystem;

void checkLength(const fs::path& rFile, std::uintmax_t nMost)
{
    std::error_code error;
    const fs::file_type eType = fs::status(rFile, error).type();
    if (eType == fs::file_type::character || eType == fs::file_type::block) {
        throw AppError(rFile.string() + ": is a device; give the name of a file", ExitStatus::Content);
    }
    if (eType == fs::file_type::regular && fs::file_size(rFile, error) > nMost && !error) {
        throw AppError(rFile.string() + ": is longer than " + std::to_string(nMost >> 20) +
                           " MB, too long for what it should be; is the name right?",
                       ExitStatus::Content);
    }
}

std::string oneLine(std::string text)
{
    const auto isControl = [](unsigned char uc) { return uc < 0x20 || uc == 0x7F; };
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    return text;
}

} // namespace kestrova::app
