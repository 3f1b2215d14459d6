// The reading side of binary PGM and PPM files: the header's tokens and comments, and a block of samples.
//
// Part of both shared objects: the companion's readers return such blocks, and the library's own loaders fill images
// from them. Nothing here throws, and nothing that a file holds ends or hangs the process: memory is taken only for
// bytes that the file can have.
#pragma once

#include "kestrova.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace kestrova {

struct FreeBlock
{
    void operator()(unsigned char* p) const { std::free(p); }
};
using SampleBlock = std::unique_ptr<unsigned char, FreeBlock>;

/** The comment lines of a header, without "#" and each ended by a line feed. What does not fit makes it invalid. */
class PnmComment
{
public:
    void add(char c);
    /** Zero-terminated; null when the lines do not fit, or hold a zero byte that would hide the rest. */
    [[nodiscard]] const char* text() const { return m_bFits ? m_acText : nullptr; }

private:
    char m_acText[KESTROVA_PGM_COMMENT_SIZE] = {};
    std::size_t m_uLength = 0;
    bool m_bFits = true;
};

struct PnmHeader
{
    std::int32_t m_nRows = 0;
    std::int32_t m_nCols = 0;
    std::int32_t m_nMaxValue = 0; // 0 when it is no number that fits
};

/**
 * Reads magic, width, height and maximum value, and the one character that ends them. Comments may stand before each;
 * a "#" inside a token is part of it. A token, or the first word of a comment, has at most 1023 characters.
 *
 * @param pComment  receives the comments; may be null
 * @return false when the magic differs or a size is no number from 1 to the largest of 32 bits
 */
[[nodiscard]] bool readPnmHeader(std::FILE* pStream, const char* pszMagic, PnmHeader* pHeader, PnmComment* pComment);

/** The next uBytes of the stream; null when it has fewer, which costs no memory where its end can be looked up. */
[[nodiscard]] SampleBlock readSamples(std::FILE* pStream, std::uint64_t uBytes);

} // namespace kestrova
