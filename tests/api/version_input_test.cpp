// Texts, version numbers and the record of a raw frame.
#include "kestrova.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <thread>

TEST(Errors, EveryCodeHasItsText)
{
    std::string texts;
    for (int nCode = -1; nCode < 17; ++nCode) {
        texts += kestrovaErrorToString(static_cast<KestrovaError>(nCode)) + std::string("\n");
    }
    EXPECT_EQ(texts, "Unknown Error\nFunction succeeded\nFeature not implemented\nInvalid setting\nInvalid context\n"
                     "Invalid camera\nInvalid region of interest\nInvalid request\nConflicting options set \n"
                     "Configuration file corrupt\nNo configuration file\nUnknown Error\n"
                     "The system does not support MMX instructions\n"
                     "The parameter passed to the function was invalid\n"
                     "Surface validation experienced an internal buffer overflow\n3d transformation file corrupted\n"
                     "A system error occurred\nUnknown Error\n");
}

TEST(Version, NumbersAgreeWithTheText)
{
    EXPECT_STREQ(kestrovaVersion(), "Kestrova Stereo Vision SDK 3.4 Alpha 2");
    EXPECT_EQ(kestrovaGetVersionMajor() * 1000 + kestrovaGetVersionMinor() * 100 +
                  kestrovaGetVersionReleaseType() * 10 + kestrovaGetVersionReleaseNumber(),
              KESTROVA_VERSION_MAJOR * 1000 + KESTROVA_VERSION_MINOR * 100 + KESTROVA_VERSION_RELEASE_TYPE * 10 +
                  KESTROVA_VERSION_RELEASE_NUMBER);
}

// A rewritten text is a race, which is the sanitizer's to tell.
TEST(Version, TextMayBeReadByOneThreadWhileAnotherAsksForIt)
{
    const std::string text = kestrovaVersion();
    std::thread other([] { EXPECT_STREQ(kestrovaVersion(), "Kestrova Stereo Vision SDK 3.4 Alpha 2"); });
    EXPECT_EQ(kestrovaVersion(), text);
    other.join();
}

// Leaks and wrong frees are the sanitizer's to tell.
TEST(Input, DestroyFreesWhatItSays)
{
    int nNotFromHeap = 0;
    for (const auto& [nType, nRows, nCols] : {std::array{0, 2, 2}, {3, 2, 2}, {1, 0, 2}, {2, 2, 0}}) {
        KestrovaInput input{nType, 0, 0, nRows, nCols, 2, &nNotFromHeap, nullptr, nullptr};
        EXPECT_EQ(kestrovaDestroyInput(&input), KestrovaErrorInvalidParameter);
        EXPECT_EQ(input.pPlane0, &nNotFromHeap);
    }
    KestrovaInput packed{1, 0, 0, 1, 1, 8, std::malloc(16), &nNotFromHeap, &nNotFromHeap};
    EXPECT_EQ(kestrovaDestroyInput(&packed), KestrovaErrorOk);
    EXPECT_EQ(packed.pPlane1, &nNotFromHeap) << "the record stays as it is";

    KestrovaInput planes{2, 0, 0, 1, 1, 2, std::malloc(4), std::malloc(4), nullptr};
    KestrovaInput third{2, 0, 0, 2, 2, 2, nullptr, nullptr, &nNotFromHeap};
    EXPECT_EQ(kestrovaDestroyInput(&planes), KestrovaErrorOk);
    EXPECT_EQ(kestrovaDestroyInput(&third), KestrovaErrorOk) << "the third plane is never freed";
    EXPECT_TRUE(planes.pPlane0 == nullptr && planes.pPlane1 == nullptr && third.pPlane2 == nullptr);
#ifndef __SANITIZE_THREAD__ // goes on after a block that is freed twice
    KestrovaInput three{2, 0, 0, 1, 1, 2, nullptr, std::malloc(4), &nNotFromHeap};
    EXPECT_DEATH(kestrovaDestroyInput(&three), "double") << "the second plane is freed twice";
    std::free(three.pPlane1);
#endif
}
