// Calls the program in a folder of its own, which is gone after the test.
#pragma once

#include "app/fixtures.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

namespace kestrova::app {

struct Program : testing::Test
{
    struct Outcome
    {
        int m_nStatus;
        std::string m_out, m_error;
    };
    Outcome call(const std::string& rArguments, const char* pszProgram = KESTROVA_PROGRAM) const
    {
        const std::string line = "cd '" + m_folder.m_name + "' && '" + pszProgram + "' " + rArguments + " >out 2>err";
        const int nStatus = std::system(line.c_str());
        return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1, slurp(m_folder / "out"), slurp(m_folder / "err")};
    }
    const TempFolder m_folder;
};

} // namespace kestrova::app
