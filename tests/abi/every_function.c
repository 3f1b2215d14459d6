/* Calls every function of the header from a program that knows nothing else, as C11 and (by every_function.cpp) as
   C++17. check_exports.sh sees to it that none is missing. */
#include "kestrova.h"

#include "smallSet.h"

typedef KestrovaError (*SetInt)(KestrovaContext, int);
typedef KestrovaError (*GetInt)(KestrovaContext, int*);
typedef KestrovaError (*GetByte)(KestrovaContext, uint8_t*);
typedef KestrovaError (*SetFloat)(KestrovaContext, float);
typedef KestrovaError (*GetFloat)(KestrovaContext, float*);

#define COUNT(array) ((int)(sizeof(array) / sizeof((array)[0])))

/* Each pair sets a value that no other pair has, and all are read back at the end: no two share a field. */
static void checkNumbers(KestrovaContext context)
{
    static const struct
    {
        SetInt set;
        GetInt get;
        int value;
    } ints[] = {
        {kestrovaSetEdgeMask, kestrovaGetEdgeMask, 9},
        {kestrovaSetStereoMask, kestrovaGetStereoMask, 13},
        {kestrovaSetAnyStereoMask, kestrovaGetStereoMask, 12},
        {kestrovaSetSurfaceValidationSize, kestrovaGetSurfaceValidationSize, 77},
        {kestrovaSetMaxThreadCount, kestrovaGetMaxThreadCount, 3},
    };
    static const struct
    {
        SetInt set;
        GetByte get;
    } bytes[] = {
        {kestrovaSetTextureValidationMapping, kestrovaGetTextureValidationMapping},
        {kestrovaSetUniquenessValidationMapping, kestrovaGetUniquenessValidationMapping},
        {kestrovaSetBackForthValidationMapping, kestrovaGetBackForthValidationMapping},
        {kestrovaSetSurfaceValidationMapping, kestrovaGetSurfaceValidationMapping},
        {kestrovaSetSubpixelValidationMapping, kestrovaGetSubpixelValidationMapping},
    };
    static const struct
    {
        SetFloat set;
        GetFloat get;
    } floats[] = {
        {kestrovaSetTextureValidationThreshold, kestrovaGetTextureValidationThreshold},
        {kestrovaSetUniquenessValidationThreshold, kestrovaGetUniquenessValidationThreshold},
        {kestrovaSetSurfaceValidationDifference, kestrovaGetSurfaceValidationDifference},
    };
    int i, number;
    uint8_t byte;
    float real;
    for (i = 0; i < COUNT(ints); ++i) {
        CHECK_OK(ints[i].set(context, ints[i].value));
        CHECK(ints[i].get(context, &number) == KestrovaErrorOk && number == ints[i].value);
    }
    CHECK(kestrovaSetEdgeMask(context, 8) == KestrovaErrorInvalidSetting);
    CHECK(kestrovaGetEdgeMask(context, &number) == KestrovaErrorOk && number == 9);
    for (i = 0; i < COUNT(bytes); ++i) {
        CHECK_OK(bytes[i].set(context, 0x1f8 + i));
    }
    for (i = 0; i < COUNT(floats); ++i) {
        CHECK_OK(floats[i].set(context, 0.25f * (float)(i + 1)));
    }
    for (i = 0; i < COUNT(bytes); ++i) {
        CHECK(bytes[i].get(context, &byte) == KestrovaErrorOk && byte == 0xf8 + i);
    }
    for (i = 0; i < COUNT(floats); ++i) {
        CHECK(floats[i].get(context, &real) == KestrovaErrorOk && real == 0.25f * (float)(i + 1));
    }
}

static void checkSwitches(KestrovaContext context)
{
    static const struct
    {
        SetInt set;
        GetInt get;
    } switches[] = {
        {kestrovaSetEdgeCorrelation, kestrovaGetEdgeCorrelation},
        {kestrovaSetDoStereo, kestrovaGetDoStereo},
        {kestrovaSetSubpixelInterpolation, kestrovaGetSubpixelInterpolation},
        {kestrovaSetDisparityMappingOn, kestrovaGetDisparityMappingOn},
        {kestrovaSetLowpass, kestrovaGetLowpass},
        {kestrovaSetRectify, kestrovaGetRectify},
        {kestrovaSetTextureValidation, kestrovaGetTextureValidation},
        {kestrovaSetUniquenessValidation, kestrovaGetUniquenessValidation},
        {kestrovaSetBackForthValidation, kestrovaGetBackForthValidation},
        {kestrovaSetSurfaceValidation, kestrovaGetSurfaceValidation},
        {kestrovaSetStrictSubpixelValidation, kestrovaGetStrictSubpixelValidation},
    };
    int one, i, on;
    for (one = 0; one < COUNT(switches); ++one) {
        for (i = 0; i < COUNT(switches); ++i) {
            CHECK_OK(switches[i].set(context, i == one ? 5 : 0));
        }
        for (i = 0; i < COUNT(switches); ++i) {
            CHECK(switches[i].get(context, &on) == KestrovaErrorOk && on == (i == one));
        }
    }
}

