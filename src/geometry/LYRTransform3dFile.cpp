// Transform files: six lines of a key, a tab and a number, found by key so that their order does not matter.
//
// What a file holds never stops the process: a word that is too long, a number that is missing or the end of the file
// in the wrong place is a failed read.
#include "geometry/LYRTransform3d.h"

#include "files/FilePtr.h"
#include "files/OutputFile.h"
#include "files/cText.h"

#include <optional>
#include <string>

namespace kestrova {

namespace {

constexpr std::size_t sk_nMaxPath = 199;
constexpr int sk_nLine = 500; // bytes that a word or a step through a comment may take, with the terminator

/** Nothing for a name that is too long. */
std::optional<std::string> pathOf(const char* pszName)
{
    std::string path = std::string(pszName) + ".trans";
    return path.size() <= sk_nMaxPath ? std::optional(std::move(path)) : std::nullopt;
}

// The next word between blanks; nothing at the end of the file or for a word that is too long to be a key.
std::optional<std::string> readWord(std::FILE* pFile)
{
    int nChar = std::fgetc(pFile);
    while (isSpace(nChar)) {
        nChar = std::fgetc(pFile);
    }
    std::string word;
    for (; nChar != EOF && !isSpace(nChar); nChar = std::fgetc(pFile)) {
        word.push_back(static_cast<char>(nChar));
        if (word.size() >= sk_nLine) {
            return std::nullopt;
        }
    }
    std::ungetc(nChar, pFile); // the end of a line closes a comment
    return word.empty() ? std::nullopt : std::optional(word);
}

// A comment line longer than the step leaves its rest to be read as words.
bool skipComment(std::FILE* pFile)
{
    char szLine[sk_nLine];
    return std::fgets(szLine, sizeof szLine, pFile) != nullptr;
}

} // namespace

bool LYRTransform3d::transRead(std::FILE* pFile, const char* pszKey, double* pValue)
{
    if (std::fseek(pFile, 0, SEEK_SET) != 0) {
        return false;
    }
    while (const auto word = readWord(pFile)) {
        if (*word == "//") {
            if (!skipComment(pFile)) {
                return false;
            }
        } else if (*word == pszKey) {
            const CLocaleScope scope;
            return std::fscanf(pFile, "%lf", pValue) == 1;
        }
    }
    return false;
}

bool LYRTransform3d::write(std::FILE* pFile) const
{
    const CLocaleScope scope;
    std::fprintf(pFile, "Rx\t%lf\nRy\t%lf\nRz\t%lf\n", m_dRotX, m_dRotY, m_dRotZ);
    std::fprintf(pFile, "Tx\t%lf\nTy\t%lf\nTz\t%lf\n", m_dTransX, m_dTransY, m_dTransZ);
    return true;
}

bool LYRTransform3d::write(const char* pszName) const
{
    const auto path = pathOf(pszName);
    if (!path) {
        return false;
    }
    OutputFile file(path->c_str(), OutputFile::ReadAndWrite);
    return file.stream() != nullptr && write(file.stream()) && file.finish();
}

bool LYRTransform3d::read(std::FILE* pFile)
{
    return transRead(pFile, "Rx", &m_dRotX) && transRead(pFile, "Ry", &m_dRotY) && transRead(pFile, "Rz", &m_dRotZ) &&
           transRead(pFile, "Tx", &m_dTransX) && transRead(pFile, "Ty", &m_dTransY) &&
           transRead(pFile, "Tz", &m_dTransZ);
}

bool LYRTransform3d::read(const char* pszName)
{
    const auto path = pathOf(pszName);
    const FilePtr pFile = path ? openAtOnce(path->c_str()) : nullptr;
    return pFile != nullptr && isPlainFile(pFile.get()) && read(pFile.get());
}

} // namespace kestrova
