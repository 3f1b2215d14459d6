// A program under another locale: the process's own, until the end of the scope. Compiled on the spot from the system's
// sources (Debian package "locales"), so that a test never passes for want of a locale.
#pragma once

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace kestrova::test {

class ForeignLocale
{
public:
    /** As localedef names them, such as "de_DE" and "UTF-8". */
    ForeignLocale(const std::string& rSource, const std::string& rCharacters)
        : m_folder(testing::TempDir() + "kestrova_locale_" + std::to_string(::getpid()))
    {
        const std::string name = rSource + "." + rCharacters;
        std::filesystem::create_directories(m_folder);
        const std::string command = "localedef -i " + rSource + " -f " + rCharacters + " " + m_folder + "/" + name;
        static_cast<void>(std::system((command + " >/dev/null 2>&1").c_str())); // warnings make it fail: see below
        ::setenv("LOCPATH", m_folder.c_str(), 1);
        m_bSet = std::setlocale(LC_ALL, name.c_str()) != nullptr;
        EXPECT_TRUE(m_bSet) << "no locale came of: " << command << " (is the package locales installed?)";
    }
    ForeignLocale(const ForeignLocale&) = delete;
    ForeignLocale& operator=(const ForeignLocale&) = delete;
    ~ForeignLocale()
    {
        std::setlocale(LC_ALL, "C");
        ::unsetenv("LOCPATH");
        std::filesystem::remove_all(m_folder);
    }
    [[nodiscard]] bool isSet() const { return m_bSet; }

private:
    std::string m_folder;
    bool m_bSet = false;
};

} // namespace kestrova::test
