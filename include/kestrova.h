/**
 * @file kestrova.h
 * Stereo vision for a calibrated set of two or three cameras: the one public header of libkestrova.so.3.
 *
 * A program loads a calibration text, hands over one raw frame at a time and gets back rectified images, edge images,
 * validated disparity in 8 and 16 bits, and points in metres. The header compiles as C11 and as C++17.
 *
 * What to know before the first call
 * - The RIGHT camera is the reference. Disparity d at column x of the right rectified image matches column x + d of the
 *   left one. Most other systems measure from the left image.
 * - 16-bit disparity is in 1/256 pixel and counts from the disparity offset (0 for ranges that end at 240 or below).
 *   A value of 0xFF00 and above is invalid; its low byte names the reason.
 * - Points are metres if the baseline of the calibration is: x to the right, y down, z forward from the reference camera.
 * - Pixel (row, column) has its centre at whole numbers. Rows come before columns, unless a function says otherwise.
 * - Rectified images are 4 by 3.
 *
 * Errors: functions return a KestrovaError and put results through pointers. An output that a failing function would
 * have filled stays as it was. No function prints, and none throws on a bad argument; only a failed allocation travels
 * as the allocator's exception.
 *
 * Threads: one thread at a time per KestrovaContext. Different contexts are independent, apart from the three
 * processor switches, which hold for the whole process.
 */
#ifndef KESTROVA_H
#define KESTROVA_H

#include <stdbool.h>
#include <stdint.h>

#if defined(__GNUC__)
#define KESTROVA_API __attribute__((visibility("default")))
#else
#define KESTROVA_API
#endif

/* Every enumeration is 32 bits wide. C++ fixes the type, so that a value from outside the list can be passed and refused. */
#ifdef __cplusplus
#define KESTROVA_ENUM(name) enum name : int32_t
#define KESTROVA_ENUM_TYPE(name)
#else
#define KESTROVA_ENUM(name) enum name
#define KESTROVA_ENUM_TYPE(name) typedef enum name name;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- errors ---------------------------------------------------------------------------------------------------- */

/** What a function reports. kestrovaErrorToString gives the text. */
KESTROVA_ENUM(KestrovaError){
    KestrovaErrorOk = 0,                         /**< done */
    KestrovaErrorNotImplemented = 1,             /**< no correlator for this camera configuration */
    KestrovaErrorInvalidSetting = 2,             /**< a value out of its range, or a bad KestrovaInput */
    KestrovaErrorInvalidContext = 3,             /**< a handle without an active context */
    KestrovaErrorInvalidCamera = 4,              /**< a camera that the product does not have */
    KestrovaErrorInvalidROI = 5,                 /**< a region that leaves no pixel to correlate */
    KestrovaErrorInvalidRequest = 6,             /**< a request that the present state cannot satisfy */
    KestrovaErrorConflictingOptions = 7,         /**< some, but not all, of three plane pointers */
    KestrovaErrorConfigFileCorrupt = 8,          /**< a calibration that cannot be parsed */
    KestrovaErrorNoConfigFile = 9,               /**< a calibration file that cannot be opened */
    KestrovaErrorUnknown = 10,                   /**< a state that has no path, such as a camera without maps */
    KestrovaErrorNoMMX = 11,                     /**< never returned by this version */
    KestrovaErrorInvalidParameter = 12,          /**< a null pointer or bad argument, where it is tested */
    KestrovaErrorSurfaceValidationOverflow = 13, /**< surface validation failed */
    KestrovaErrorTransformFileCorrupt = 14,      /**< a transform file that cannot be read or written */
    KestrovaErrorSystem = 15,                    /**< the system refused, such as a file that cannot be opened for writing */
    KestrovaErrorImageFileRead = 16,             /**< an image file that cannot be read back */
    KestrovaErrorImageComment = 17               /**< an image comment that cannot be parsed */
};
KESTROVA_ENUM_TYPE(KestrovaError)

/* ---- selectors ------------------------------------------------------------------------------------------------- */

/** Names a camera of the set. Right and reference are the same camera. */
KESTROVA_ENUM(KestrovaCamera){
    KestrovaCamReference = 0, /**< the camera that disparity is measured in: the right one */
    KestrovaCamRight = 1,     /**< the right camera */
    KestrovaCamTop = 2,       /**< the top camera of an L or vertical set */
    KestrovaCamLeft = 3,      /**< the left camera of an L or horizontal set */
    KestrovaCamColor = 4      /**< the additional colour camera, where the calibration has one */
};
KESTROVA_ENUM_TYPE(KestrovaCamera)

