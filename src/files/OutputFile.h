// A file that is written, as a C stream, and the answer to whether all of it has arrived.
#pragma once

#include <cstddef>
#include <cstdio>
#include <sys/types.h>

namespace kestrova {

/**
 * Writes go on where a signal interrupts them or the system takes a part only. A file that is not written to its end,
 * because finish() fails or is never reached, is left empty: half a file would pass for a whole one.
 */
class OutputFile
{
public:
    enum Access
    {
        WriteOnly,   // as fopen's "w"
        ReadAndWrite // as "w+": a pipe without a reader is opened too
    };

    /** Creates the file or replaces its content. */
    explicit OutputFile(const char* pszPath, Access eAccess = WriteOnly);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    /** Null when the file could not be opened. */
    [[nodiscard]] std::FILE* stream() const { return m_pStream; }
    /** Closes the file. False unless it was opened and the system has taken every byte. */
    [[nodiscard]] bool finish();

private:
    static ssize_t writeAll(void* pCookie, const char* pBytes, std::size_t uBytes);
    bool close(bool bComplete);

    int m_nFile; // negative when closed
    std::FILE* m_pStream = nullptr;
};

} // namespace kestrova
