// Writes the comment of an image file: what the image is, and the settings under which it was made.
//
// Values come from the settings that the context saved when preprocessing and stereo started, never from those in force
// now. Every line begins with "# " and ends with a line feed.
#pragma once

#include "context/StereoProduct.h"
#include "imageio/commentItems.h"
#include "kestrova.h"

#include <string>

namespace kestrova {

class StereoContext;

/** Appends the line of an item, unless the saved settings make it meaningless. No item above the last does anything. */
void addToImageComment(const StereoContext& rContext, KestrovaCommentType eItem, std::string& rComment);

/**
 * Marker, product and serial number. False, with those two lines written, for a camera that comments have no name for:
 * the colour camera and what is none at all.
 *
 * @param rszCameraName  the camera's word. The reference camera is called "Right" by our decision, so that a file says
 *                       which camera to look for on the device
 */
[[nodiscard]] bool startPgmComment(StereoProduct eProduct, int nSerial, KestrovaCamera eCamera,
                                   const char*& rszCameraName, std::string& rComment);

/** The comment of an 8-bit image; KestrovaErrorInvalidParameter as startPgmComment, or for an unknown type. */
[[nodiscard]] KestrovaError generatePgmComment(const StereoContext& rContext, KestrovaImageType eType,
                                               KestrovaCamera eCamera, std::string& rComment);

/** The comment of a 16-bit image, which says "Image" where the other says "image". It has no disparity mapping. */
[[nodiscard]] KestrovaError generatePgm16Comment(const StereoContext& rContext, KestrovaImage16Type eType,
                                                 KestrovaCamera eCamera, std::string& rComment);

} // namespace kestrova
