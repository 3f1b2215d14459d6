/* Links every function of the headers and runs one frame from a program that knows nothing else, as C11 and (by
   every_function.cpp) as C++17. check_exports.sh sees to it that none is missing. */
#define KESTROVA_NUMERICS
#include "kestrova.h"

#include "smallSet.h"

typedef void (*Function)(void);

/* One line for each name of the list of exported names, made when the build is configured. */
static const Function s_functions[] = {
#include "functions.inc"
};

int main(void)
{
    KestrovaContext context;
    float base, focal, row, col, disp, x, y, z;
    size_t i;
    for (i = 0; i < sizeof(s_functions) / sizeof(s_functions[0]); ++i) {
        CHECK(s_functions[i] != NULL);
    }
    CHECK(strcmp(kestrovaVersion(), "Kestrova Stereo Vision SDK 3.4 Alpha 2") == 0);
    CHECK(strcmp(kestrovaGetDynamicLibPath(), "<unavailable>") == 0 && g_pszDynamicLibPath != NULL);
    CHECK(sizeof(KestrovaError) == 4 && sizeof(KestrovaCamera) == 4 && sizeof(KestrovaInput) == 64);
    CHECK_OK(kestrovaGetDefaultContextFromMemory(&context, s_smallCalibration));
    runSmallFrame(context);
    CHECK(kestrovaGetBaseline(context, &base) == KestrovaErrorOk && base == 0.125f);
    CHECK(kestrovaGetFocalLength(context, &focal) == KestrovaErrorOk && focal == 240);
    CHECK(kestrovaGetImageCenter(context, &row, &col) == KestrovaErrorOk && row == 119.5f && col == 159.5f);
    CHECK(kestrovaRCDFloatToXYZ(context, row, col + 8, 8, &x, &y, &z) == KestrovaErrorOk && x == base && y == 0);
    CHECK(z == focal * (base / 8));
    CHECK(kestrovaXYZToRCD(context, x, y, z, &row, &col, &disp) == KestrovaErrorOk && disp == 8 && col == 167.5f);
    CHECK_OK(kestrovaDestroyContext(context));
    return 0;
}
