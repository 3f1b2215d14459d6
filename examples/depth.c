/* Distance at the middle of the right image. usage: depth calibration.txt right.pgm left.pgm (8 bits, of one size) */
#include <kestrova.h>
#include <stdio.h>
#include <stdlib.h>

/* Reads PGM files of any program; 0 for what is none. */
static int read_pgm(const char* path, KestrovaImage* image)
{
    KestrovaImageInfo info; /* of the comment that files of this library carry */
    return kestrovaReadImageExtra(path, image, &info) == KestrovaErrorOk;
}

int main(int argc, char** argv)
{
    KestrovaContext context;
    KestrovaInput input;
    KestrovaImage right, left;
    KestrovaImage16 disparity;
    float x, y, z;
    if (kestrovaGetVersionMajor() != KESTROVA_VERSION_MAJOR)
        return fprintf(stderr, "built for version %d, not for %s\n", KESTROVA_VERSION_MAJOR, kestrovaVersion()), 1;
    if (argc != 4 || !read_pgm(argv[2], &right) || !read_pgm(argv[3], &left) || right.nrows != left.nrows ||
        right.ncols != left.ncols || kestrovaGetDefaultContextFromFile(&context, argv[1]) != KestrovaErrorOk)
        return fprintf(stderr, "usage: depth calibration.txt right.pgm left.pgm (8 bits, of one size)\n"), 1;
    /* The planes are red, green, blue; the calibration's CHANNEL lines say which camera is on which. */
    kestrovaBuildRGBKestrovaInput(right.ncols, right.nrows, right.rowinc, 0, 0, right.data, left.data, left.data,
                                  &input);
    if (kestrovaPreprocess(context, &input) != KestrovaErrorOk || kestrovaStereo(context) != KestrovaErrorOk ||
        kestrovaGetImage16(context, KestrovaImg16Disparity, KestrovaCamReference, &disparity) != KestrovaErrorOk)
        return fprintf(stderr, "no disparity\n"), 1;
    const int row = disparity.nrows / 2, col = disparity.ncols / 2;
    const uint16_t value = disparity.data[row * (disparity.rowinc / 2) + col]; /* rowinc counts bytes */
    if (!KESTROVA_DISPARITY16_IS_INVALID(value) &&
        kestrovaRCD16ToXYZ(context, row, col, value, &x, &y, &z) == KestrovaErrorOk)
        printf("%.3f m\n", z);
    else
        printf("no distance there: the pixel reads 0x%04X\n", value);
    free(right.data);
    free(left.data);
    return kestrovaDestroyContext(context) != KestrovaErrorOk;
}