/** The 8-bit images of a context. */
KESTROVA_ENUM(KestrovaImageType){
    KestrovaImgDisparity = 0, /**< 8-bit disparity, one per context; the camera must be the reference */
    KestrovaImgRaw = 1,       /**< a camera's image as it arrived */
    KestrovaImgRectified = 2, /**< a camera's rectified image */
    KestrovaImgEdge = 3,      /**< a camera's edge image, around the grey level 128 */
    KestrovaImgPacked = 4     /**< packed colour; refused where an 8-bit image is asked for */
};
KESTROVA_ENUM_TYPE(KestrovaImageType)

/** The 16-bit images of a context. */
KESTROVA_ENUM(KestrovaImage16Type){
    KestrovaImg16Disparity = 0 /**< subpixel disparity in 1/256 pixel */
};
KESTROVA_ENUM_TYPE(KestrovaImage16Type)

/** Which cameras are correlated. */
KESTROVA_ENUM(KestrovaCameraConfiguration){
    KestrovaCfg3CameraL = 0,          /**< three cameras in an L: right, top, left */
    KestrovaCfg2CameraHorizontal = 1, /**< right and left, baseline below 0.15 */
    KestrovaCfg2CameraVertical = 2,   /**< right and top */
    KestrovaCfg2CameraWide = 3        /**< right and left, baseline above 0.15 */
};
KESTROVA_ENUM_TYPE(KestrovaCameraConfiguration)

/** How much care the resampling of rectification takes. */
KESTROVA_ENUM(KestrovaRectImgQuality){
    KestrovaRectFast = 0,      /**< nearest pixel */
    KestrovaRectStandard = 1,  /**< bilinear (default) */
    KestrovaRectEnhanced1 = 2, /**< windowed sinc, 3 */
    KestrovaRectEnhanced2 = 3  /**< windowed sinc, 5 */
};
KESTROVA_ENUM_TYPE(KestrovaRectImgQuality)

/** How much care correlation takes. */
KESTROVA_ENUM(KestrovaStereoQuality){
    KestrovaStereoStandard = 0, /**< one pass */
    KestrovaStereoEnhanced = 1  /**< two passes, half a pixel apart, averaged */
};
KESTROVA_ENUM_TYPE(KestrovaStereoQuality)

/** How a KestrovaInput carries its frame. */
KESTROVA_ENUM(KestrovaInputType){
    KestrovaInputPacked = 1, /**< one plane of 32-bit pixels */
    KestrovaInputRGB = 2     /**< three planes of 8-bit pixels */
};
KESTROVA_ENUM_TYPE(KestrovaInputType)

/* ---- records --------------------------------------------------------------------------------------------------- */

/** The handle: one camera set with its settings, images and worker threads. */
typedef struct KestrovaContextHandle* KestrovaContext;

/** Four 8-bit lanes in memory order: blue, green, red and one more, which reads as 0 from files. */
typedef struct Pixel8x4
{
    uint8_t m_ucBlue;
    uint8_t m_ucGreen;
    uint8_t m_ucRed;
    uint8_t m_ucFourth;
} Pixel8x4;

/** A view of an 8-bit image of a context. */
typedef struct KestrovaImage
{
    int32_t nrows;  /**< rows */
    int32_t ncols;  /**< columns */
    int32_t rowinc; /**< bytes between the starts of two rows */
    uint8_t* data;  /**< first pixel, null when empty; owned by the context, valid until the image is replaced */
} KestrovaImage;

/** A view of a 16-bit image of a context. */
typedef struct KestrovaImage16
{
    int32_t nrows;  /**< rows */
    int32_t ncols;  /**< columns */
    int32_t rowinc; /**< BYTES, not pixels, between the starts of two rows */
    uint16_t* data; /**< as in KestrovaImage */
} KestrovaImage16;

/** One raw frame on its way in. Fill it with one of the two build functions. */
typedef struct KestrovaInput
{
    int32_t inputType; /**< a KestrovaInputType; every other value is invalid */
    uint64_t ulTag1;   /**< caller's value; the library does not read it */
    uint64_t ulTag2;   /**< a second one */
    int32_t nrows;     /**< rows of the frame */
    int32_t ncols;     /**< columns of the frame */
    int32_t rowinc;    /**< bytes between row starts: at least ncols for planes, 4 * ncols for packed pixels */
    void* pPlane0;     /**< packed pixels, or the red plane */
    void* pPlane1;     /**< green plane; not set for packed input */
    void* pPlane2;     /**< blue plane; not set for packed input */
} KestrovaInput;

