/* Distance at the middle of the right image. usage: depth calibration.txt right.pgm left.pgm (640 x 480, 8 bits) */
#include <kestrova.h>
#include <stdio.h>

enum
{
    ROWS = 480,
    COLS = 640
};
static unsigned char right[ROWS * COLS], left[ROWS * COLS];

static int read_pgm(const char* path, unsigned char* plane)
{
    FILE* file = fopen(path, "rb");
    const int done = file && fscanf(file, "P5 640 480 255%*c") == 0 && fread(plane, ROWS * COLS, 1, file) == 1;
    return (file ? fclose(file) : 0) == 0 && done;
}

int main(int argc, char** argv)
{
    KestrovaContext context;
    KestrovaInput input;
    KestrovaImage16 disparity;
    float x, y, z;
    if (argc != 4 || !read_pgm(argv[2], right) || !read_pgm(argv[3], left) ||
        kestrovaGetDefaultContextFromFile(&context, argv[1]) != KestrovaErrorOk)
        return fprintf(stderr, "usage: depth calibration.txt right.pgm left.pgm (640 x 480, 8 bits)\n"), 1;
    /* The planes are red, green, blue; the calibration's CHANNEL lines say which camera is on which. */
    kestrovaBuildRGBKestrovaInput(COLS, ROWS, COLS, 0, 0, right, left, left, &input);
    if (kestrovaPreprocess(context, &input) != KestrovaErrorOk || kestrovaStereo(context) != KestrovaErrorOk ||
        kestrovaGetImage16(context, KestrovaImg16Disparity, KestrovaCamReference, &disparity) != KestrovaErrorOk)
        return fprintf(stderr, "no disparity\n"), 1;
    const int row = disparity.nrows / 2, col = disparity.ncols / 2;
    const uint16_t value = disparity.data[row * (disparity.rowinc / 2) + col]; /* rowinc counts bytes */
    if (value < 0xFF00 && kestrovaRCD16ToXYZ(context, row, col, value, &x, &y, &z) == KestrovaErrorOk)
        printf("%.3f m\n", z);
    else
        printf("no distance there: the pixel reads 0x%04X\n", value);
    return kestrovaDestroyContext(context) != KestrovaErrorOk;
}
