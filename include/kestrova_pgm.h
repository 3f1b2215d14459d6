/**
 * @file kestrova_pgm.h
 * The two PGM readers that kestrovaReadImageExtra and kestrovaReadImage16Extra call: libkestrova_pgm.so.3.
 *
 * libkestrova.so.3 brings this library along. Include this header only to call the readers, or to put a pair of your
 * own in front: a program, or a library that is loaded earlier, that defines both functions is asked instead.
 */
#ifndef KESTROVA_PGM_H
#define KESTROVA_PGM_H

#include <stdbool.h>

#if defined(__GNUC__)
#define KESTROVA_PGM_API __attribute__((visibility("default")))
#else
#define KESTROVA_PGM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum
{
    KESTROVA_PGM_COMMENT_SIZE = 2048 /**< bytes that a comment may take, its closing zero included */
};

/**
 * Reads a binary PGM file (P5) of 8-bit samples.
 *
 * @param path     of the file
 * @param comment  room for KESTROVA_PGM_COMMENT_SIZE bytes: receives the comment lines of the header in order, each
 *                 without its leading "#" and with a line feed at its end, and a closing zero
 * @param rows, cols  receive the size
 * @param pixels   receives a block of rows * cols samples without gaps, to be released with free()
 * @return false, and nothing written, when the file cannot be opened, is not of this kind, has no rows or columns, is
 *         shorter than its header says, or has comments that do not fit; also when memory does not suffice.
 *
 * What stands behind the pixels is not looked at.
 */
KESTROVA_PGM_API bool pgm8Read(const char* path, char* comment, int* rows, int* cols, unsigned char** pixels);

/** As pgm8Read, for a file of 16-bit samples (a maximum value above 255) with the low byte first. */
KESTROVA_PGM_API bool pgm16Read(const char* path, char* comment, int* rows, int* cols, unsigned short** pixels);

#ifdef __cplusplus
}
#endif

#endif