/** A rectangle of the rectified image, in pixels. */
typedef struct KestrovaROI
{
    int32_t m_nRowOffset; /**< first row */
    int32_t m_nColOffset; /**< first column */
    int32_t m_nRows;      /**< height */
    int32_t m_nCols;      /**< width */
} KestrovaROI;

/* ---- version and errors ---------------------------------------------------------------------------------------- */

/**
 * Text of an error code, in English, constant, never null. Codes 10, 16, 17 and every value outside the list give
 * "Unknown Error".
 */
KESTROVA_API const char* kestrovaErrorToString(KestrovaError error);

/**
 * Name and version, such as "Kestrova Stereo Vision SDK 3.4 Alpha 2". The text stands in one static buffer that each
 * call rewrites with the same characters.
 */
KESTROVA_API const char* kestrovaVersion(void);

KESTROVA_API int kestrovaGetVersionMajor(void);         /**< 3 */
KESTROVA_API int kestrovaGetVersionMinor(void);         /**< 4 */
KESTROVA_API int kestrovaGetVersionReleaseType(void);   /**< 0 alpha, 1 beta, 2 release candidate, 3 release */
KESTROVA_API int kestrovaGetVersionReleaseNumber(void); /**< counts within the release type */

/**
 * What kestrovaGetDynamicLibPath returns: "<unavailable>" until a program writes something else here, after which the
 * function looks the path up and stores it.
 */
KESTROVA_API extern const char* g_pszDynamicLibPath;

/** Returns g_pszDynamicLibPath; see there. */
KESTROVA_API const char* kestrovaGetDynamicLibPath(void);

/* ---- input frames ---------------------------------------------------------------------------------------------- */

/**
 * Describes a frame of three 8-bit planes. COLUMNS come before rows here.
 *
 * @param ncols, nrows    size of the frame in pixels
 * @param rowinc          bytes between row starts, the same for all planes; at least ncols
 * @param ulTag1, ulTag2  any values; they travel with the record
 * @param red, green, blue  the planes: one camera each, by the channels of the calibration. Borrowed, not copied: they
 *                        must live until kestrovaPreprocess is done with them, and raw images keep pointing at them
 *                        until the next frame
 * @param input           filled; must not be null
 * @return KestrovaErrorOk, always. kestrovaPreprocess looks at the values.
 */
KESTROVA_API KestrovaError kestrovaBuildRGBKestrovaInput(int ncols, int nrows, int rowinc, uint64_t ulTag1,
                                                         uint64_t ulTag2, void* red, void* green, void* blue,
                                                         KestrovaInput* input);

/**
 * Describes a frame of 32-bit packed pixels (blue, green, red, one more byte) that carries one camera per channel. As
 * kestrovaBuildRGBKestrovaInput, but rowinc is at least 4 * ncols, and planes 1 and 2 stay as they were.
 */
KESTROVA_API KestrovaError kestrovaBuildPackedKestrovaInput(int ncols, int nrows, int rowinc, uint64_t ulTag1,
                                                            uint64_t ulTag2, void* pixels, KestrovaInput* input);

#ifdef __cplusplus
} /* extern "C" */
#endif

/**
 * Releases planes of a frame with free().
 *
 * Packed input: frees plane 0 and leaves the record as it is. Three planes: frees planes 0 and 1, then, when plane 2 is
 * not null, passes plane 1 to free() a SECOND time and leaves plane 2 to the caller, then clears all three pointers. By
 * our decision this pairing stays: for three planes that were allocated one by one set pPlane2 to null first and free
 * that plane yourself.
 *
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidParameter  inputType is neither packed nor RGB, or nrows or ncols is below 1; nothing is freed.
 *
 * This one function is exported under its C++ name.
 */
#ifdef __cplusplus
KESTROVA_API KestrovaError kestrovaDestroyInput(KestrovaInput* input);
#elif defined(__GNUC__)
KESTROVA_API KestrovaError kestrovaDestroyInput(KestrovaInput* input) __asm__("_Z20kestrovaDestroyInputP13KestrovaInput");
#endif

#endif /* KESTROVA_H */
