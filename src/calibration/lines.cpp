#include "calibration/lines.h"

#include "files/FilePtr.h"
#include "files/cText.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace kestrova {

namespace {

constexpr char sk_szVersion[] = "Version";
constexpr std::size_t sk_uVersionLength = sizeof sk_szVersion - 1;

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

/** Lines of a stream, as far as a text may reach. */
class LineReader
{
public:
    explicit LineReader(std::FILE* pStream) : m_pStream(pStream) {}

    /** The next line; null at the end of the stream, or beyond what a text may take. */
    const char* next()
    {
        if (m_nTaken > sk_nMaxText || std::fgets(m_acLine, sizeof m_acLine, m_pStream) == nullptr) {
            return nullptr;
        }
        // A piece without an end may hold zero bytes, and more of them than can be seen.
        const std::size_t uLength = std::strlen(m_acLine);
        const bool bWhole = uLength != 0 && m_acLine[uLength - 1] == '\n';
        m_nTaken += bWhole ? static_cast<std::int64_t>(sizeof(std::string) + uLength) : sk_nLineBufferSize;
        return m_acLine;
    }

private:
    std::FILE* m_pStream;
    std::int64_t m_nTaken = 0;
    char m_acLine[sk_nLineBufferSize] = {};
};

/** Leaves the stream behind the last line that does not start a section, before the section wanted. */
bool seekSection(std::FILE* pStream, int nSection)
{
    std::rewind(pStream);
    std::fpos_t position;
    if (std::fgetpos(pStream, &position) != 0) {
        return false;
    }
    LineReader lines(pStream);
    int nFound = 0;
    while (const char* const pszLine = lines.next()) {
        if (startsSection(pszLine)) {
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
        const std::string_view start(psz, ::strnlen(psz, sk_uVersionLength));
        if (equalIgnoringCase(start, sk_szVersion) && nFound++ == nSection) {
            break;
        }
    }
    return psz;
}

} // namespace

int loadFileToMemory(std::FILE* pStream, std::vector<std::string>& rLines, int nSection)
{
    rLines.clear();
    if (!isPlainFile(pStream) || !seekSection(pStream, nSection)) {
        return 0;
    }
    LineReader lines(pStream);
    while (const char* const pszLine = lines.next()) {
        if (!rLines.empty() && startsSection(pszLine)) {
            break;
        }
        // A first line that is a comment stays as it is, terminator included, for the writer to repeat. It takes a
        // version line that ends with a backslash to get here.
        if (rLines.empty() && pszLine[0] == '#') {
            rLines.emplace_back(pszLine);
        } else {
            appendCleaned(pszLine, rLines);
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
