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

/**
 * The last number in a file's name, its ending left away, without leading zeros; empty when there is none. It says
 * which instant a file is of: of left05.jpg it is 5, of frame_0012_right.png 12.
 */
std::string lastNumberIn(const std::filesystem::path& rFile);

} // namespace kestrova::app
