// File names by pattern, as a shell would find them, in the order in which people count.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kestrova::app {

/** Whether the text is a pattern (* ? [) and not the name of a file that is there. */
bool isPattern(const std::string& rText);

/**
 * The files that match, frame2 before frame10. Text without * ? [, or the name of a file that is there, stands for
 * itself. Throws AppError that names the option when nothing matches.
 */
std::vector<std::filesystem::path> expandGlob(const std::string& rPattern, const std::string& rOption);

/** Whether a name comes before another: runs of digits compare as numbers, all else byte by byte. */
bool naturalLess(const std::string& rFirst, const std::string& rSecond);

} // namespace kestrova::app
