// Version of the library, cut from the build number, and the path it was loaded from.
#include "kestrova.h"

#include <array>
#include <cstdio>
#include <dlfcn.h>

namespace {

constexpr int sk_nBuildNumber = 3402;
constexpr char sk_szUnavailable[] = "<unavailable>";

struct Version
{
    int m_nMajor;
    int m_nMinor;
    int m_nReleaseType;
    int m_nReleaseNumber;
};

// The first three decimal digits are one field each; all that follows is the release number.
constexpr Version cutBuildNumber(int nBuild)
{
    int nScale = 1;
    while (nBuild / nScale >= 10) {
        nScale *= 10;
    }
    const auto nextDigit = [&] {
        const int nDigit = nBuild / nScale % 10;
        nScale /= 10;
        return nDigit;
    };
    Version version{};
    version.m_nMajor = nextDigit();
    version.m_nMinor = nextDigit();
    version.m_nReleaseType = nextDigit();
    version.m_nReleaseNumber = nBuild % (nScale * 10);
    return version;
}

constexpr Version sk_version = cutBuildNumber(sk_nBuildNumber);
static_assert(sk_version.m_nMajor == 3 && sk_version.m_nMinor == 4 && sk_version.m_nReleaseType == 0 &&
              sk_version.m_nReleaseNumber == 2);

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
