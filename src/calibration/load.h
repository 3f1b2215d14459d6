// Turns one section of a calibration text into a filled StereoContext.
//
// A context is loaded once, right after its construction; its defaults are those of the constructor. A failed load
// leaves the plain settings as far as they were read, holds neither cameras nor text, and is not to be used. The only
// message is one line on standard output, and only when the section says "Debug on".
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace kestrova {

class StereoContext;

/**
 * Sections count from 0; false if the section does not load. The stream must be a plain file or memory; it is read from
 * its start and stays open, at no particular position. False for pipes, devices and folders.
 */
[[nodiscard]] bool loadContextFromStream(std::FILE* pStream, StereoContext* pContext, int nSection);

/**
 * The block is a calibration text that ends with a NUL. When section 0 has no lines this prints "Failed to load
 * calibration file to memory" whatever the text says; a later section that does not exist fails silently, which is how
 * the end of a block of several sections is found.
 */
[[nodiscard]] bool loadContextFromMemory(const void* pBlock, StereoContext* pContext, int nSection);

/** The cleaned lines of the section, first line first; on success the context keeps them. */
[[nodiscard]] bool loadContextFromLines(std::vector<std::string> lines, StereoContext* pContext);

} // namespace kestrova
