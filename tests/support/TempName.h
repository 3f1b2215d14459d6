// A path for a file of one test in one process.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace support {

inline std::string tempName(const char* pszStem)
{
    return testing::TempDir() + "kestrova_" + std::to_string(::getpid()) + "_" + pszStem;
}

} // namespace support
