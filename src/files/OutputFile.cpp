#include "files/OutputFile.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kestrova {

namespace {

/** call() until no signal interrupts it. */
template<class Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

int openFile(const char* pszPath, OutputFile::Access eAccess)
{
    constexpr mode_t sk_mode = 0666; // less what the process masks, as every program's files
    const int nAccess = eAccess == OutputFile::ReadAndWrite ? O_RDWR : O_WRONLY;
    return uninterrupted([=] { return ::open(pszPath, nAccess | O_CREAT | O_TRUNC | O_CLOEXEC, sk_mode); });
}

} // namespace

OutputFile::OutputFile(const char* pszPath, Access eAccess) : m_nFile(openFile(pszPath, eAccess))
{
    if (m_nFile >= 0) {
        // A stream of the system's own gives up at the first signal.
        m_pStream = ::fopencookie(&m_nFile, "w", {nullptr, &OutputFile::writeAll, nullptr, nullptr});
    }
}

OutputFile::~OutputFile()
{
    close(false);
}

bool OutputFile::finish()
{
    return close(m_pStream != nullptr && std::fflush(m_pStream) == 0 && std::ferror(m_pStream) == 0);
}

/** Returns what was written, 0 for an error: what a stream takes for one is any number below uBytes. */
ssize_t OutputFile::writeAll(void* pCookie, const char* pBytes, std::size_t uBytes)
{
    const int nFile = *static_cast<const int*>(pCookie);
    for (std::size_t uDone = 0; uDone < uBytes;) {
        const ssize_t nWritten = uninterrupted([&] { return ::write(nFile, pBytes + uDone, uBytes - uDone); });
        if (nWritten <= 0) {
            return 0;
        }
        uDone += static_cast<std::size_t>(nWritten);
    }
    return static_cast<ssize_t>(uBytes);
}

bool OutputFile::close(bool bComplete)
{
    if (m_pStream != nullptr) {
        std::fclose(m_pStream); // may still try to write what is in its buffer
        m_pStream = nullptr;
    }
    if (m_nFile < 0) {
        return false;
    }
    if (!bComplete) {
        [[maybe_unused]] const int nCut = ::ftruncate(m_nFile, 0); // devices and pipes refuse, and have nothing to cut
    }
    // An interrupted close has closed, and what counts was written before.
    const bool bClosed = ::close(m_nFile) == 0 || errno == EINTR;
    m_nFile = -1;
    return bComplete && bClosed;
}

} // namespace kestrova
