// Version of the library, which is that of its header, and the path it was loaded from.
#include "kestrova.h"

#include <array>
#include <cstdio>
#include <dlfcn.h>

namespace {

constexpr char sk_szUnavailable[] = "<unavailable>";

struct Version
{
    int m_nMajor;
    int m_nMinor;
    int m_nReleaseType;
    int m_nReleaseNumber;
};

constexpr Version sk_version{KESTROVA_VERSION_MAJOR, KESTROVA_VERSION_MINOR, KESTROVA_VERSION_RELEASE_TYPE,
                             KESTROVA_VERSION_RELEASE_NUMBER};

const char* releaseWord(int nReleaseType)
{
    static constexpr const char* sk_apszWords[] = {"Alpha", "Beta", "Release Candidate", "Release"};
    const bool bKnown = nReleaseType >= 0 && nReleaseType < 4;
    return bKnown ? sk_apszWords[nReleaseType] : "Unknown Release!";
}

} // namespace

const char* g_pszDynamicLibPath = sk_szUnavailable;

const char* kestrovaVersion(void)
{
    // Filled by the first call, while others wait: callers keep the pointer and read through it at any time.
    static const auto s_text = [] {
        std::array<char, 256> text{};
        std::snprintf(text.data(), text.size(), "%s %d.%d %s %d", "Kestrova Stereo Vision SDK", sk_version.m_nMajor,
                      sk_version.m_nMinor, releaseWord(sk_version.m_nReleaseType), sk_version.m_nReleaseNumber);
        return text;
    }();
    return s_text.data();
}

int kestrovaGetVersionMajor(void)
{
    return sk_version.m_nMajor;
}

int kestrovaGetVersionMinor(void)
{
    return sk_version.m_nMinor;
}

int kestrovaGetVersionReleaseType(void)
{
    return sk_version.m_nReleaseType;
}

int kestrovaGetVersionReleaseNumber(void)
{
    return sk_version.m_nReleaseNumber;
}

const char* kestrovaGetDynamicLibPath(void)
{
    // The path is looked up only for a program that has overwritten the variable. That is our decision: a program asks
    // for the path by writing to it, and everybody else gets the same text on every machine.
    Dl_info info;
    const bool bOverwritten = g_pszDynamicLibPath != sk_szUnavailable;
    if (bOverwritten && dladdr(reinterpret_cast<void*>(&kestrovaGetDynamicLibPath), &info) != 0) {
        g_pszDynamicLibPath = info.dli_fname;
    }
    return g_pszDynamicLibPath;
}
