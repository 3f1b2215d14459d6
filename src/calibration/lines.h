// Cuts a calibration text into the table of cleaned lines of one section.
//
// A cleaned line has no comment, no white space at its ends and no line terminator. A line whose last character is a
// backslash is left out and is not joined to the next one. The two readers differ on purpose, since stored texts depend
// on it: see each.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace kestrova {

/** Bytes of the line buffer of a stream, with the closing NUL: a longer line arrives as several lines. */
inline constexpr int sk_nLineBufferSize = 4096;
/**
 * What a stream may take, each line counted with its place in the table: a large text has some hundred kilobytes. What
 * stands behind is not read, so that a file without end ends.
 */
inline constexpr std::int64_t sk_nMaxText = 64 << 20;
/** Bytes of the longest line of a block, without its newline. */
inline constexpr int sk_nMaxBlockLine = 4096;

/**
 * Reads the section from its line that starts with exactly "Version" up to the next such line. Blank lines are kept
 * as empty strings. Comments in front of the section are not part of it.
 *
 * @param nSection  counted from 0
 * @return the number of lines stored, 0 if there is no such section, or the stream is a pipe, a device or a folder
 */
int loadFileToMemory(std::FILE* pStream, std::vector<std::string>& rLines, int nSection);

/**
 * Reads a block that ends with a NUL. A section starts with "Version" in any case, which blanks may precede. The table
 * reaches to the end of the block, later sections included: lookups find a section's own lines first. Blank lines are
 * dropped.
 *
 * @return the number of lines stored, 0 if there is no such section, negative if a line of the table is too long
 */
int loadMemoryFileToMemory(const void* pBlock, std::vector<std::string>& rLines, int nSection);

} // namespace kestrova