static void checkPairs(KestrovaContext context)
{
    int a, b;
    uint8_t low, high;
    double x, y;
    KestrovaROI* rois;
    KestrovaRectImgQuality quality;
    KestrovaStereoQuality stereoQuality;
    KestrovaCameraConfiguration configuration;
    CHECK_OK(kestrovaSetResolutionAndPrepare(context, 120, 160, 240, 320));
    CHECK(kestrovaGetSourceResolution(context, &a, &b) == KestrovaErrorOk && a == 240 && b == 320);
    CHECK_OK(kestrovaSetSourceResolution(context, 480, 640));
    CHECK_OK(kestrovaSetResolution(context, 960, 1280));
    CHECK(kestrovaGetSourceResolution(context, &a, &b) == KestrovaErrorOk && a == 480 && b == 640);
    CHECK(kestrovaGetResolution(context, &a, &b) == KestrovaErrorOk && a == 960 && b == 1280);
    CHECK_OK(kestrovaSetDisparity(context, 10, 250));
    CHECK(kestrovaGetDisparity(context, &a, &b) == KestrovaErrorOk && a == 10 && b == 250);
    CHECK(kestrovaGetDisparityOffset(context, &a) == KestrovaErrorOk && a == 10);
    CHECK_OK(kestrovaSetDisparityMapping(context, 20, 200));
    CHECK(kestrovaGetDisparityMapping(context, &low, &high) == KestrovaErrorOk && low == 20 && high == 200);
    CHECK_OK(kestrovaSetRectImgQuality(context, KestrovaRectFast));
    CHECK(kestrovaGetRectImgQuality(context, &quality) == KestrovaErrorOk && quality == KestrovaRectFast);
    CHECK_OK(kestrovaSetStereoQuality(context, KestrovaStereoEnhanced));
    CHECK(kestrovaGetStereoQuality(context, &stereoQuality) == KestrovaErrorOk && stereoQuality == 1);
    CHECK(kestrovaGetROIs(context, &rois, &a) == KestrovaErrorOk && a == 100);
    rois[99].m_nCols = 1;
    CHECK_OK(kestrovaSetNumberOfROIs(context, 100));
    CHECK(kestrovaSetNumberOfROIs(context, 101) == KestrovaErrorInvalidSetting);
    CHECK_OK(kestrovaSetRectAdjustment(context, KestrovaCamLeft, 0.25, -0.5));
    CHECK_OK(kestrovaSetRawAdjustment(context, KestrovaCamLeft, -0.125, 1.0));
    CHECK(kestrovaGetRectAdjustment(context, KestrovaCamLeft, &x, &y) == KestrovaErrorOk && x == 0.25 && y == -0.5);
    CHECK(kestrovaGetRawAdjustment(context, KestrovaCamLeft, &x, &y) == KestrovaErrorOk && x == -0.125 && y == 1.0);
    CHECK(kestrovaGetRawAdjustment(context, KestrovaCamTop, &x, &y) == KestrovaErrorInvalidCamera && y == 1.0);
    CHECK_OK(kestrovaSetCameraConfiguration(context, KestrovaCfg2CameraHorizontal));
    CHECK(kestrovaSetCameraConfiguration(context, KestrovaCfg2CameraWide) == KestrovaErrorInvalidRequest);
    CHECK_OK(kestrovaGetCameraConfiguration(context, &configuration));
    CHECK(configuration == KestrovaCfg2CameraHorizontal);
    CHECK_OK(kestrovaGetDeviceConfiguration(context, &configuration));
    CHECK(configuration == KestrovaCfg2CameraHorizontal);
}

