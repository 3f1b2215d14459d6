/**
 * @file kestrova.h
 * Stereo vision for a calibrated set of two or three cameras: the public header of libkestrova.so.3.
 *
 * A program loads a calibration text, hands over one raw frame at a time and gets back rectified images, edge images,
 * validated disparity in 8 and 16 bits, and points in metres. The header compiles as C11 and as C++17.
 *
 * What to know before the first call
 * - The RIGHT camera is the reference. Disparity d at column x of the right rectified image matches column x + d of the
 *   left one. Most other systems measure from the left image.
 * - 16-bit disparity is in 1/256 pixel and counts from the disparity offset (0 for ranges that end at 240 or below).
 *   A value of 0xFF00 and above is invalid (KESTROVA_DISPARITY16_IS_INVALID); its low byte names the reason.
 * - Points are metres if the baseline of the calibration is: x to the right, y down, z forward from the reference
 * camera.
 * - Pixel (row, column) has its centre at whole numbers. Rows come before columns, unless a function says otherwise.
 * - Rectified images are 4 by 3.
 *
 * Errors: functions return a KestrovaError and put results through pointers. An output that a failing function would
 * have filled stays as it was. None throws on a bad argument; only a failed allocation travels as the allocator's
 * exception, and leaves the handle fit for further calls (see kestrovaStereo). A null KestrovaContext counts as one
 * without an active context; other pointers must not be null unless a function says what null does.
 *
 * Text: files are read and written as in the C locale, with decimal points, whatever locale the program has chosen.
 * That locale is not touched, not even for a moment, so other threads never notice.
 *
 * Messages: there are none, but for loading: a calibration section that says "Debug on" has what it lacks printed to
 * standard output, and so has kestrovaGetDefaultContextFromMemory a text without a section, and kestrovaReadImageExtra
 * a switch of a record that is neither "On" nor "Off".
 *
 * Threads: one thread at a time per KestrovaContext. Different contexts are independent, unless one was copied from the
 * other (see kestrovaCopyContext), and apart from the three processor switches, which hold for the whole process.
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

/* Every enumeration is 32 bits wide. C++ fixes the type, so that a value from outside the list can be passed and
 * refused. */
#ifdef __cplusplus
#define KESTROVA_ENUM(name) enum name : int32_t
#define KESTROVA_ENUM_TYPE(name)
#else
#define KESTROVA_ENUM(name) enum name
#define KESTROVA_ENUM_TYPE(name) typedef enum name name;
#endif

/* ---- version of this header ------------------------------------------------------------------------------------ */

/* kestrovaVersion and its like tell that of the library which was loaded. */
#define KESTROVA_VERSION_MAJOR 3
#define KESTROVA_VERSION_MINOR 4
#define KESTROVA_VERSION_RELEASE_TYPE 0   /**< 0 alpha, 1 beta, 2 release candidate, 3 release */
#define KESTROVA_VERSION_RELEASE_NUMBER 2 /**< counts within the release type */

