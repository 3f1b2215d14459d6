// A C stream that is closed at the end of its scope, for reading. What is written goes through OutputFile, which sees
// whether it arrives.
#pragma once

#include <cstdio>
#include <memory>

namespace kestrova {

struct FileCloser
{
    void operator()(std::FILE* pFile) const { std::fclose(pFile); }
};

using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

/** Opens for reading and does not wait for the other end of a pipe; null when that fails. */
[[nodiscard]] FilePtr openAtOnce(const char* pszPath);

/** False for pipes, devices and folders, which need not have an end; true for what is in memory alone. */
[[nodiscard]] bool isPlainFile(std::FILE* pStream);
/** As isPlainFile, but also true for pipes: whoever writes there ends them. */
[[nodiscard]] bool isPlainFileOrPipe(std::FILE* pStream);

} // namespace kestrova
