// Reads the record of an image back from the comment of its file.
#pragma once

#include "kestrova.h"

namespace kestrova {

/**
 * Takes a comment apart in place: lines without "#", as pgm8Read gives them.
 *
 * Fields whose lines are absent keep what they held, but for the disparity offset and the switch of the disparity
 * mapping, which become 0 and off. Order does not matter; of two lines with one key the later stands. Numbers are not
 * tested: what is none reads as 0, and a switch that is neither "On" nor "Off" as off, with a line on standard output.
 *
 * @return KestrovaErrorOk, with hasComment false and nothing else changed when the first line is not our marker;
 *         KestrovaErrorImageComment when a part is missing, a key or word is unknown, or the product word does not fit;
 *         the record holds what came before.
 */
[[nodiscard]] KestrovaError parseImageInfo(char* pszComment, KestrovaImageInfo* pInfo);

/**
 * The image and comment of an 8-bit file by pgm8Read; the comment's buffer has sk_nCommentSize bytes. False, and the
 * record left alone, when that fails.
 */
[[nodiscard]] bool pgmReadToKestrovaImageWithComment(const char* pszPath, KestrovaImage* pImage, char* pszComment);
/** As above, by pgm16Read. The row distance is the number of columns here too, though it counts bytes elsewhere. */
[[nodiscard]] bool pgmReadToKestrovaImage16WithComment(const char* pszPath, KestrovaImage16* pImage, char* pszComment);

} // namespace kestrova
