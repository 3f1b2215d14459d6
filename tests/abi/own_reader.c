/* A program that defines its own pair of PGM readers is asked instead of the companion. */
#include "kestrova.h"
#include "kestrova_pgm.h"

#include <string.h>

static unsigned char s_pixel = 7;
static unsigned short s_pixel16 = 700;

static bool answer(const char* path, char* comment, int* rows, int* cols)
{
    *rows = 1;
    *cols = 1;
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
    KestrovaImageInfo info;
    if (kestrovaReadImageExtra("mine", &image, &info) != KestrovaErrorOk || image.data != &s_pixel ||
        image.rowinc != 1 || !info.hasComment || strcmp(info.product, "Mine") != 0) {
        return 1;
    }
    if (kestrovaReadImage16Extra("mine", &image16, &info) != KestrovaErrorOk || image16.data != &s_pixel16 ||
        info.camera != KestrovaCamTop || info.imageType != KestrovaImgRaw) {
        return 2;
    }
    return kestrovaReadImageExtra("other", &image, &info) != KestrovaErrorImageFileRead;
}
