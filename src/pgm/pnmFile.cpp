#include "pgm/pnmFile.h"

#include "files/cText.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <sys/types.h>

namespace kestrova {

namespace {

constexpr std::size_t sk_uTokenSize = 1024;
constexpr std::uint64_t sk_uUnknown = UINT64_MAX;
constexpr std::uint64_t sk_uFirstBlock = 65536; // of a stream that cannot tell how long it is

bool endsComment(int nChar)
{
    return nChar == '\n' || nChar == '\r' || nChar == EOF;
}

/** The word of a comment is read already; nChar ended it. */
void finishComment(std::FILE* pStream, int nChar, const char* pcWord, const char* pcEnd, PnmComment& rComment)
{
    std::for_each(pcWord, pcEnd, [&](char c) { rComment.add(c); });
    for (; !endsComment(nChar); nChar = std::getc(pStream)) {
        rComment.add(static_cast<char>(nChar));
    }
    rComment.add('\n');
}

/** An empty token at the end of the file, behind a comment too; false for one that is too long. */
bool readToken(std::FILE* pStream, char (&racToken)[sk_uTokenSize], PnmComment& rComment)
{
    for (;;) {
        int nChar = std::getc(pStream);
        while (isSpace(nChar)) {
            nChar = std::getc(pStream);
        }
        std::size_t uLength = 0;
        for (; nChar != EOF && !isSpace(nChar); nChar = std::getc(pStream)) {
            racToken[uLength++] = static_cast<char>(nChar);
            if (uLength == sk_uTokenSize) {
                return false;
            }
        }
        racToken[uLength] = '\0';
        if (racToken[0] != '#') {
            return true;
        }
        finishComment(pStream, nChar, racToken + 1, racToken + uLength, rComment);
    }
}

/** The number that a token begins with, 0 if there is none or it does not lie in 1 to the largest int. */
std::int32_t positiveNumber(const char* pszToken)
{
    const long nValue = toLong(pszToken);
    return nValue >= 1 && nValue <= INT_MAX ? static_cast<std::int32_t>(nValue) : 0;
}

std::uint64_t remainingBytes(std::FILE* pStream)
{
    const off_t nHere = ftello(pStream);
    if (nHere < 0 || fseeko(pStream, 0, SEEK_END) != 0) {
        std::clearerr(pStream);
        return sk_uUnknown;
    }
    const off_t nEnd = ftello(pStream);
    const bool bBack = fseeko(pStream, nHere, SEEK_SET) == 0;
    return bBack && nEnd > nHere ? static_cast<std::uint64_t>(nEnd - nHere) : 0;
}

} // namespace

void PnmComment::add(char c)
{
    m_bFits = m_bFits && c != '\0' && m_uLength + 1 < sizeof m_acText;
    if (m_bFits) {
        m_acText[m_uLength++] = c;
    }
}

bool readPnmHeader(std::FILE* pStream, const char* pszMagic, PnmHeader* pHeader, PnmComment* pComment)
{
    PnmComment ignored;
    PnmComment& rComment = pComment != nullptr ? *pComment : ignored;
    char acToken[sk_uTokenSize];
    if (!readToken(pStream, acToken, rComment) || std::strcmp(acToken, pszMagic) != 0) {
        return false;
    }
    for (std::int32_t* const pnSize : {&pHeader->m_nCols, &pHeader->m_nRows}) {
        if (!readToken(pStream, acToken, rComment) || (*pnSize = positiveNumber(acToken)) == 0) {
            return false;
        }
    }
    if (!readToken(pStream, acToken, rComment)) {
        return false;
    }
    pHeader->m_nMaxValue = positiveNumber(acToken);
    return true;
}

SampleBlock readSamples(std::FILE* pStream, std::uint64_t uBytes)
{
    const std::uint64_t uRemaining = remainingBytes(pStream);
    if (uRemaining < uBytes) {
        return nullptr;
    }
    // Where the end is unknown the block grows with what has come, so that a large size alone takes nothing.
    std::uint64_t uCapacity = uRemaining != sk_uUnknown ? uBytes : std::min(uBytes, sk_uFirstBlock);
    SampleBlock pBlock(static_cast<unsigned char*>(std::malloc(uCapacity)));
    std::uint64_t uRead = 0;
    while (pBlock != nullptr) {
        uRead += std::fread(pBlock.get() + uRead, 1, uCapacity - uRead, pStream);
        if (uRead == uBytes) {
            return pBlock;
        }
        if (uRead < uCapacity) {
            return nullptr;
        }
        uCapacity = std::min(uBytes, 2 * uCapacity);
        auto* const pGrown = static_cast<unsigned char*>(std::realloc(pBlock.get(), uCapacity));
        if (pGrown == nullptr) {
            return nullptr; // the old block is still there, and goes
        }
        static_cast<void>(pBlock.release());
        pBlock.reset(pGrown);
    }
    return nullptr;
}

} // namespace kestrova