static void checkImages(KestrovaContext context)
{
    static unsigned char pixels[SMALL_ROWS * SMALL_COLS];
    static unsigned short pixels16[SMALL_ROWS * SMALL_COLS];
    KestrovaImage image;
    KestrovaImage16 image16;
    KestrovaInput input;
    CHECK_OK(kestrovaSetImageBuffer(context, pixels, KestrovaImgRectified, KestrovaCamLeft));
    CHECK_OK(kestrovaSetImage16Buffer(context, pixels16, KestrovaImg16Disparity, KestrovaCamRight));
    runSmallFrame(context);
    CHECK_OK(kestrovaGetImage(context, KestrovaImgRectified, KestrovaCamLeft, &image));
    CHECK(image.data == pixels && image.nrows == SMALL_ROWS && image.ncols == SMALL_COLS && image.rowinc == SMALL_COLS);
    CHECK_OK(kestrovaGetImage16(context, KestrovaImg16Disparity, KestrovaCamReference, &image16));
    CHECK(image16.data == pixels16 && image16.rowinc == 2 * SMALL_COLS);
    CHECK(kestrovaGetImage(context, KestrovaImgDisparity, KestrovaCamRight, &image) == KestrovaErrorInvalidRequest);
    CHECK_OK(kestrovaUnsetImageBuffer(context, KestrovaImgRectified, KestrovaCamLeft));
    CHECK_OK(kestrovaUnsetImage16Buffer(context, KestrovaImg16Disparity, KestrovaCamRight));
    CHECK_OK(kestrovaGetImage(context, KestrovaImgRectified, KestrovaCamLeft, &image));
    CHECK(image.data != pixels && image.data != NULL);
    CHECK_OK(kestrovaBuildPackedKestrovaInput(SMALL_COLS, SMALL_ROWS, SMALL_COLS, 0, 0, pixels, &input));
    CHECK(kestrovaRectify(context, &input) == KestrovaErrorInvalidSetting); /* rowinc is too small for packed pixels */
    input.inputType = 0;
    CHECK(kestrovaDestroyInput(&input) == KestrovaErrorInvalidParameter);
}

static void checkPoints(KestrovaContext context)
{
    float base, focal, row, col, disp, x, y, z;
    CHECK(kestrovaGetBaseline(context, &base) == KestrovaErrorOk && base == 0.125f);
    CHECK(kestrovaGetFocalLength(context, &focal) == KestrovaErrorOk && focal > 0);
    CHECK(kestrovaGetImageCenter(context, &row, &col) == KestrovaErrorOk && row == 119.5f && col == 159.5f);
    CHECK(kestrovaRCDFloatToXYZ(context, row, col + 8, 8, &x, &y, &z) == KestrovaErrorOk && x == base && y == 0);
    CHECK(z == focal * (base / 8));
    CHECK(kestrovaXYZToRCD(context, x, y, z, &row, &col, &disp) == KestrovaErrorOk && disp == 8 && col == 167.5f);
    CHECK(kestrovaRCDToXYZ(context, row, col, 8, &x, &y, &z) == KestrovaErrorOk && x == base);
    CHECK(kestrovaRCDMappedToXYZ(context, 0, 0, 8, &x, &y, &z) == KestrovaErrorOk && z == focal * (base / 8));
    CHECK(kestrovaRCD8ToXYZ(context, 0, 0, 8, &x, &y, &z) == KestrovaErrorOk && z == focal * (base / 8));
    CHECK(kestrovaRCD16ToXYZ(context, 0, 0, 8 << 8, &x, &y, &z) == KestrovaErrorOk && z == focal * (base / 8));
}

/* With identity maps a frame of packed pixels comes back, and a pixel stays where it is. */
static void checkColour(KestrovaContext context)
{
    static unsigned char planes[3][SMALL_ROWS * SMALL_COLS];
    static Pixel8x4 pixels[SMALL_ROWS * SMALL_COLS], buffer[SMALL_ROWS * SMALL_COLS];
    const int at = 50 * SMALL_COLS + 60;
    KestrovaColorImage colour;
    KestrovaPackedColorImage packed;
    KestrovaInput input;
    float row, col;
    int i;
    for (i = 0; i < SMALL_ROWS * SMALL_COLS; ++i) {
        pixels[i].m_ucRed = 10;
        pixels[i].m_ucGreen = 20;
        pixels[i].m_ucBlue = 30;
    }
    CHECK_OK(kestrovaSetColorImageBuffer(context, KestrovaCamLeft, planes[0], planes[1], planes[2]));
    CHECK_OK(kestrovaSetPackedColorImageBuffer(context, KestrovaCamLeft, buffer));
    CHECK_OK(kestrovaBuildPackedKestrovaInput(SMALL_COLS, SMALL_ROWS, 4 * SMALL_COLS, 0, 0, pixels, &input));
    CHECK_OK(kestrovaRectifyColorImage(context, KestrovaCamLeft, &input, &colour));
    CHECK(colour.red == planes[0] && colour.green == planes[1] && colour.blue == planes[2]);
    CHECK(colour.rowinc == SMALL_COLS && colour.red[at] == 10 && colour.green[at] == 20 && colour.blue[at] == 30);
    CHECK_OK(kestrovaRectifyPackedColorImage(context, KestrovaCamLeft, &input, &packed));
    CHECK(packed.data == buffer && packed.rowinc == 4 * SMALL_COLS && packed.nrows == SMALL_ROWS);
    CHECK(packed.data[at].m_ucRed == 10 && packed.data[at].m_ucGreen == 20 && packed.data[at].m_ucBlue == 30);
    CHECK_OK(kestrovaUnsetColorImageBuffer(context, KestrovaCamLeft));
    CHECK_OK(kestrovaUnsetPackedColorImageBuffer(context, KestrovaCamLeft));
    CHECK_OK(kestrovaRectifyPixel(context, KestrovaCamLeft, &row, &col, 50, 60));
    CHECK(row > 49.99f && row < 50.01f && col > 59.99f && col < 60.01f);
    CHECK_OK(kestrovaUnrectifyPixel(context, KestrovaCamLeft, &row, &col, 70, 80));
    CHECK(row > 69.99f && row < 70.01f && col > 79.99f && col < 80.01f);
}

