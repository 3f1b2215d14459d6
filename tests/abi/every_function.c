/* Links every function of the headers and runs one frame from a program that knows nothing else, as C11 and (by
   every_function.cpp) as C++17. check_exports.sh sees to it that none is missing. */
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    SMALL_ROWS = 240,
    SMALL_COLS = 320,
    SMALL_SHIFT = 5
};

#define CHECK(ok)                                                                                                      \
    do {                                                                                                               \
        if (!(ok)) {                                                                                                   \
            printf("%s:%d: %s\n", __FILE__, __LINE__, #ok);                                                            \
            exit(1);                                                                                                   \
        }                                                                                                              \
    } while (0)
#define CHECK_OK(call) CHECK((call) == KestrovaErrorOk)

/* Identity warps: 4 by 4 coefficients, the rows of the image innermost. */
#define SMALL_WARP(id, coefs)                                                                                          \
    "BeginWarp\nID " id                                                                                                \
    "\nNumberKnots 8\nKnotsX 0 0 0 0 1 1 1 1\nKnotsY 0 0 0 0 1 1 1 1\nNumberCoefs 4 4\nCoefs " coefs "\nEndWarp\n"

static const char s_smallCalibration[] =
    "Version \"Kestrova 3.0\"\nProduct PEMBERLOW\nSerialNumber 4711\nFocalLength 0.75 1\nBaseline 0.125\n"
    "CameraConfiguration 2CameraHorizontal\nDisparity 0 32\n"
    "BeginCamera\nID 0\nGain 1\nPosition 0 0 0\nChannel RED\nWarp 0 1\nIwarp 0 1\nEndCamera\n"
    "BeginCamera\nID 1\nGain 1\nPosition -1 0 0\nChannel GREEN\nWarp 0 1\nIwarp 0 1\nEndCamera\n" SMALL_WARP(
        "0", "0 0 0 0 .333333333 .333333333 .333333333 .333333333 "
             ".666666667 .666666667 .666666667 .666666667 1 1 1 1")
        SMALL_WARP("1", "0 .333333333 .666666667 1 0 .333333333 .666666667 1 "
                        "0 .333333333 .666666667 1 0 .333333333 .666666667 1");

/* Preprocesses and correlates a frame of random texture that the left camera sees further right, and expects the shift
 * almost everywhere that it can be seen. */
static void runSmallFrame(KestrovaContext context)
{
    static unsigned char planes[3][SMALL_ROWS * SMALL_COLS];
    unsigned random = 12345;
    int row, col, good = 0;
    KestrovaInput input;
    KestrovaImage16 image;
    for (row = 0; row < SMALL_ROWS; ++row) {
        for (col = 0; col < SMALL_COLS; ++col) {
            random = random * 1664525u + 1013904223u;
            planes[0][row * SMALL_COLS + col] = (unsigned char)(random >> 24);
            planes[1][row * SMALL_COLS + (col + SMALL_SHIFT) % SMALL_COLS] = (unsigned char)(random >> 24);
        }
    }
    CHECK_OK(kestrovaBuildRGBKestrovaInput(SMALL_COLS, SMALL_ROWS, SMALL_COLS, 0, 0, planes[0], planes[1], planes[2],
                                           &input));
    CHECK_OK(kestrovaPreprocess(context, &input));
    CHECK_OK(kestrovaStereo(context));
    CHECK_OK(kestrovaGetImage16(context, KestrovaImg16Disparity, KestrovaCamReference, &image));
    CHECK(image.nrows == SMALL_ROWS && image.ncols == SMALL_COLS && image.rowinc >= 2 * SMALL_COLS);
    for (row = 20; row < SMALL_ROWS - 20; ++row) {
        for (col = 20; col < SMALL_COLS - 60; ++col) {
            const int value = image.data[row * (image.rowinc / 2) + col];
            good += value > 256 * SMALL_SHIFT - 128 && value < 256 * SMALL_SHIFT + 128;
        }
    }
    CHECK(good > (SMALL_ROWS - 40) * (SMALL_COLS - 80) * 9 / 10);
}

typedef void (*Function)(void);

/* One line for each name of the list of exported names, made when the build is configured. */
static const Function s_functions[] = {
#include "functions.inc"
};

int main(void)
{
    KestrovaContext context;
    const char* name;
    size_t i;
    for (i = 0; i < sizeof(s_functions) / sizeof(s_functions[0]); ++i) {
        CHECK(s_functions[i] != NULL);
    }
    /* The path of the shared object is looked up for a program that writes to the exported variable, for no other. */
    CHECK(strcmp(kestrovaGetDynamicLibPath(), "<unavailable>") == 0 && g_pszDynamicLibPath != NULL);
    g_pszDynamicLibPath = "";
    name = strrchr(kestrovaGetDynamicLibPath(), '/');
    CHECK(name != NULL && strcmp(name + 1, "libkestrova.so.3") == 0);
    CHECK(kestrovaGetDynamicLibPath() == g_pszDynamicLibPath);
    CHECK(sizeof(KestrovaError) == 4 && sizeof(KestrovaCamera) == 4 && sizeof(KestrovaInput) == 64);
    CHECK_OK(kestrovaGetDefaultContextFromMemory(&context, s_smallCalibration));
    runSmallFrame(context);
    CHECK_OK(kestrovaDestroyContext(context));
    return 0;
}