#ifdef __cplusplus
extern "C" {
#endif

/* ---- errors ---------------------------------------------------------------------------------------------------- */

/** What a function reports. kestrovaErrorToString gives the text. */
KESTROVA_ENUM(KestrovaError){
    KestrovaErrorOk = 0,                         /**< done */
    KestrovaErrorNotImplemented = 1,             /**< three planes where only a packed frame is rectified in colour */
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
    KestrovaErrorSurfaceValidationOverflow = 13, /**< never returned by this version */
    KestrovaErrorTransformFileCorrupt = 14,      /**< a transform file that cannot be read or written */
    KestrovaErrorSystem = 15,                    /**< the system refused, such as a file that cannot be written */
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
    KestrovaRectEnhanced1 = 2, /**< windowed sinc, 3 by 3 pixels */
    KestrovaRectEnhanced2 = 3  /**< windowed sinc, 5 by 5 pixels: the sharpest, and the slowest */
};
KESTROVA_ENUM_TYPE(KestrovaRectImgQuality)

/** How much care correlation takes. */
KESTROVA_ENUM(KestrovaStereoQuality){
    KestrovaStereoStandard = 0, /**< one pass */
    KestrovaStereoEnhanced = 1  /**< two passes, half a pixel apart, averaged; for 16-bit disparity only */
};
KESTROVA_ENUM_TYPE(KestrovaStereoQuality)

/** How a KestrovaInput carries its frame. */
KESTROVA_ENUM(KestrovaInputType){
    KestrovaInputPacked = 1, /**< one plane of 32-bit pixels */
    KestrovaInputRGB = 2     /**< three planes of 8-bit pixels */
};
KESTROVA_ENUM_TYPE(KestrovaInputType)

/* ---- invalid disparity ----------------------------------------------------------------------------------------- */

/** The lowest pixel of a 16-bit disparity image that is no disparity. What it exceeds this by is the mapping byte. */
enum
{
    KestrovaDisparity16Invalid = 0xFF00
};

/** Whether a pixel of a 16-bit disparity image is no disparity. */
#define KESTROVA_DISPARITY16_IS_INVALID(pixel) ((pixel) >= KestrovaDisparity16Invalid)

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

/** A view of a packed colour image of a context. */
typedef struct KestrovaPackedColorImage
{
    int32_t nrows;  /**< rows */
    int32_t ncols;  /**< columns */
    int32_t rowinc; /**< BYTES, not pixels, between the starts of two rows */
    Pixel8x4* data; /**< as in KestrovaImage; the fourth lane is 0 */
} KestrovaPackedColorImage;

/** A view of a colour image of a context, in three planes. */
typedef struct KestrovaColorImage
{
    int32_t nrows;  /**< rows */
    int32_t ncols;  /**< columns */
    int32_t rowinc; /**< bytes between the starts of two rows, the same for every plane */
    uint8_t* red;   /**< first pixel of the red plane; the planes are as data in KestrovaImage */
    uint8_t* green; /**< green plane */
    uint8_t* blue;  /**< blue plane */
} KestrovaColorImage;

/** A 4 by 4 matrix that takes points as columns (x, y, z, 1) from one frame to another. */
typedef struct KestrovaTransform
{
    double matrix[4][4]; /**< row by row: rotation in the first three columns, translation in the fourth */
} KestrovaTransform;

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

/** What the comment of an image file can say of a rectified image. */
typedef struct RectifiedImageInfo
{
    KestrovaRectImgQuality rectQuality; /**< of the rectification */
} RectifiedImageInfo;

/** What the comment of an image file can say of an edge image. */
typedef struct EdgeImageInfo
{
    KestrovaRectImgQuality rectQuality; /**< of the rectification */
    int32_t edgeMask;                   /**< kestrovaSetEdgeMask */
    bool smoothing;                     /**< kestrovaSetLowpass */
} EdgeImageInfo;

/** What the comment of an image file can say of a disparity image: the settings under which it was made. */
typedef struct DisparityImageInfo
{
    KestrovaRectImgQuality rectQuality;              /**< of the rectification */
    bool edgeCorrelation;                            /**< edge images were correlated */
    int32_t edgeMask;                                /**< side of the edge mask, with edgeCorrelation */
    bool smoothing;                                  /**< lowpass before rectification */
    KestrovaStereoQuality stereoQuality;             /**< one pass or two */
    KestrovaCameraConfiguration cameraConfiguration; /**< a wide pair reads as horizontal */
    int32_t stereoMask;                              /**< side of the correlation window */
    int32_t minDisparity;                            /**< of the searched range */
    int32_t maxDisparity;                            /**< of the searched range */
    int32_t disparityOffset;                         /**< to be added to every disparity of the image */
    bool disparityMapping;                           /**< 8-bit disparities are on the scale of the next two */
    int32_t minDisparityMapping;                     /**< with disparityMapping */
    int32_t maxDisparityMapping;                     /**< with disparityMapping */
    bool textureValidation;                          /**< on or off; the next two come with it */
    double textureValidationThreshold;               /**< to one decimal, as all thresholds in files */
    uint8_t textureValidationMapping;                /**< what rejected pixels show */
    bool uniquenessValidation;                       /**< as for texture */
    double uniquenessValidationThreshold;            /**< as for texture */
    uint8_t uniquenessValidationMapping;             /**< as for texture */
    bool backForthValidation;                        /**< on or off; the next one comes with it */
    uint8_t backForthValidationMapping;              /**< what rejected pixels show */
    bool surfaceValidation;                          /**< on or off; the next three come with it */
    double surfaceValidationDiff;                    /**< largest step inside a surface */
    int32_t surfaceValidationSize;                   /**< smallest surface, in pixels */
    uint8_t surfaceValidationMapping;                /**< what rejected pixels show */
} DisparityImageInfo;

/** What the comment of an image file says of its image. */
typedef struct KestrovaImageInfo
{
    bool hasComment;       /**< the file has a comment of this library; if not, the other fields stay as they were */
    char product[100];     /**< product of the calibration, as the file says it */
    int32_t serialNumber;  /**< of the calibration */
    KestrovaCamera camera; /**< the reference camera reads as KestrovaCamRight */
    int32_t imageType;     /**< a KestrovaImageType from 8-bit files, a KestrovaImage16Type from 16-bit files */
    union
    {
        RectifiedImageInfo rectified; /**< of KestrovaImgRectified */
        EdgeImageInfo edge;           /**< of KestrovaImgEdge */
        DisparityImageInfo disparity; /**< of disparity in 8 or 16 bits; raw images have no parameters */
    } parameters;                     /**< chosen by the type */
} KestrovaImageInfo;

/* ---- version and errors ---------------------------------------------------------------------------------------- */

/**
 * Text of an error code, in English, constant, never null. Codes 10, 16, 17 and every value outside the list give
 * "Unknown Error".
 */
KESTROVA_API const char* kestrovaErrorToString(KestrovaError error);

/**
 * Name and version, such as "Kestrova Stereo Vision SDK 3.4 Alpha 2". The text stands in one static buffer that the
 * first call fills; any thread may call this at any time.
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

/* ---- processor switches ---------------------------------------------------------------------------------------- */

/**
 * Lets the correlators and filters use their SSE2 forms (true, as far as the processor has them; the state at load) or
 * holds them to the four-lane MMX forms (false). For horizontal and wide pairs a few disparities differ between the
 * two, since groups of eight and of four lanes settle ties differently.
 *
 * VERTICAL AND L SETS: call kestrovaEnableSSE2IfAvailable(false) first. Their correlator keeps a running best match,
 * and by our decision its SSE2 form notes index 0 instead of the matching disparity for the upper four of every eight
 * pixels that improve. Half of the columns then show 0, or a fraction of a pixel around it in the 16-bit image, as if
 * it were a disparity (below 0 it reads as an invalid pixel of no known reason). The four-lane form notes all of them.
 *
 * Holds for the whole process, for every context. Call it while no run is going on; it counts from the next frame.
 */
KESTROVA_API void kestrovaEnableSSE2IfAvailable(bool enable);

/** Notes a wish about MMX. No kernel asks for it: the four-lane forms are always there. Kept for existing programs. */
KESTROVA_API void kestrovaEnableMMXIfAvailable(bool enable);

/** As kestrovaEnableMMXIfAvailable, for SSE. */
KESTROVA_API void kestrovaEnableSSEIfAvailable(bool enable);

/* ---- handle ---------------------------------------------------------------------------------------------------- */

/**
 * Makes a handle from a calibration file.
 *
 * A file holds up to ten sections, each opened by a Version line; further ones are ignored. Each becomes a camera set
 * of the handle; the first is active, in the configuration that its text names, until kestrovaSetCameraConfiguration.
 * A damaged section after a good one ends the file without an error: what was read before it stays.
 *
 * @param out   set to the handle, to be released by kestrovaDestroyContext; set to null on every failure. Not null
 * @param path  of the file
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidParameter   path is null;
 *         KestrovaErrorNoConfigFile       the file cannot be opened;
 *         KestrovaErrorConfigFileCorrupt  the first section cannot be read, or a readable one has a version other than
 *                                         2.0, 2.1, 2.2 and 3.0; path is a pipe, a device or a folder;
 *         KestrovaErrorSystem             the system refuses a thread.
 *
 * A map with a knot or coefficient that is no finite number makes its section unreadable, and so does a map of more
 * than 32 coefficients along an axis whose knots descend, lie closer than 1e-100 without being equal, or beyond 1e100.
 * A file is read as far as 64 MiB, each line counted with 32 bytes more.
 *
 * Starts the worker threads of the handle: one per processor, but at most 4 and at least 1.
 */
KESTROVA_API KestrovaError kestrovaGetDefaultContextFromFile(KestrovaContext* out, const char* path);

/**
 * As kestrovaGetDefaultContextFromFile, but from text in memory.
 *
 * @param block  the text, ended by a zero byte. It is read within the call and not kept. Null gives
 *               KestrovaErrorInvalidParameter. A text without a section is also reported on standard output
 */
KESTROVA_API KestrovaError kestrovaGetDefaultContextFromMemory(KestrovaContext* out, const void* block);

/**
 * Makes a second handle with the settings, active camera set and thread count of the first, and worker threads of its
 * own.
 *
 * The calibration and its cameras are shared: an adjustment of a camera reaches both handles. The images of
 * kestrovaGetImage and kestrovaGetImage16 are shared too, until one of the handles replaces them by images of another
 * size or by a caller's buffer. So two handles that come from one another must not run at once before each has buffers
 * of its own for all of these that the run reads or writes (kestrovaSetImageBuffer, kestrovaSetImage16Buffer); the
 * second images of KestrovaStereoEnhanced are each handle's own. They must never preprocess, prepare or adjust cameras
 * at once, since warp tables belong to the cameras. kestrovaRectifyPixel, kestrovaUnrectifyPixel,
 * kestrovaRectifyColorImage and kestrovaRectifyPackedColorImage may be called on both at once, and beside a run of the
 * other, as long as neither handle adjusts a camera. Colour images and an error that the last run of the source left
 * are not copied.
 *
 * @param source  handle
 * @param out     set to the new handle, to be released by kestrovaDestroyContext
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  source is null;
 *         KestrovaErrorSystem          the system refuses a thread.
 *         *out stays after an error.
 */
KESTROVA_API KestrovaError kestrovaCopyContext(KestrovaContext source, KestrovaContext* out);

/**
 * Waits for the handle's threads to end and releases all that it owns. Images that the caller lent it stay the
 * caller's; pointers that the handle gave out end here. Needs no memory.
 *
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  null.
 */
KESTROVA_API KestrovaError kestrovaDestroyContext(KestrovaContext context);

/**
 * The serial number of the calibration.
 *
 * @param context  handle with an active context
 * @param out      filled; must not be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context; *out stays.
 */
KESTROVA_API KestrovaError kestrovaGetSerialNumber(KestrovaContext context, int* out);

/**
 * Writes the calibration of every section back as it was loaded: the lines without comments, and without blanks at
 * their ends.
 *
 * @param context  handle
 * @param path     of the file, which is replaced
 * @return KestrovaErrorOk;
 *         KestrovaErrorSystem          the file cannot be opened for writing, or not be written to its end, as when the
 *                                      disk is full. What was opened is left empty;
 *         KestrovaErrorInvalidContext  no active context, or a section without text; the file ends before it.
 *
 * A section that was loaded from memory holds all that follows it in the block, so a block of several sections comes
 * out with the later ones repeated. Load such calibrations from a file if they are to be written.
 */
KESTROVA_API KestrovaError kestrovaWriteDefaultContextToFile(KestrovaContext context, const char* path);

/**
 * As kestrovaWriteDefaultContextToFile, but with the present settings, adjustments and image centre in place of those
 * of the text. Identity, cameras and maps stay those of the text; release notes, messages ("Debug on") and lines that
 * the library does not know are left out, and a line with the date is added.
 *
 * Numbers with fractions keep six digits, texture and uniqueness thresholds one decimal, the surface difference two.
 * Settings without a keyword are not written: the mapping of rejected subpixels, the regions, the threads, the world
 * frame. KestrovaRectEnhanced1 loads back as KestrovaRectEnhanced2.
 *
 * Camera and warp blocks are found by "BeginCamera", "EndCamera", "Position" and "BeginWarp" in just this spelling,
 * though loading takes any: of a text in other letters the blocks are left out. Blocks that cannot be followed, such as
 * that of a colour camera at a position where the product has no camera, end the section there. Neither is an error.
 * Everything from the first warp block on is copied as it is: a camera block that stands behind it comes out twice, and
 * loading takes the first, which has the present adjustments.
 *
 * Adjustments replace the lines of a block that begin with "RectFactor" and "RawFactor", in this spelling too: others
 * stay in front of the present ones, and loading takes them. The block of a colour camera gets the adjustments of the
 * camera at its position, its own are lost.
 *
 * So KestrovaErrorOk does not say that the written text loads. It does not when blocks were left out, when by now the
 * disparity range is one that kestrovaSetDisparity would refuse, or when a text from memory spells "Version" otherwise;
 * and a window that kestrovaSetStereoMask would refuse loads as the default. Load it once to be sure.
 */
KESTROVA_API KestrovaError kestrovaWriteCurrentContextToFile(KestrovaContext context, const char* path);

/* ---- camera configuration -------------------------------------------------------------------------------------- */

/**
 * Chooses which cameras are correlated, and with them the section of the calibration that serves the configuration:
 * the first that suits it. A wide pair has a baseline above 0.15, a horizontal one below; exactly 0.15 is neither.
 *
 * All settings move to that section, but for its image centre and its stereo quality. The disparity range is not tested
 * again. Images, the world frame and the table of kestrovaGetROIs are each section's own: ask for the table again, the
 * one of before no longer counts.
 *
 * @param context        handle
 * @param configuration  0 to 3
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext    null;
 *         KestrovaErrorInvalidParameter  the value is not 0 to 3;
 *         KestrovaErrorInvalidRequest    no section suits it. Nothing changes after an error.
 */
KESTROVA_API KestrovaError kestrovaSetCameraConfiguration(KestrovaContext context,
                                                          KestrovaCameraConfiguration configuration);

/**
 * The configuration that is active. A horizontal pair with a baseline above 0.15 reads as KestrovaCfg2CameraWide.
 *
 * @return as kestrovaGetSerialNumber.
 */
KESTROVA_API KestrovaError kestrovaGetCameraConfiguration(KestrovaContext context, KestrovaCameraConfiguration* out);

/**
 * The largest configuration that the device can take. A pair with a baseline of exactly 0.15 is wide here, though
 * kestrovaGetCameraConfiguration calls it horizontal.
 *
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context, or a product without a configuration; *out stays.
 */
KESTROVA_API KestrovaError kestrovaGetDeviceConfiguration(KestrovaContext context, KestrovaCameraConfiguration* out);

/* ---- one frame ------------------------------------------------------------------------------------------------- */

/**
 * Turns a raw frame into the raw, rectified and edge images of the cameras that the configuration uses. On the caller's
 * thread.
 *
 * The frame may have any size while rectification is on. Its pixels are borrowed: raw images keep pointing into the
 * caller's planes until the next frame. The images stay valid for any number of stereo runs. The first frame of a new
 * size or quality pays for warp tables; see kestrovaSetResolutionAndPrepare.
 *
 * Every plane, or the packed frame, must be readable over nrows * rowinc bytes, the padding of its last row included:
 * in sets whose cameras are not in the order of their channels, padding of a plane counts as part of its image. A plane
 * may be null if no camera of the configuration sits on its channel; the raw image of its camera is empty then.
 *
 * @param context  handle with an active context
 * @param input    the frame; null, or a null plane of a camera in use, gives KestrovaErrorInvalidParameter
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext    no active context;
 *         KestrovaErrorInvalidSetting    inputType is unknown, a size is below 1, or rowinc is too small for ncols;
 *         KestrovaErrorInvalidParameter  input is null, a camera in use has no pixels, or rectification is off and the
 *                                        size is not that of kestrovaSetResolution;
 *         KestrovaErrorSystem            a warp table cannot be built;
 *         KestrovaErrorUnknown           a camera in use sits on no channel, or a packed frame comes with two cameras
 *                                        that are neither pair.
 *         After the last two the images hold parts of this frame; after the others they are as before.
 */
KESTROVA_API KestrovaError kestrovaPreprocess(KestrovaContext context, KestrovaInput* input);

/** The same function under a second name. */
KESTROVA_API KestrovaError kestrovaRectify(KestrovaContext context, KestrovaInput* input);

/**
 * Correlates the preprocessed images and fills the disparity images, on the threads of the handle. Returns when all is
 * done. Every call does the whole work again.
 *
 * With kestrovaSetSubpixelInterpolation on, the result is the 16-bit disparity, else the 8-bit one. Pixels that no
 * match could be told for hold a validation mapping (see the settings). So do the rims: half a window on each side, and
 * the minimum disparity on the side that the search leaves the image by, which is the right for a horizontal or wide
 * pair, the bottom for a vertical pair, both for an L. A horizontal or wide pair under edge correlation has half an
 * edge mask more on each side. With kestrovaSetDoStereo off, both images are filled with the subpixel mapping.
 *
 * A horizontal or wide pair has a correlator of its own. Vertical pairs and L sets go through the general one, which
 * differs:
 * - its SSE2 form is not what such a set wants, see kestrovaEnableSSE2IfAvailable;
 * - it has no back-and-forth test;
 * - regions are taken as they are: the images clip them, and the corner of none is moved;
 * - a run is cut into bands of rows, one per thread, and a band searches disparities only up to
 *   rows - 2 * (mask / 2) - (its first row). With n threads the last band starts at row (n - 1) * (rows / n), all
 *   divisions cut off, so results do not depend on the number of threads as long as the maximum disparity is at most
 *   rows - 2 * (mask / 2) - (n - 1) * (rows / n), or below that under a mask of 1: 54 for 240 rows, mask 7 and 4
 *   threads. Above that a lower band searches up to its limit, where a match is no result, and spreads a mapping over
 *   that; a band whose limit is below the minimum disparity searches nothing. Use fewer threads for larger ranges.
 *
 * Under KestrovaStereoEnhanced with subpixel interpolation on, all is done twice, see kestrovaSetStereoQuality. Surface
 * validation follows on the whole frame, after each pass.
 *
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidRequest  the images were not preprocessed (under Enhanced quality those of the second
 *                                      pass too), or stereo is off under Enhanced quality with subpixel interpolation
 *                                      on;
 *         KestrovaErrorInvalidROI      the general correlator found no room for a window in the image, in a region or,
 *                                      with too many threads, in a band: at the top one of up to mask / 2 rows, at the
 *                                      bottom one of less than 2 * (mask / 2) rows, or one whose range is cut under a
 *                                      mask of 1. With an even mask a maximum disparity of rows - mask leaves no room
 *                                      either (in an L also columns - mask). Other regions and bands are done.
 *
 * A failed run leaves its error behind: this function, kestrovaGetImage and kestrovaGetImage16 return it again, without
 * doing anything, until kestrovaSetMaxThreadCount changes the count. The error of the topmost band counts, and in a
 * band that of its last region that failed.
 *
 * Memory: the first run with some settings allocates what it works in, and later ones with the same settings allocate
 * nothing, with one exception: surface validation takes more when an image falls into more pieces than any before. A
 * failed allocation, on whichever thread, leaves this function as the allocator's exception, once nothing of the run is
 * going on any more. The disparity images then hold parts of the result, and the next run is a whole one again.
 */
KESTROVA_API KestrovaError kestrovaStereo(KestrovaContext context);

/* ---- images ---------------------------------------------------------------------------------------------------- */

/**
 * Describes an 8-bit image of the context; nothing is copied. An image that was not made yet has no rows, no columns,
 * rowinc 0 and a null pointer, and is no error.
 *
 * @param context  handle with an active context
 * @param type     which image
 * @param camera   whose; for the disparity reference or right. KestrovaCamColor is the reference when there is a colour
 *                 camera, but never names the disparity
 * @param image    filled; must not be null. The pixels belong to the context: they change with the next frame or run,
 *                 and end when the image is replaced or the context destroyed
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidCamera   the product has no such camera;
 *         KestrovaErrorInvalidRequest  disparity: stereo is off, or subpixel interpolation is on (see
 *                                      kestrovaGetImage16), or another camera; edge: edge correlation is off; any type
 *                                      that is not listed, KestrovaImgPacked too;
 *         the error of the last stereo run, for every type but raw.
 *         The record stays as it was after an error.
 */
KESTROVA_API KestrovaError kestrovaGetImage(KestrovaContext context, KestrovaImageType type, KestrovaCamera camera,
                                            KestrovaImage* image);

/**
 * As kestrovaGetImage, for the 16-bit disparity. The error of the last run comes first, and every other fault is
 * KestrovaErrorInvalidRequest: another type, a camera other than reference and right, stereo off, subpixel
 * interpolation off. Cameras below 0, which kestrovaGetImage refuses, count as the reference here and in
 * kestrovaSetImage16Buffer.
 */
KESTROVA_API KestrovaError kestrovaGetImage16(KestrovaContext context, KestrovaImage16Type type, KestrovaCamera camera,
                                              KestrovaImage16* image);

/**
 * Makes the caller's memory the storage of an image, so that results land there without a copy.
 *
 * The rows stand without gaps, and there are as many rows and columns as kestrovaSetResolution says, for raw as the
 * last frame or kestrovaSetSourceResolution says. When the size changes later, the context quietly goes back to storage
 * of its own at the next frame or run. Raw images take a caller's buffer for packed frames only: planes of a frame
 * replace it, for good. With kestrovaSetRectify off every frame replaces the rectified images. Nothing is copied into
 * the buffer by this call.
 *
 * @param context  handle with an active context; no run may be going on
 * @param buffer   rows * columns bytes, which must live until they are replaced, unset, or the context is destroyed;
 *                 null asks for new storage of the library's, whose contents are undefined
 * @param type     disparity, raw, rectified or edge
 * @param camera   whose; for the disparity reference or right
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidCamera   the product has no such camera, or the disparity of another than the reference;
 *         KestrovaErrorInvalidRequest  another type, or the size is not known yet: raw before the first frame.
 *         Nothing changes after an error.
 */
KESTROVA_API KestrovaError kestrovaSetImageBuffer(KestrovaContext context, unsigned char* buffer,
                                                  KestrovaImageType type, KestrovaCamera camera);

/** As kestrovaSetImageBuffer with a null buffer. */
KESTROVA_API KestrovaError kestrovaUnsetImageBuffer(KestrovaContext context, KestrovaImageType type,
                                                    KestrovaCamera camera);

/**
 * As kestrovaSetImageBuffer, for the 16-bit disparity.
 *
 * @param buffer  rows * columns pixels of two bytes, without gaps
 * @return as there, but another type gives KestrovaErrorInvalidCamera too.
 */
KESTROVA_API KestrovaError kestrovaSetImage16Buffer(KestrovaContext context, unsigned short* buffer,
                                                    KestrovaImage16Type type, KestrovaCamera camera);

/** As kestrovaSetImage16Buffer with a null buffer. */
KESTROVA_API KestrovaError kestrovaUnsetImage16Buffer(KestrovaContext context, KestrovaImage16Type type,
                                                      KestrovaCamera camera);

/* ---- image files ----------------------------------------------------------------------------------------------- */

/*
 * A file that cannot be written to its end, as when the disk is full, is left empty, and the function says so. Signals
 * that interrupt a write do no harm. Files are binary PGM and PPM, with two decisions of ours: 16-bit samples are LOW
 * BYTE FIRST, as they stand in memory, while other programs expect the high byte first, and the header of colour files
 * ends in a blank. docs/files.md tells how to read them elsewhere.
 */

/**
 * Writes an 8-bit image as PGM, without a comment.
 *
 * @param image  any record with valid pixels, not only one that the library filled; must not be null
 * @param path   of the file, which is replaced
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidParameter  a negative size, or pixels that are null though there are rows and columns;
 * the file stays as it was; KestrovaErrorSystem            the file cannot be opened for writing, or not be written to
 * its end.
 */
KESTROVA_API KestrovaError kestrovaSaveImage(const KestrovaImage* image, const char* path);

/** As kestrovaSaveImage, but with two bytes a pixel. An odd rowinc counts as one less. */
KESTROVA_API KestrovaError kestrovaSaveImage16(const KestrovaImage16* image, const char* path);

/** As kestrovaSaveImage, but three planes as PPM. */
KESTROVA_API KestrovaError kestrovaSaveColorImage(const KestrovaColorImage* image, const char* path);

/** As kestrovaSaveImage, but packed pixels as PPM. The fourth lane is left out. */
KESTROVA_API KestrovaError kestrovaSavePackedColorImage(const KestrovaPackedColorImage* image, const char* path);

/**
 * Writes an image of the context as PGM, with a comment that tells which device and camera it comes from and under
 * which settings it was made: those of the last kestrovaPreprocess and kestrovaStereo of this context, not those of the
 * moment. A context that has not run yet, such as a fresh copy that shows the images of its source, has none to tell:
 * the comment says Fast, Standard, 3-Cam-L, and off and 0 for all else.
 *
 * @param context  handle with an active context
 * @param type     as kestrovaGetImage
 * @param camera   as kestrovaGetImage. The reference camera is called "Right" in the comment
 * @param path     of the file, which is replaced
 * @return as kestrovaGetImage, and then
 *         KestrovaErrorInvalidParameter  camera is KestrovaCamColor;
 *         KestrovaErrorSystem            the file cannot be opened for writing, or not be written to its end.
 *
 * Waits for a run to end, but for raw images. An image that was never made gives a file of a header only, whose comment
 * tells of settings that were never used: Fast, off and 0.
 */
KESTROVA_API KestrovaError kestrovaSaveImageExtra(KestrovaContext context, KestrovaImageType type,
                                                  KestrovaCamera camera, const char* path);

/** As kestrovaSaveImageExtra, for the images of kestrovaGetImage16; any camera that is not listed is
 * KestrovaErrorInvalidParameter. */
KESTROVA_API KestrovaError kestrovaSaveImage16Extra(KestrovaContext context, KestrovaImage16Type type,
                                                    KestrovaCamera camera, const char* path);

/**
 * Reads an 8-bit PGM file, whoever wrote it, and the record that its comment may carry.
 *
 * @param path   of the file
 * @param image  filled; rowinc is ncols. The pixels are the caller's, to be released with free()
 * @param info   filled. A comment leaves out what did not apply, such as the threshold of a validation that was off;
 *               such fields keep what they held, so clear the record first
 * @return KestrovaErrorOk, also for a file without a comment of ours;
 *         KestrovaErrorInvalidParameter  a pointer is null;
 *         KestrovaErrorImageFileRead     the file cannot be opened, is no 8-bit PGM, is shorter than its header says,
 *                                        has more than 2047 bytes of comment, or a word of more than 1023 in its
 *                                        header, where a comment's "#" and what stands at it are one; both records
 *                                        stay;
 *         KestrovaErrorImageComment      the comment begins as ours do and cannot be parsed. The image is filled all
 *                                        the same, and its pixels are the caller's; info holds what came before the
 *                                        fault.
 *
 * The file is read by pgm8Read of libkestrova_pgm.so.3. A program that defines a pgm8Read of its own is asked instead,
 * and then says itself how the pixels are released: see pgm8Read.
 */
KESTROVA_API KestrovaError kestrovaReadImageExtra(const char* path, KestrovaImage* image, KestrovaImageInfo* info);

/**
 * As kestrovaReadImageExtra, but for 16-bit files with the low byte first, as this library writes them, by pgm16Read.
 * By our decision rowinc is ncols here too, not twice that: a record that was read cannot be handed to
 * kestrovaSaveImage16 before its rowinc is doubled.
 */
KESTROVA_API KestrovaError kestrovaReadImage16Extra(const char* path, KestrovaImage16* image, KestrovaImageInfo* info);

/* ---- colour ---------------------------------------------------------------------------------------------------- */

/**
 * Rectifies a colour frame of one camera into three planes of the size of kestrovaSetResolution, with the quality of
 * kestrovaSetRectImgQuality and the lowpass of kestrovaSetLowpass. The result lines up with the rectified image of that
 * camera, and for the reference camera with the disparity. On the caller's thread; takes no part in stereo.
 *
 * All three channels of the frame are taken through the one camera, unlike in kestrovaPreprocess. Three PADDED planes
 * (rowinc above ncols) are not read from the frame but from what kestrovaPreprocess made of it last: preprocess such a
 * frame first, and let the calibration have a camera on each plane. Red, green and blue are then the raw images of the
 * right, the top and the left camera, so planes change places in sets whose cameras are not in the order of their
 * channels. The size of the frame becomes the source size.
 *
 * @param context  handle with an active context
 * @param camera   whose frame it is. KestrovaCamColor rectifies through the colour camera, but its result takes the
 *                 place of the reference camera's
 * @param input    the frame; read within the call
 * @param image    filled; must not be null. The planes belong to the context, or are those of
 *                 kestrovaSetColorImageBuffer; valid until the next call for this camera
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext    no active context;
 *         KestrovaErrorInvalidSetting    inputType is unknown, a size is below 1, or rowinc is too small for ncols;
 *         KestrovaErrorInvalidParameter  input is null or has no pixels;
 *         KestrovaErrorInvalidCamera     the product has no such camera;
 *         KestrovaErrorInvalidRequest    padded planes of a frame that was not preprocessed;
 *         KestrovaErrorSystem            a warp table cannot be built.
 *         The record stays as it was after an error.
 */
KESTROVA_API KestrovaError kestrovaRectifyColorImage(KestrovaContext context, KestrovaCamera camera,
                                                     KestrovaInput* input, KestrovaColorImage* image);

/**
 * As kestrovaRectifyColorImage, from a packed frame into packed pixels, and always bilinear, whatever the quality.
 *
 * @param input  packed; padding is no matter here
 * @param image  filled; as there, or the memory of kestrovaSetPackedColorImageBuffer
 * @return as there, without KestrovaErrorInvalidRequest; and
 *         KestrovaErrorNotImplemented  a frame of three planes.
 */
KESTROVA_API KestrovaError kestrovaRectifyPackedColorImage(KestrovaContext context, KestrovaCamera camera,
                                                           KestrovaInput* input, KestrovaPackedColorImage* image);

/**
 * Makes the caller's memory the storage of the three planes of kestrovaRectifyColorImage.
 *
 * The rows stand without gaps, as many rows and columns as kestrovaSetResolution says. When that changes later, the
 * next kestrovaRectifyColorImage quietly goes back to storage of the context's own. Nothing is copied by this call.
 *
 * @param context  handle with an active context
 * @param camera   whose; KestrovaCamColor and the reference have one storage in common
 * @param red, green, blue  rows * columns bytes each, which must live until they are replaced, unset, or the context
 *                 is destroyed; three nulls ask for new storage of the library's, whose contents are undefined
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext      no active context;
 *         KestrovaErrorInvalidRequest      KestrovaCamColor without a colour camera;
 *         KestrovaErrorInvalidCamera       the product has no such camera;
 *         KestrovaErrorConflictingOptions  some pointers are null and some are not.
 *         Nothing changes after an error.
 */
KESTROVA_API KestrovaError kestrovaSetColorImageBuffer(KestrovaContext context, KestrovaCamera camera,
                                                       unsigned char* red, unsigned char* green, unsigned char* blue);

/** As kestrovaSetColorImageBuffer with three nulls. */
KESTROVA_API KestrovaError kestrovaUnsetColorImageBuffer(KestrovaContext context, KestrovaCamera camera);

/**
 * As kestrovaSetColorImageBuffer, for kestrovaRectifyPackedColorImage.
 *
 * @param buffer  rows * columns pixels of four bytes, without gaps; null asks for new storage of the library's
 */
KESTROVA_API KestrovaError kestrovaSetPackedColorImageBuffer(KestrovaContext context, KestrovaCamera camera,
                                                             Pixel8x4* buffer);

/** As kestrovaSetPackedColorImageBuffer with a null buffer. */
KESTROVA_API KestrovaError kestrovaUnsetPackedColorImageBuffer(KestrovaContext context, KestrovaCamera camera);

/* ---- pixels ---------------------------------------------------------------------------------------------------- */

/**
 * Where a point of a camera's raw image comes to lie in its rectified image.
 *
 * @param context      handle with an active context
 * @param camera       whose; KestrovaCamColor is the colour camera itself
 * @param row, col     filled, in pixels at the present resolution, within -0.5 to rows - 0.5; neither may be null. A
 *                     point outside the calibrated field lands on the border
 * @param inRow, inCol in pixels of the raw image, in the size of the last frame or kestrovaSetSourceResolution
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidSetting  the source size is not known yet;
 *         KestrovaErrorInvalidCamera   the product has no such camera;
 *         KestrovaErrorUnknown         the camera has no maps.
 *         The outputs stay as they were after an error.
 */
KESTROVA_API KestrovaError kestrovaRectifyPixel(KestrovaContext context, KestrovaCamera camera, float* row, float* col,
                                                float inRow, float inCol);

/**
 * Where a point of a camera's rectified image lies in its raw image: the inverse of kestrovaRectifyPixel.
 *
 * A point outside the rectified image is searched for. That ends within 0.001 pixels of the rectified image, or with
 * KestrovaErrorInvalidRequest as soon as a step comes no closer, as for every point that kestrovaRectifyPixel never
 * gives; the best estimate, inside the raw image, is in the outputs then.
 *
 * @param row, col      filled, in pixels of the raw image; neither may be null
 * @param inRow, inCol  in pixels of the rectified image; any values, even not-a-number
 * @return as kestrovaRectifyPixel, with KestrovaErrorInvalidCamera before KestrovaErrorInvalidSetting; and
 *         KestrovaErrorInvalidRequest  the search stalled; the outputs are filled.
 */
KESTROVA_API KestrovaError kestrovaUnrectifyPixel(KestrovaContext context, KestrovaCamera camera, float* row,
                                                  float* col, float inRow, float inCol);

/* ---- settings: switches ---------------------------------------------------------------------------------------- */

/*
 * Settings belong to the active context and are read afresh by the next frame or run; nothing is rebuilt in a setter.
 * The values of a new handle are those of its calibration text; "default" is what holds where the text is silent.
 * Call them from one thread, between runs.
 */

/**
 * Correlates edge images, which do not mind different brightness of the cameras, instead of rectified ones.
 *
 * @param context  handle with an active context
 * @param on       0 is off, any other value on (default on)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context.
 *
 * Set it before kestrovaPreprocess, which makes the edge images; kestrovaStereo and kestrovaGetImage read it too.
 * Switched on after a frame that was preprocessed without it, kestrovaStereo correlates what the edge images held
 * before, black at first, and returns KestrovaErrorOk; switched off, it correlates the rectified images.
 *
 * Texture and uniqueness measure the distance from the edge image's grey level 128. Without edge images they are not
 * tested, but for the 16-bit disparity of a horizontal or wide pair, where rectified images are measured in this way.
 */
KESTROVA_API KestrovaError kestrovaSetEdgeCorrelation(KestrovaContext context, int on);

/**
 * Reads the switch.
 *
 * @param on  set to 0 or 1; must not be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context; *on stays.
 */
KESTROVA_API KestrovaError kestrovaGetEdgeCorrelation(KestrovaContext context, int* on);

/**
 * Whether kestrovaStereo correlates at all (default on). Arguments and errors of this switch and of those that follow
 * are those of kestrovaSetEdgeCorrelation and kestrovaGetEdgeCorrelation. Takes effect with the next kestrovaStereo, at
 * once in kestrovaGetImage and kestrovaGetImage16, and under KestrovaStereoEnhanced with the next kestrovaPreprocess,
 * which makes the images of the second pass only while it is on: see kestrovaSetStereoQuality.
 */
KESTROVA_API KestrovaError kestrovaSetDoStereo(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetDoStereo(KestrovaContext context, int* on); /**< see kestrovaSetDoStereo */

/**
 * Gives 16-bit disparity in 1/256 pixel (default on) or 8-bit disparity in whole pixels. Takes effect with the next
 * kestrovaStereo, at once in kestrovaGetImage and kestrovaGetImage16, of which one refuses by it, and under
 * KestrovaStereoEnhanced with the next kestrovaPreprocess, as kestrovaSetDoStereo.
 */
KESTROVA_API KestrovaError kestrovaSetSubpixelInterpolation(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetSubpixelInterpolation(KestrovaContext context, int* on); /**< see the setter */

/**
 * Spreads the disparities of the 8-bit image over the range of kestrovaSetDisparityMapping (default off). The 16-bit
 * image is never mapped. Takes effect with the next kestrovaStereo.
 */
KESTROVA_API KestrovaError kestrovaSetDisparityMappingOn(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetDisparityMappingOn(KestrovaContext context, int* on); /**< see the setter */

/** Smooths raw images before the warp shrinks them (default on). Takes effect with the next kestrovaPreprocess. */
KESTROVA_API KestrovaError kestrovaSetLowpass(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetLowpass(KestrovaContext context, int* on); /**< see kestrovaSetLowpass */

/**
 * Rectifies (default on) or takes raw images as rectified ones as they are, without lowpass and gain; frames must then
 * have the size of kestrovaSetResolution. Takes effect with the next kestrovaPreprocess.
 */
KESTROVA_API KestrovaError kestrovaSetRectify(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetRectify(KestrovaContext context, int* on); /**< see kestrovaSetRectify */

/** Rejects pixels whose window holds too little signal (default on). Takes effect with the next kestrovaStereo. */
KESTROVA_API KestrovaError kestrovaSetTextureValidation(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetTextureValidation(KestrovaContext context, int* on); /**< see the setter */

/**
 * Rejects pixels whose best match is not good against the signal of their window (default on). Takes effect with the
 * next kestrovaStereo.
 */
KESTROVA_API KestrovaError kestrovaSetUniquenessValidation(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetUniquenessValidation(KestrovaContext context, int* on); /**< see the setter */

/**
 * Rejects pixels whose match, searched backwards from the left image, ends more than one pixel away (default off).
 * Horizontal and wide pairs only. Takes effect with the next kestrovaStereo.
 */
KESTROVA_API KestrovaError kestrovaSetBackForthValidation(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetBackForthValidation(KestrovaContext context, int* on); /**< see the setter */

/**
 * Rejects small surfaces (default on): connected pixels whose neighbours differ by no more than
 * kestrovaSetSurfaceValidationDifference and that are fewer than kestrovaSetSurfaceValidationSize. Wrong matches rarely
 * agree with their neighbours. Takes effect with the next kestrovaStereo.
 */
KESTROVA_API KestrovaError kestrovaSetSurfaceValidation(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetSurfaceValidation(KestrovaContext context, int* on); /**< see the setter */

/** A kept switch without effect: the subpixel tests are always the strict ones (default off). */
KESTROVA_API KestrovaError kestrovaSetStrictSubpixelValidation(KestrovaContext context, int on);
KESTROVA_API KestrovaError kestrovaGetStrictSubpixelValidation(KestrovaContext context, int* on); /**< see the setter */

/* ---- settings: what rejected pixels show ----------------------------------------------------------------------- */

/**
 * The byte that a pixel without enough texture shows: as it is in the 8-bit disparity, 0xFF00 more in the 16-bit one.
 * Keep the mappings at 250 and above and apart from each other; smaller ones read as disparities in places.
 *
 * @param context  handle with an active context
 * @param value    only the low 8 bits count (default 255)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context.
 *
 * Takes effect with the next kestrovaStereo. In the 8-bit disparity of a horizontal or wide pair a pixel that fails
 * uniqueness shows this byte too while both tests are on; of vertical pairs and L sets it shows its own.
 */
KESTROVA_API KestrovaError kestrovaSetTextureValidationMapping(KestrovaContext context, int value);

/**
 * Reads the byte.
 *
 * @param value  filled; must not be null
 * @return as kestrovaGetEdgeCorrelation.
 */
KESTROVA_API KestrovaError kestrovaGetTextureValidationMapping(KestrovaContext context, uint8_t* value);

/** As kestrovaSetTextureValidationMapping, for pixels without a unique match (default 254). */
KESTROVA_API KestrovaError kestrovaSetUniquenessValidationMapping(KestrovaContext context, int value);
KESTROVA_API KestrovaError kestrovaGetUniquenessValidationMapping(KestrovaContext context,
                                                                  uint8_t* value); /**< reads it */

/** As kestrovaSetTextureValidationMapping, for pixels whose way back leads elsewhere (default 251). */
KESTROVA_API KestrovaError kestrovaSetBackForthValidationMapping(KestrovaContext context, int value);
KESTROVA_API KestrovaError kestrovaGetBackForthValidationMapping(KestrovaContext context,
                                                                 uint8_t* value); /**< reads it */

/** As kestrovaSetTextureValidationMapping, for pixels of small surfaces (default 252). */
KESTROVA_API KestrovaError kestrovaSetSurfaceValidationMapping(KestrovaContext context, int value);
KESTROVA_API KestrovaError kestrovaGetSurfaceValidationMapping(KestrovaContext context,
                                                               uint8_t* value); /**< reads it */

/**
 * As kestrovaSetTextureValidationMapping, for matches on the end of the searched range, for fractions that cannot be
 * told, and for pixels that were not searched at all (default 253).
 */
KESTROVA_API KestrovaError kestrovaSetSubpixelValidationMapping(KestrovaContext context, int value);
KESTROVA_API KestrovaError kestrovaGetSubpixelValidationMapping(KestrovaContext context,
                                                                uint8_t* value); /**< reads it */

/* ---- settings: numbers ----------------------------------------------------------------------------------------- */

/**
 * How much signal a window must hold: the mean distance of its edge pixels from 128, in grey levels, that a match must
 * exceed.
 *
 * @param context  handle with an active context
 * @param value    0.0 to 128.0 (default 0.5). 0.0 is no test, as if the switch were off; only the 8-bit disparity of a
 *                 horizontal or wide pair may differ, in the columns from which the range leaves the image
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidSetting  out of range or not a number, the old value stays.
 *
 * Edge pixels are rounded down, so that a flat surface measures up to 1.0 and passes the default; values clearly above,
 * such as 1.5, reject it.
 *
 * Vertical pairs and L sets round the value times the pixels of a window, and take what reaches it. A value so small
 * that this rounds to 0 is stricter than 0.0 there while uniqueness is off or 0.0: matches whose windows differ by 255
 * or more in sum are refused, as texture in 8 bits and, while the switch is on, as uniqueness in 16.
 *
 * Takes effect with the next kestrovaStereo.
 */
KESTROVA_API KestrovaError kestrovaSetTextureValidationThreshold(KestrovaContext context, float value);

/**
 * Reads the number.
 *
 * @param value  filled; must not be null
 * @return as kestrovaGetEdgeCorrelation.
 */
KESTROVA_API KestrovaError kestrovaGetTextureValidationThreshold(KestrovaContext context, float* value);

/**
 * As kestrovaSetTextureValidationThreshold, but the ratio of the best window difference to the window's signal that a
 * match must stay below: 0.0 to 10.0 (default 0.5). 0.0 is no test, as if the switch were off.
 *
 * In the 16-bit disparity of a horizontal or wide pair 1.0 is the most: while texture or uniqueness is tested above
 * 0.0, pixels whose best match differs by more than their signal show the subpixel mapping, whatever the ratio, also
 * with uniqueness off.
 */
KESTROVA_API KestrovaError kestrovaSetUniquenessValidationThreshold(KestrovaContext context, float value);
KESTROVA_API KestrovaError kestrovaGetUniquenessValidationThreshold(KestrovaContext context,
                                                                    float* value); /**< reads it */

/**
 * As kestrovaSetTextureValidationThreshold, but the largest step between neighbours of one surface, in pixels of
 * disparity, whatever the image counts in: 0.0 and above (default 1.0). Rounded to a whole number of the image's steps.
 */
KESTROVA_API KestrovaError kestrovaSetSurfaceValidationDifference(KestrovaContext context, float value);
KESTROVA_API KestrovaError kestrovaGetSurfaceValidationDifference(KestrovaContext context,
                                                                  float* value); /**< reads it */

/**
 * As kestrovaSetTextureValidationThreshold, but the number of pixels that a surface must have to stand: 0 and above
 * (default 200). 0 rejects nothing.
 *
 * Surfaces that touch certain rims stand whatever their size: in the 16-bit disparity those that join a margin of half
 * of (stereo mask / 2 + edge mask / 2), in the 8-bit one those that join column 0.
 */
KESTROVA_API KestrovaError kestrovaSetSurfaceValidationSize(KestrovaContext context, int size);

/** Reads the number of pixels. Arguments and errors as kestrovaGetTextureValidationThreshold. */
KESTROVA_API KestrovaError kestrovaGetSurfaceValidationSize(KestrovaContext context, int* size);

/**
 * Sets the side of the square window of the edge filter.
 *
 * @param context  handle with an active context
 * @param size     side in pixels of the rectified image: odd, 3 to 11 (default 7)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidSetting  even or out of range, the old size stays.
 *
 * Takes effect with the next kestrovaPreprocess; half of it is also part of the rim that stereo leaves out.
 */
KESTROVA_API KestrovaError kestrovaSetEdgeMask(KestrovaContext context, int size);

/** Reads the side of the edge filter. Arguments and errors as kestrovaGetTextureValidationThreshold. */
KESTROVA_API KestrovaError kestrovaGetEdgeMask(KestrovaContext context, int* size);

/**
 * As kestrovaSetEdgeMask, but the side of the square correlation window: odd, 1 to 23 (default 7). Takes effect with
 * the next kestrovaStereo. Windows above 16 let the sums of differences wrap at 65536.
 */
KESTROVA_API KestrovaError kestrovaSetStereoMask(KestrovaContext context, int size);
KESTROVA_API KestrovaError kestrovaGetStereoMask(KestrovaContext context, int* size); /**< as kestrovaGetEdgeMask */

/**
 * As kestrovaSetStereoMask, but accepts every size of 1 and above, even ones too: those reach one pixel less far right
 * and down than left and up. A window that does not fit into the image leaves all pixels invalid; for vertical pairs
 * and L sets kestrovaStereo then returns KestrovaErrorInvalidROI, as it does for a region that leaves the window no
 * room.
 */
KESTROVA_API KestrovaError kestrovaSetAnyStereoMask(KestrovaContext context, int size);

/**
 * Sets the searched disparities, both ends included.
 *
 * @param context  handle with an active context
 * @param min      in pixels of the rectified image, at least 0 (default 0)
 * @param max      above min, at most min + 240, at most 1024, and at most the columns less the stereo mask (for a
 *                 vertical pair the rows, for an L both) (default 32)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidSetting  one of these rules is broken, the old range stays.
 *
 * Takes effect with the next kestrovaStereo, and at once in kestrovaGetDisparityOffset and in the point conversions
 * that read pixel or mapped values: convert an image before its range is changed. The range is tested here only: a
 * later change of resolution or window does not test it again.
 *
 * A match on the last disparity, or on the first unless that is 0, is no result and shows the subpixel mapping.
 * Vertical pairs and L sets differ for the first: in 16 bits it is none even if it is 0, and in 8 bits the first of a
 * full range with an offset (min = max - 240, above 0) counts, as 0 or the lower end of a mapping.
 */
KESTROVA_API KestrovaError kestrovaSetDisparity(KestrovaContext context, int min, int max);

/** Reads the searched range; neither pointer may be null. Errors as kestrovaGetEdgeCorrelation. */
KESTROVA_API KestrovaError kestrovaGetDisparity(KestrovaContext context, int* min, int* max);

/**
 * What the disparity images subtract so that a byte is enough: the maximum disparity less 240, but at least 0. The
 * point conversions that read pixel values add it back. Arguments and errors as kestrovaGetEdgeMask.
 */
KESTROVA_API KestrovaError kestrovaGetDisparityOffset(KestrovaContext context, int* offset);

/**
 * Sets the range of bytes that kestrovaSetDisparityMappingOn spreads disparities over.
 *
 * @param context  handle with an active context
 * @param min, max  only the low 8 bits of each count and are stored; max must be above min after that (default 0, 32)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidSetting  max is not above min, the old range stays.
 *
 * Takes effect with the next kestrovaStereo, and at once in the point conversions.
 */
KESTROVA_API KestrovaError kestrovaSetDisparityMapping(KestrovaContext context, int min, int max);

/** Reads the range of bytes; neither pointer may be null. Errors as kestrovaGetEdgeCorrelation. */
KESTROVA_API KestrovaError kestrovaGetDisparityMapping(KestrovaContext context, uint8_t* min, uint8_t* max);

/**
 * Sets the size of the rectified, edge and disparity images.
 *
 * @param context     handle with an active context
 * @param rows, cols  in pixels, at least 1, and 4 * rows must equal 3 * cols (default 240, 320)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidSetting  not a 4 by 3 size, the old size stays.
 *
 * Focal length and image centre follow at once, images at the next kestrovaPreprocess and kestrovaStereo. The subpixel
 * disparity is defined for up to 1280 columns.
 */
KESTROVA_API KestrovaError kestrovaSetResolution(KestrovaContext context, int rows, int cols);

/** Reads the size of the rectified images; neither pointer may be null. Errors as kestrovaGetEdgeCorrelation. */
KESTROVA_API KestrovaError kestrovaGetResolution(KestrovaContext context, int* rows, int* cols);

/**
 * As kestrovaSetResolution, but the size of raw images. Every frame overwrites it with its own size, which need not be
 * 4 by 3, so that the call counts only for what comes before: kestrovaSetImageBuffer of a raw image.
 */
KESTROVA_API KestrovaError kestrovaSetSourceResolution(KestrovaContext context, int rows, int cols);

/** Reads the size of raw images, 0 and 0 before the first frame. As kestrovaGetResolution. */
KESTROVA_API KestrovaError kestrovaGetSourceResolution(KestrovaContext context, int* rows, int* cols);

/**
 * Sets both sizes and builds the warp tables for them, so that the first frame does not pay for it. Those of the
 * present rectification quality, and those of the second pass while KestrovaStereoEnhanced counts: set both qualities
 * first.
 *
 * @param context     handle with an active context
 * @param rows, cols  as kestrovaSetResolution
 * @param sourceRows, sourceCols  as kestrovaSetSourceResolution
 * @return as kestrovaSetResolution for either size, a good first size stays set when the second is refused; or
 *         KestrovaErrorSystem  a table cannot be built; the sizes stay set.
 */
KESTROVA_API KestrovaError kestrovaSetResolutionAndPrepare(KestrovaContext context, int rows, int cols, int sourceRows,
                                                           int sourceCols);

/**
 * Chooses the resampling of rectification (default KestrovaRectStandard, which is also what a value outside the list
 * acts as).
 *
 * The enhanced qualities keep fine detail that KestrovaRectStandard softens, at several times its cost. Along the rim
 * of the raw image, where their kernels would leave it, they take the nearest pixel.
 *
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context.
 *
 * Takes effect with the next kestrovaPreprocess. Tables of the former quality are kept and serve again.
 */
KESTROVA_API KestrovaError kestrovaSetRectImgQuality(KestrovaContext context, KestrovaRectImgQuality quality);

/** Reads the quality; the pointer must not be null. Errors as kestrovaGetEdgeCorrelation. */
KESTROVA_API KestrovaError kestrovaGetRectImgQuality(KestrovaContext context, KestrovaRectImgQuality* quality);

/**
 * Chooses how disparity is measured. KestrovaStereoEnhanced counts while subpixel interpolation is on: left and top
 * images are rectified and correlated a second time, half a pixel away, and each pixel becomes the average of both
 * results, less that half pixel. The error of subpixel disparity repeats with every pixel and shows as furrows on
 * slanted surfaces; half a period apart it evens out. A pixel is valid where both passes found it so, and a frame takes
 * about twice the time.
 *
 * @param quality  KestrovaStereoEnhanced, or any other value for KestrovaStereoStandard (default
 *                 KestrovaStereoStandard)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context.
 *
 * Takes effect with the next kestrovaPreprocess, which makes the second images, and kestrovaStereo, which needs them
 * and without any returns KestrovaErrorInvalidRequest. kestrovaPreprocess leaves the second images as they are while
 * stereo or subpixel interpolation is off. Switched on again before kestrovaStereo, the result is the average of this
 * frame and one whose left and top images are those of an earlier frame, with KestrovaErrorOk: preprocess the frame
 * again.
 *
 * The averaging walks both images as one run of rows * columns pixels from the first: choose columns that are a
 * multiple of 16, or gaps between the rows take part and the last rows stay those of the first pass. Disparities of
 * less than about half a pixel come out as invalid pixels.
 */
KESTROVA_API KestrovaError kestrovaSetStereoQuality(KestrovaContext context, KestrovaStereoQuality quality);

/** Reads the quality; the pointer must not be null. Errors as kestrovaGetEdgeCorrelation. */
KESTROVA_API KestrovaError kestrovaGetStereoQuality(KestrovaContext context, KestrovaStereoQuality* quality);

/* ---- settings: regions ----------------------------------------------------------------------------------------- */

/**
 * Gives the table of regions for the caller to write into.
 *
 * @param context  handle with an active context
 * @param out      set to the table of the active camera set itself, valid until the context is destroyed; entries that
 *                 kestrovaSetNumberOfROIs counts are used by the next kestrovaStereo. Once
 *                 kestrovaSetCameraConfiguration has gone to another section, ask again: that section has a table of
 *                 its own, with the present entries copied, and does not look at this one
 * @param maxROIs  set to the length of the table, 100
 * @return as kestrovaGetEdgeCorrelation.
 *
 * Regions are rectangles of the rectified image and are not tested. For a horizontal or wide pair, correlation moves
 * the first row and column of each inside the rim without making it smaller, so that it may reach past its far edges by
 * as much. Runs are cut into bands of rows, one per thread, and a region that begins above a band and ends below it is
 * left out of that band: with regions taller than a band, use one thread or cut them yourself.
 */
KESTROVA_API KestrovaError kestrovaGetROIs(KestrovaContext context, KestrovaROI** out, int* maxROIs);

/**
 * Sets how many regions of the table count.
 *
 * @param context  handle with an active context
 * @param count    0 to 100; 0 is the whole frame (default 0)
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidSetting  out of range, the old count stays.
 *
 * Takes effect with the next kestrovaStereo.
 */
KESTROVA_API KestrovaError kestrovaSetNumberOfROIs(KestrovaContext context, int count);

/* ---- settings: threads ----------------------------------------------------------------------------------------- */

/**
 * Reads the number of worker threads of a handle.
 *
 * @param context  handle
 * @param out      filled; must not be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  null; *out stays.
 */
KESTROVA_API KestrovaError kestrovaGetMaxThreadCount(KestrovaContext context, int* out);

/**
 * Sets the number of worker threads. Without regions the number does not change a result, as long as the range of a
 * vertical or L set has room in every band: see kestrovaStereo.
 *
 * @param context  handle
 * @param count    1 to 255; a new handle has one per processor, but at most 4
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidSetting  out of range, whatever the handle;
 *         KestrovaErrorInvalidContext  null;
 *         KestrovaErrorInvalidRequest  a run is going on;
 *         KestrovaErrorSystem          the system refuses a thread.
 *
 * A count that differs from the present one replaces the threads and drops the error that the last run left; the
 * present count keeps both, and so does a failure.
 */
KESTROVA_API KestrovaError kestrovaSetMaxThreadCount(KestrovaContext context, int count);

/* ---- the calibration ------------------------------------------------------------------------------------------- */

/**
 * The distance of the cameras' centres, in the unit of the calibration, which is metres by custom.
 *
 * @param context   handle with an active context
 * @param baseline  filled; must not be null
 * @return as kestrovaGetEdgeCorrelation.
 */
KESTROVA_API KestrovaError kestrovaGetBaseline(KestrovaContext context, float* baseline);

/** As kestrovaGetBaseline, but the focal length of the rectified image in pixels at the present resolution. */
KESTROVA_API KestrovaError kestrovaGetFocalLength(KestrovaContext context, float* focalLength);

/** As kestrovaGetBaseline, but where the optical axis meets the rectified image, in pixels at the present resolution.
 */
KESTROVA_API KestrovaError kestrovaGetImageCenter(KestrovaContext context, float* row, float* col);

/**
 * Reads the shift that is applied to a camera's rectified image.
 *
 * @param context  handle with an active context
 * @param camera   whose; KestrovaCamColor is the reference camera when there is a colour camera
 * @param x, y     filled with the shift along columns and along rows, as fractions of the image; neither may be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidCamera   the product has no such camera; the outputs stay.
 */
KESTROVA_API KestrovaError kestrovaGetRectAdjustment(KestrovaContext context, KestrovaCamera camera, double* x,
                                                     double* y);

/** As kestrovaGetRectAdjustment, on the side of the raw image. */
KESTROVA_API KestrovaError kestrovaGetRawAdjustment(KestrovaContext context, KestrovaCamera camera, double* x,
                                                    double* y);

/**
 * Shifts a camera's rectified image. Its warp tables are thrown away and built anew by the next kestrovaPreprocess.
 * Cameras are shared: the shift reaches all copies of the context.
 *
 * @param context  handle with an active context
 * @param camera   as kestrovaGetRectAdjustment
 * @param x, y     along columns and along rows, each -1.0 to 1.0 of the image
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidCamera   the product has no such camera;
 *         KestrovaErrorInvalidRequest  a value is out of range; nothing changes.
 */
KESTROVA_API KestrovaError kestrovaSetRectAdjustment(KestrovaContext context, KestrovaCamera camera, double x,
                                                     double y);

/** As kestrovaSetRectAdjustment, on the side of the raw image. */
KESTROVA_API KestrovaError kestrovaSetRawAdjustment(KestrovaContext context, KestrovaCamera camera, double x, double y);

/* ---- points ---------------------------------------------------------------------------------------------------- */

/**
 * Turns a position of the rectified reference image and its disparity into a point in the frame of the reference
 * camera: x grows with the column, y with the row, z along the optical axis away from the cameras.
 *
 * In single precision: z = f * B / disparity, x = (col - center col) * B / disparity, y likewise with the row, where B
 * is kestrovaGetBaseline and f kestrovaGetFocalLength.
 *
 * @param context  handle with an active context
 * @param row, col  in pixels at the present resolution; fractions are welcome
 * @param disp     TRUE disparity in pixels, with the disparity offset added and nothing mapped
 * @param x, y, z  filled, in the unit of the baseline; none may be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidRequest  disp is 0 or below. NaN is not refused and comes out as NaN.
 *         The outputs stay as they were after an error.
 *
 * None of the point functions knows invalid pixels: a validation mapping, or 0xFF00 and above in the 16-bit image, is
 * an ordinary number to them, and the caller leaves such pixels out.
 */
KESTROVA_API KestrovaError kestrovaRCDFloatToXYZ(KestrovaContext context, float row, float col, float disp, float* x,
                                                 float* y, float* z);

/**
 * As kestrovaRCDFloatToXYZ, but disp is on the scale of kestrovaSetDisparityMapping and is taken back to the range of
 * kestrovaSetDisparity first, whether or not kestrovaSetDisparityMappingOn is on. With both ranges 0 to 32, as they are
 * at first, it counts pixels.
 *
 * A point may differ from that of kestrovaRCDFloatToXYZ in the last bits, since x and y are computed from z here. When
 * the disparity behind disp is 0 or below, x, y and z are set to 0 and the result is KestrovaErrorInvalidRequest.
 */
KESTROVA_API KestrovaError kestrovaRCDToXYZ(KestrovaContext context, float row, float col, float disp, float* x,
                                            float* y, float* z);

/**
 * As kestrovaRCDFloatToXYZ, but for a pixel of an 8-bit disparity image made under kestrovaSetDisparityMappingOn. The
 * value is taken back as in kestrovaRCDToXYZ; the outputs stay as they were after an error.
 */
KESTROVA_API KestrovaError kestrovaRCDMappedToXYZ(KestrovaContext context, int row, int col, unsigned char disp,
                                                  float* x, float* y, float* z);

/**
 * As kestrovaRCDFloatToXYZ, but for a pixel of an 8-bit disparity image made without mapping. The disparity offset is
 * added.
 */
KESTROVA_API KestrovaError kestrovaRCD8ToXYZ(KestrovaContext context, int row, int col, unsigned char disp, float* x,
                                             float* y, float* z);

/**
 * As kestrovaRCDFloatToXYZ, but for a pixel of the 16-bit disparity image: 1/256 pixel each. The disparity offset is
 * added.
 */
KESTROVA_API KestrovaError kestrovaRCD16ToXYZ(KestrovaContext context, int row, int col, unsigned short disp, float* x,
                                              float* y, float* z);

/**
 * Turns a point in the frame of the reference camera into a position of its rectified image: the inverse of
 * kestrovaRCDFloatToXYZ, up to rounding.
 *
 * @param context         handle with an active context
 * @param x, y, z         in the unit of the baseline
 * @param row, col, disp  filled: pixels at the present resolution, which may lie outside the image, and the true
 *                        disparity, without offset or mapping; none may be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidRequest  z is 0 or below.
 *         The outputs stay as they were after an error.
 */
KESTROVA_API KestrovaError kestrovaXYZToRCD(KestrovaContext context, float x, float y, float z, float* row, float* col,
                                            float* disp);

/* ---- the world frame ------------------------------------------------------------------------------------------- */

/**
 * Places the reference camera in a frame of the caller's: points of the camera frame times this matrix are points of
 * the world frame. Until it is set the two are the same. Copies of a context begin with the same again.
 *
 * @param context    handle with an active context
 * @param transform  a rigid motion. The last row is taken as 0, 0, 0, 1, after the translation was divided by its last
 *                   element; the rotation is not divided
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidContext  no active context;
 *         KestrovaErrorInvalidRequest  one of the first three rows of the rotation is all 0; the former transform
 *                                      stays.
 *
 * Nothing else is tested. With a matrix that is not a rigid motion, points go into the world by the matrix as it is,
 * and come back by the inverse of the rotation and translation that were read out of it, which is not its inverse.
 */
KESTROVA_API KestrovaError kestrovaSetKestrovaToWorldTransform(KestrovaContext context, KestrovaTransform transform);

/**
 * Reads the transform in force.
 *
 * @param transform  filled; must not be null
 * @return as kestrovaGetEdgeCorrelation.
 */
KESTROVA_API KestrovaError kestrovaGetKestrovaToWorldTransform(KestrovaContext context, KestrovaTransform* transform);

/**
 * Reads a rigid motion from a transform file: text lines of the keys Rx, Ry, Rz, Tx, Ty, Tz, each with a number, in any
 * order. Angles are radians; the rotation about x acts first. A word "//" opens a comment to the end of its line.
 *
 * @param fileName   path WITHOUT its ending ".trans", at most 193 characters
 * @param transform  filled; must not be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorTransformFileCorrupt  no such file, it is a pipe, a device or a folder, or a key or number is
 *                                            missing in it; the record stays.
 */
KESTROVA_API KestrovaError kestrovaGetTransformFromFile(const char* fileName, KestrovaTransform* transform);

/**
 * Writes a rigid motion to a transform file, with six decimals per number.
 *
 * @param fileName   as kestrovaGetTransformFromFile
 * @param transform  of which the file keeps three angles and the translation; must not be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorTransformFileCorrupt  the file cannot be opened for writing, or not be written to its end; it is
 *                                            left empty then.
 */
KESTROVA_API KestrovaError kestrovaWriteTransformToFile(const char* fileName, const KestrovaTransform* transform);

/**
 * As kestrovaRCDFloatToXYZ, with the point in the world frame. Computed in double from the point in the camera frame
 * and rounded to float.
 */
KESTROVA_API KestrovaError kestrovaRCDFloatToWorldXYZ(KestrovaContext context, float row, float col, float disp,
                                                      float* x, float* y, float* z);

/** As kestrovaRCDToXYZ, in the world frame. After KestrovaErrorInvalidRequest x, y and z are 0, as there. */
KESTROVA_API KestrovaError kestrovaRCDToWorldXYZ(KestrovaContext context, float row, float col, float disp, float* x,
                                                 float* y, float* z);

/** As kestrovaRCDMappedToXYZ, in the world frame. */
KESTROVA_API KestrovaError kestrovaRCDMappedToWorldXYZ(KestrovaContext context, int row, int col, unsigned char disp,
                                                       float* x, float* y, float* z);

/** As kestrovaRCD8ToXYZ, in the world frame. */
KESTROVA_API KestrovaError kestrovaRCD8ToWorldXYZ(KestrovaContext context, int row, int col, unsigned char disp,
                                                  float* x, float* y, float* z);

/** As kestrovaRCD16ToXYZ, in the world frame. */
KESTROVA_API KestrovaError kestrovaRCD16ToWorldXYZ(KestrovaContext context, int row, int col, unsigned short disp,
                                                   float* x, float* y, float* z);

/** As kestrovaXYZToRCD, from a point of the world frame. */
KESTROVA_API KestrovaError kestrovaWorldXYZToRCD(KestrovaContext context, float x, float y, float z, float* row,
                                                 float* col, float* disp);

/* ---- the PGM readers of libkestrova_pgm.so.3 --------------------------------------------------------------------- */

/* kestrovaReadImageExtra and kestrovaReadImage16Extra call these two. libkestrova.so.3 brings the library that has them
   along; a program, or a library that is loaded earlier, that defines both is asked instead. */

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
 *         shorter than its header says, or has comments that do not fit, or a word of more than 1023 bytes in its
 *         header, where a comment's "#" and what stands at it are one; also when memory does not suffice.
 *
 * What stands behind the pixels is not looked at.
 */
bool pgm8Read(const char* path, char* comment, int* rows, int* cols, unsigned char** pixels);

/** As pgm8Read, for a file of 16-bit samples (a maximum value above 255) with the low byte first. */
bool pgm16Read(const char* path, char* comment, int* rows, int* cols, unsigned short** pixels);

/* The names below carry no prefix, so they are there only for a program that defines KESTROVA_NUMERICS before it
   includes this header. None of the functions looks at a context, keeps state or checks its pointers: all may run in
   several threads. */
#ifdef KESTROVA_NUMERICS

/* ---- small matrices, double precision, sizes around 3 to 16 ---------------------------------------------------- */

/**
 * Eigenvalues and eigenvectors of a symmetric matrix, by cyclic Jacobi rotations.
 *
 * @param a          n row pointers; the diagonal and what lies above it are read, what lies above it is destroyed
 * @param values     n values out, in no particular order
 * @param b          n doubles of work space
 * @param z          n doubles of work space
 * @param vectors    n row pointers; column k becomes the unit vector of values[k], of either sign
 * @param tolerance  ends as soon as the absolute values above the diagonal sum to less than this; it does not scale
 * with the matrix. Choose it above 0: at 0 all 100 sweeps run, a nearly diagonal matrix may give NaN
 *
 * There is no error: after 100 sweeps the function ends with what it has.
 */
KESTROVA_API void eigen(double** a, int n, double* values, double* b, double* z, double** vectors, double tolerance);

/**
 * LU decomposition by Crout's method with implicitly scaled partial pivoting.
 *
 * @param a       n by n, row by row; replaced by both factors, the lower one with ones on its diagonal
 * @param index   n row numbers out: the row that was swapped with each
 * @param parity  out: 1.0 for an even number of swaps, -1.0 for an odd one
 * @return 0; 1 when there is no memory (sizes above 16 only); 2 when a row is all zeros.
 *
 * A singular matrix without a row of zeros goes unnoticed: a pivot of 0 becomes 1e-20, and solutions become huge.
 */
KESTROVA_API int ludcmp(double* a, int n, int* index, double* parity);

/** Solves for one right side b, in place, from what ludcmp made. Always 0. */
KESTROVA_API int lubksb(const double* a, int n, const int* index, double* b);

/**
 * The x that brings A x closest to b, by the normal equations.
 *
 * @param A     rows by cols, row by row
 * @param b     rows values
 * @param x     cols values out
 * @param rows  equations
 * @param cols  unknowns
 * @return 0; 1 or 2 as ludcmp of the normal matrix.
 */
KESTROVA_API int leastSquares(const double* A, const double* b, double* x, int rows, int cols);

/**
 * Inverts n by n, row by row. The matrix is replaced by its factors.
 *
 * @return 0; 1 or 2 as ludcmp, and inverse stays as it was.
 */
KESTROVA_API int matrixInverse(double* a, int n, double* inverse);

/* ---- pixel arrays ---------------------------------------------------------------------------------------------- */

/* Images are rows * cols pixels in one run, unless a function takes the distance of rows. A product of sizes of 0 or
 * less does nothing. */

/** out = |a - b|. */
KESTROVA_API void LYRImageDifference(const uint8_t* a, const uint8_t* b, uint8_t* out, int rows, int cols);

/** out = a - b, and 0 where that would be negative. */
KESTROVA_API void LYRImageSubtract(const uint8_t* a, const uint8_t* b, uint8_t* out, int rows, int cols);

/** The sum of |a - b|, modulo 2^32; 0 when there are no pixels. */
KESTROVA_API void LYRImageSAD(const uint8_t* a, const uint8_t* b, unsigned int* sum, int rows, int cols);

/** As LYRImageSAD. */
KESTROVA_API void LYRImageSADMMX(const uint8_t* a, const uint8_t* b, unsigned int* sum, int rows, int cols);

/** The sum of all pixels, modulo 2^32; 0 when there are none. */
KESTROVA_API void LYRImagePixelSum(const uint8_t* image, unsigned int* sum, int rows, int cols);

/** Keeps pixels at or above the threshold; the others become 0. */
KESTROVA_API void LYRImage16ThresholdHighValue(const uint16_t* in, uint16_t threshold, uint16_t* out, int rows,
                                               int cols);

/** Keeps pixels at or below the threshold; the others become 0. */
KESTROVA_API void LYRImage16ThresholdLowValue(const uint16_t* in, uint16_t threshold, uint16_t* out, int rows,
                                              int cols);

/**
 * The brightest pixel, the first of equals from the top left; row 0, column 0 and value 0 when all are 0.
 *
 * @param rowBytes  distance of rows in BYTES; half the byte offset of a row, rounded toward 0, is its pixel offset
 */
KESTROVA_API void LYRImage16FindBrightestPixel(const uint16_t* image, int rows, int cols, int rowBytes,
                                               unsigned int* row, unsigned int* col, uint16_t* value);

/**
 * Half the size, each pixel the truncated average of 2 by 2.
 *
 * @param rowInc  distance of the rows of in; out is packed: its row m begins at m * cols / 2
 *
 * Sizes should be even. With odd ones the last pair reads one row or column beyond the image, and with an odd cols the
 * last pixel of a row is overwritten by the first of the next. out needs (rows - 1) / 2 * cols / 2 + (cols + 1) / 2
 * pixels, divided from left to right with fractions cut off: for 3 by 640 that is 640, as for 4.
 */
KESTROVA_API void LYRImageHalfSize(const uint8_t* in, int rows, int cols, int rowInc, uint8_t* out);

/** As LYRImageHalfSize, but takes the top left pixel of each 2 by 2 and reads nothing beyond the image. */
KESTROVA_API void LYRImageHalfSizeFast(const uint8_t* in, int rows, int cols, int rowInc, uint8_t* out);

/** out = (b - a) * k, from the last element to the first. */
KESTROVA_API void LYRFloatImageSubtractAndMultiply(const float* a, const float* b, int rows, int cols, float* out,
                                                   float k);

/**
 * Two thirds of the size, bilinear: each whole block of 3 by 3 gives 2 by 2. Rows and columns beyond the last whole
 * block are ignored; out is packed with cols / 3 * 2 columns and must not be in.
 */
KESTROVA_API void LYRFloatImageBilinearSubsample(const float* in, int rows, int cols, float* out);

/**
 * Votes for circles: every pixel adds its value to the ring of 4 * radius places around it, modulo 65536.
 *
 * @param rowInc               distance of the rows of image
 * @param accumulatorRowBytes  distance of the rows of accumulator in BYTES, at least 2 * cols; rows rows are cleared
 *                             first
 * @param radius               above 0; only pixels at least this far from every side vote
 */
KESTROVA_API void LYRImageHoughTransform(const uint8_t* image, uint16_t* accumulator, int rows, int cols, int rowInc,
                                         int accumulatorRowBytes, int radius);

/** Does nothing: the name is kept for programs that were linked against it. */
KESTROVA_API void LYRImageSobelMMX(uint8_t* in, uint8_t* out, int rows, int cols);

/** Fills bytes with the low byte of value. */
KESTROVA_API void LYRMemsetMMX(void* memory, int value, int bytes);

#endif /* KESTROVA_NUMERICS */

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
 * @param input  the record; must not be null
 * @return KestrovaErrorOk;
 *         KestrovaErrorInvalidParameter  inputType is neither packed nor RGB, or nrows or ncols is below 1; nothing is
 * freed.
 *
 * This one function is exported under its C++ name.
 */
#ifdef __cplusplus
KESTROVA_API KestrovaError kestrovaDestroyInput(KestrovaInput* input);
#elif defined(__GNUC__)
KESTROVA_API KestrovaError
kestrovaDestroyInput(KestrovaInput* input) __asm__("_Z20kestrovaDestroyInputP13KestrovaInput");
#endif

#endif /* KESTROVA_H */