/* A world that is the camera frame moved by (1, 2, 3). */
static void checkWorld(KestrovaContext context)
{
    const KestrovaTransform moved = {{{1, 0, 0, 1}, {0, 1, 0, 2}, {0, 0, 1, 3}, {0, 0, 0, 1}}};
    const float focal = 320, z = focal * (0.125f / 8) + 3; /* focal length 1 of 320 columns */
    KestrovaTransform got;
    float row, col, disp, p[3];
    CHECK_OK(kestrovaSetKestrovaToWorldTransform(context, moved));
    CHECK_OK(kestrovaGetKestrovaToWorldTransform(context, &got));
    CHECK(memcmp(&got, &moved, sizeof got) == 0 && sizeof got == 128);
    CHECK(kestrovaRCDFloatToWorldXYZ(context, 119.5f, 159.5f, 8, p, p + 1, p + 2) == KestrovaErrorOk && p[2] == z);
    CHECK(p[0] == 1 && p[1] == 2);
    CHECK(kestrovaWorldXYZToRCD(context, 1, 2, p[2], &row, &col, &disp) == KestrovaErrorOk && disp == 8);
    CHECK(row == 119.5f && col == 159.5f);
    CHECK(kestrovaRCDToWorldXYZ(context, 0, 0, 8, p, p + 1, p + 2) == KestrovaErrorOk && p[2] == z);
    CHECK(kestrovaRCDMappedToWorldXYZ(context, 0, 0, 8, p, p + 1, p + 2) == KestrovaErrorOk && p[2] == z);
    CHECK(kestrovaRCD8ToWorldXYZ(context, 0, 0, 8, p, p + 1, p + 2) == KestrovaErrorOk && p[2] == z);
    CHECK(kestrovaRCD16ToWorldXYZ(context, 0, 0, 8 << 8, p, p + 1, p + 2) == KestrovaErrorOk && p[2] == z);
    CHECK(kestrovaGetTransformFromFile("/no such file", &got) == KestrovaErrorTransformFileCorrupt);
    CHECK(kestrovaWriteTransformToFile("/no such/file", &moved) == KestrovaErrorTransformFileCorrupt);
}

int main(void)
{
    KestrovaContext context, copy;
    int serial;
    CHECK(strcmp(kestrovaVersion(), "Kestrova Stereo Vision SDK 3.4 Alpha 2") == 0);
    CHECK(kestrovaGetVersionMajor() == 3 && kestrovaGetVersionMinor() == 4);
    CHECK(kestrovaGetVersionReleaseType() == 0 && kestrovaGetVersionReleaseNumber() == 2);
    CHECK(strcmp(kestrovaErrorToString(KestrovaErrorInvalidROI), "Invalid region of interest") == 0);
    CHECK(strcmp(kestrovaGetDynamicLibPath(), "<unavailable>") == 0 && g_pszDynamicLibPath != NULL);
    CHECK(sizeof(KestrovaError) == 4 && sizeof(KestrovaCamera) == 4 && sizeof(KestrovaInput) == 64);
    kestrovaEnableMMXIfAvailable(true);
    kestrovaEnableSSEIfAvailable(true);
    kestrovaEnableSSE2IfAvailable(true);

    CHECK(kestrovaGetDefaultContextFromFile(&context, "/no such file") == KestrovaErrorNoConfigFile && context == NULL);
    CHECK_OK(kestrovaGetDefaultContextFromMemory(&context, smallCalibration()));
    CHECK(kestrovaGetSerialNumber(context, &serial) == KestrovaErrorOk && serial == 4711);
    CHECK_OK(kestrovaCopyContext(context, &copy));
    checkNumbers(copy);
    checkSwitches(copy);
    checkPairs(copy);
    CHECK_OK(kestrovaDestroyContext(copy));

    CHECK_OK(kestrovaSetRectAdjustment(context, KestrovaCamLeft, 0, 0)); /* cameras are shared with the copy */
    CHECK_OK(kestrovaSetRawAdjustment(context, KestrovaCamLeft, 0, 0));
    checkImages(context);
    checkPoints(context);
    checkColour(context);
    checkWorld(context);
    CHECK_OK(kestrovaDestroyContext(context));
    return 0;
}
