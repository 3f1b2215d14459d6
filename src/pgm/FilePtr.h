// A C stream that is closed at the end of its scope.
#pragma once

#include <cstdio>
#include <memory>

namespace kestrova {

struct FileCloser
{
    void operator()(std::FILE* pFile) const { std::fclose(pFile); }
};

using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

} // namespace kestrova
