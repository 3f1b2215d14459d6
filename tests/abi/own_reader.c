/* A program that defines its own PGM readers is asked instead of the companion. */
#include "kestrova.h"

#include <string.h>

static unsigned char s_pixel;
static unsigned short s_pixel16;

static bool answer(const char* path, char* comment, int* rows, int* cols)
{
    *rows = *cols = 1;
    strcpy(comment, " LYRComment\n Mine 5\n Raw Top image\n");
    return strcmp(path, "mine") == 0;
}

bool pgm8Read(const char* path, char* comment, int* rows, int* cols, unsigned char** pixels)
{
    *pixels = &s_pixel;
    return answer(path, comment, rows, cols);
}

bool pgm16Read(const char* path, char* comment, int* rows, int* cols, unsigned short** pixels)
{
    *pixels = &s_pixel16;
    return answer(path, comment, rows, cols);
}

int main(void)
{
    KestrovaImage image;
    KestrovaImage16 image16;
    KestrovaImageInfo info, info16;
    const bool read = kestrovaReadImageExtra("mine", &image, &info) == KestrovaErrorOk && image.data == &s_pixel &&
                      strcmp(info.product, "Mine") == 0;
    const bool read16 = kestrovaReadImage16Extra("mine", &image16, &info16) == KestrovaErrorOk &&
                        image16.data == &s_pixel16 && info16.camera == KestrovaCamTop;
    return !read || !read16 || kestrovaReadImageExtra("other", &image, &info) != KestrovaErrorImageFileRead;
}
