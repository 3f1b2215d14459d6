#include "calibration/lines.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>
#include <strings.h>

namespace kestrova {

namespace {

constexpr char sk_szVersion[] = "Version";
constexpr std::size_t sk_uVersionLength = sizeof sk_szVersion - 1;

bool isSpace(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

void appendCleaned(std::string_view line, std::vector<std::string>& rLines)
{
    line = line.substr(0, line.find('#'));
    while (!line.empty() && isSpace(line.front())) {
        line.remove_prefix(1);
    }
    while (!line.empty() && isSpace(line.back())) {
        line.remove_suffix(1);
    }
    if (line.empty() || line.back() != '\\') {
        rLines.emplace_back(line);
    }
}

bool startsSection(const char* pszLine)
{
    return std::strncmp(pszLine, sk_szVersion, sk_uVersionLength) == 0;
}

/** Leaves the stream behind the last line that does not start a section, before the section wanted. */
bool seekSection(std::FILE* pStream, int nSection)
{
    std::rewind(pStream);
    std::fpos_t position;
    if (std::fgetpos(pStream, &position) != 0) {
        return false;
    }
    char acLine[sk_nLineBufferSize];
    int nFound = 0;
    while (std::fgets(acLine, sizeof acLine, pStream) != nullptr) {
        if (startsSection(acLine)) {
            if (nFound == nSection) {
                return std::fsetpos(pStream, &position) == 0;
            }
            ++nFound;
        } else if (std::fgetpos(pStream, &position) != 0) {
            return false;
        }
    }
    return false;
}

/** The start of the next line that is not blank, or the end of the block. */
const char* nextLine(const char* psz)
{
    psz += std::strcspn(psz, "\n");
    return psz + std::strspn(psz, "\n\r\t ");
}

const char* findSection(const char* psz, int nSection)
{
    for (int nFound = 0; *psz != '\0'; psz = nextLine(psz)) {
        if (strncasecmp(psz, sk_szVersion, sk_uVersionLength) == 0 && nFound++ == nSection) {
            break;
        }
    }
    return psz;
}

} // namespace

int loadFileToMemory(std::FILE* pStream, std::vector<std::string>& rLines, int nSection)
{
    rLines.clear();
    if (!seekSection(pStream, nSection)) {
        return 0;
    }
    char acLine[sk_nLineBufferSize];
    while (std::fgets(acLine, sizeof acLine, pStream) != nullptr) {
        if (!rLines.empty() && startsSection(acLine)) {
            break;
        }
        // A first line that is a comment stays as it is, terminator included, for the writer to repeat. It takes a
        // version line that ends with a backslash to get here.
        if (rLines.empty() && acLine[0] == '#') {
            rLines.emplace_back(acLine);
        } else {
            appendCleaned(acLine, rLines);
        }
    }
    return static_cast<int>(rLines.size());
}

int loadMemoryFileToMemory(const void* pBlock, std::vector<std::string>& rLines, int nSection)
{
    rLines.clear();
    if (pBlock == nullptr) {
        return 0;
    }
    for (const char* psz = findSection(static_cast<const char*>(pBlock), nSection); *psz != '\0'; psz = nextLine(psz)) {
        const std::size_t uLength = std::strcspn(psz, "\n");
        if (uLength > static_cast<std::size_t>(sk_nMaxBlockLine)) {
            rLines.clear();
            return -1;
        }
        appendCleaned({psz, uLength}, rLines);
    }
    return static_cast<int>(rLines.size());
}

} // namespace kestrova
