// A folder of its own for a test, gone afterwards.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace kestrova::app {

class TempFolder
{
public:
    TempFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "kestrova-test-XXXXXX").string();
        m_path = ::mkdtemp(name.data());
    }
    ~TempFolder() { std::filesystem::remove_all(m_path); }
    std::filesystem::path operator/(const std::string& rName) const { return m_path / rName; }
    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

inline std::string slurp(const std::filesystem::path& rFile)
{
    std::ostringstream text;
    text << std::ifstream(rFile, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace kestrova::app
