/* Distance at the middle of the right image.
 *
 * usage: depth calibration.txt right.pgm left.pgm      (binary PGM, 8 bits, both of one size)
 */
#include <kestrova.h>

#include <stdio.h>
#include <stdlib.h>

static unsigned char* read_pgm(const char* path, int* cols, int* rows)
{
    FILE* file = fopen(path, "rb");
    unsigned char* pixels = NULL;
    if (file && fscanf(file, "P5 %d %d 255", cols, rows) == 2 && *cols > 0 && *rows > 0 && *cols < 10000 &&
        *rows < 10000) {
        const size_t size = (size_t)*cols * (size_t)*rows;
        fgetc(file); /* one blank ends the header */
        pixels = malloc(size);
        if (pixels && fread(pixels, 1, size, file) != size) {
            free(pixels);
            pixels = NULL;
        }
    }
    if (file)
        fclose(file);
    return pixels;
}

static int print_depth(KestrovaContext context, KestrovaInput* input)
{
    KestrovaImage16 disparity;
    float x, y, z;
    KestrovaError error = kestrovaPreprocess(context, input);
    if (error == KestrovaErrorOk)
        error = kestrovaStereo(context);
    if (error == KestrovaErrorOk)
        error = kestrovaGetImage16(context, KestrovaImg16Disparity, KestrovaCamReference, &disparity);
    if (error != KestrovaErrorOk) {
        fprintf(stderr, "%s\n", kestrovaErrorToString(error));
        return 1;
    }
    const int row = disparity.nrows / 2, col = disparity.ncols / 2;
    const uint16_t value = disparity.data[row * (disparity.rowinc / 2) + col]; /* rowinc counts bytes */
    if (value >= 0xFF00 || kestrovaRCD16ToXYZ(context, row, col, value, &x, &y, &z) != KestrovaErrorOk)
        printf("no distance at row %d, column %d (value 0x%04X)\n", row, col, value);
    else
        printf("row %d, column %d: %.3f m away\n", row, col, z);
    return 0;
}

int main(int argc, char** argv)
{
    int cols = 0, rows = 0, left_cols = 0, left_rows = 0, status = 1;
    KestrovaContext context = NULL;
    KestrovaInput input;
    unsigned char* right = argc == 4 ? read_pgm(argv[2], &cols, &rows) : NULL;
    unsigned char* left = right ? read_pgm(argv[3], &left_cols, &left_rows) : NULL;
    if (!left || cols != left_cols || rows != left_rows)
        fprintf(stderr, "usage: depth calibration.txt right.pgm left.pgm (one size, 8 bits)\n");
    else if (kestrovaGetDefaultContextFromFile(&context, argv[1]) != KestrovaErrorOk)
        fprintf(stderr, "%s: not a calibration\n", argv[1]);
    else {
        /* Each plane carries the camera with its CHANNEL: red the right one, green the left one in most calibrations.
         */
        kestrovaBuildRGBKestrovaInput(cols, rows, cols, 0, 0, right, left, left, &input);
        status = print_depth(context, &input);
        kestrovaDestroyContext(context);
    }
    free(left);
    free(right);
    return status;
}
