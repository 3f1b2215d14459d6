// Texts, version numbers and the record of a raw frame.
#include "api/words.h"
#include "kestrova.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

TEST(Errors, EveryCodeHasItsText)
{
    const char* const apszTexts[] = {
        "Function succeeded",
        "Feature not implemented",
        "Invalid setting",
        "Invalid context",
        "Invalid camera",
        "Invalid region of interest",
        "Invalid request",
        "Conflicting options set ",
        "Configuration file corrupt",
        "No configuration file",
        "Unknown Error",
        "The system does not support MMX instructions",
        "The parameter passed to the function was invalid",
        "Surface validation experienced an internal buffer overflow",
        "3d transformation file corrupted",
        "A system error occurred",
        "Unknown Error",
        "Unknown Error",
        "Unknown Error",
    };
    int nCode = 0;
    for (const char* pszText : apszTexts) {
        EXPECT_STREQ(kestrovaErrorToString(static_cast<KestrovaError>(nCode++)), pszText);
    }
    EXPECT_STREQ(kestrovaErrorToString(static_cast<KestrovaError>(-1)), "Unknown Error");
    EXPECT_STREQ(kestrovaErrorToString(static_cast<KestrovaError>(0x7fffffff)), "Unknown Error");
}

TEST(Version, TextAndNumbersAgree)
{
    EXPECT_STREQ(kestrovaVersion(), "Kestrova Stereo Vision SDK 3.4 Alpha 2");
    EXPECT_EQ(kestrovaGetVersionMajor() * 1000 + kestrovaGetVersionMinor() * 100 +
                  kestrovaGetVersionReleaseType() * 10 + kestrovaGetVersionReleaseNumber(),
              3402);
}

TEST(Input, BuildersTakeColumnsFirst)
{
    int aPlanes[4];
    KestrovaInput input{};
    EXPECT_EQ(
        kestrovaBuildRGBKestrovaInput(320, 240, 330, 1ULL << 40, 2, &aPlanes[0], &aPlanes[1], &aPlanes[2], &input),
        KestrovaErrorOk);
    EXPECT_TRUE(input.inputType == 2 && input.ncols == 320 && input.nrows == 240 && input.rowinc == 330);
    EXPECT_TRUE(input.pPlane0 == &aPlanes[0] && input.pPlane1 == &aPlanes[1] && input.pPlane2 == &aPlanes[2]);
    EXPECT_EQ(input.ulTag1, 1ULL << 40);
    EXPECT_EQ(kestrovaBuildPackedKestrovaInput(0, -1, 7, 3, 4, &aPlanes[3], &input), KestrovaErrorOk) << "no test here";
    EXPECT_TRUE(input.inputType == 1 && input.ncols == 0 && input.nrows == -1 && input.rowinc == 7);
    EXPECT_TRUE(input.pPlane0 == &aPlanes[3] && input.pPlane1 == &aPlanes[1] && input.pPlane2 == &aPlanes[2]);
    EXPECT_TRUE(input.ulTag1 == 3 && input.ulTag2 == 4);
}

// Leaks and wrong frees are the sanitizer's to tell.
TEST(Input, DestroyFreesWhatItSays)
{
    int nNotFromHeap = 0;
    const KestrovaInput aRefused[] = {{0, 0, 0, 2, 2, 2, &nNotFromHeap, nullptr, nullptr},
                                      {3, 0, 0, 2, 2, 2, &nNotFromHeap, nullptr, nullptr},
                                      {1, 0, 0, 0, 2, 2, &nNotFromHeap, nullptr, nullptr},
                                      {2, 0, 0, 2, 0, 2, &nNotFromHeap, nullptr, nullptr}};
    for (KestrovaInput input : aRefused) {
        EXPECT_EQ(kestrovaDestroyInput(&input), KestrovaErrorInvalidParameter);
        EXPECT_EQ(input.pPlane0, &nNotFromHeap);
    }
    void* pPixels = std::malloc(16);
    KestrovaInput packed{1, 0, 0, 1, 1, 8, pPixels, &nNotFromHeap, &nNotFromHeap};
    EXPECT_EQ(kestrovaDestroyInput(&packed), KestrovaErrorOk);
    EXPECT_EQ(packed.pPlane1, &nNotFromHeap) << "the record stays as it is";

    KestrovaInput planes{2, 0, 0, 1, 1, 2, std::malloc(4), std::malloc(4), nullptr};
    EXPECT_EQ(kestrovaDestroyInput(&planes), KestrovaErrorOk);
    EXPECT_TRUE(planes.pPlane0 == nullptr && planes.pPlane1 == nullptr);
    KestrovaInput third{2, 0, 0, 2, 2, 2, nullptr, nullptr, &nNotFromHeap};
    EXPECT_EQ(kestrovaDestroyInput(&third), KestrovaErrorOk) << "the third plane is never freed";
    EXPECT_EQ(third.pPlane2, nullptr);
}

TEST(Words, RowsMatchTheEnumerations)
{
    EXPECT_STREQ(kestrova::kesCameraStr[KestrovaCamLeft], "Left");
    EXPECT_STREQ(kestrova::kesCamConfigStr[KestrovaCfg2CameraVertical], "2-Cam-Vertical");
    EXPECT_STREQ(kestrova::kesRectQltyStr[KestrovaRectEnhanced2], "Enhanced-2");
    EXPECT_STREQ(kestrova::kesImageTypeStr[KestrovaImgPacked], "Packed");
}
