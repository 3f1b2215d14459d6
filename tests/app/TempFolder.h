// A folder of its own for a test, gone afterwards.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace kestrova::app {

struct TempFolder
{
    TempFolder() { ::mkdtemp(m_name.data()); }
    ~TempFolder() { std::filesystem::remove_all(m_name); }
    std::filesystem::path path() const { return m_name; }
    std::filesystem::path operator/(const std::string& rName) const { return path() / rName; }
    std::string m_name = (std::filesystem::temp_directory_path() / "kestrova-test-XXXXXX").string();
};

inline std::string slurp(const std::filesystem::path& rFile)
{
    std::ostringstream text;
    text << std::ifstream(rFile, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace kestrova::app
