// What must hold of a file before it is read whole: a device never ends, and a disk image fills the memory.
#pragma once

#include <filesystem>

namespace kestrova::app {

/** Bytes. Calibrations have some thousands, lists of frames some millions. */
inline constexpr std::uintmax_t sk_nLongestText = 16u << 20;
inline constexpr std::uintmax_t sk_nLongestImage = 1u << 30;

/**
 * Throws AppError for a device, and for a file that is longer than one of its kind. Says nothing of one that is not
 * there, of a folder or of a pipe: the reader does.
 */
void checkLength(const std::filesystem::path& rFile, std::uintmax_t nMost);

/** The text as one line that a terminal shows as it stands: names of files may hold anything. */
std::string oneLine(std::string text);

} // namespace kestrova::app
