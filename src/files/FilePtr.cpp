#include "files/FilePtr.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrova {

namespace {

mode_t kindOf(std::FILE* pStream)
{
    struct stat status = {};
    const int nFile = ::fileno(pStream);
    return nFile < 0 ? S_IFREG : ::fstat(nFile, &status) == 0 ? status.st_mode & S_IFMT : 0;
}

} // namespace

FilePtr openAtOnce(const char* pszPath)
{
    const int nFile = ::open(pszPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    FilePtr pStream(nFile >= 0 ? ::fdopen(nFile, "rb") : nullptr);
    if (pStream == nullptr && nFile >= 0) {
        ::close(nFile);
    }
    return pStream;
}

bool isPlainFile(std::FILE* pStream)
{
    return kindOf(pStream) == S_IFREG;
}

bool isPlainFileOrPipe(std::FILE* pStream)
{
    return isPlainFile(pStream) || kindOf(pStream) == S_IFIFO;
}

} // namespace kestrova
