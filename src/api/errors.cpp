#include "kestrova.h"

const char* kestrovaErrorToString(KestrovaError error)
{
    switch (error) {
    case KestrovaErrorOk:
        return "Function succeeded";
    case KestrovaErrorNotImplemented:
        return "Feature not implemented";
    case KestrovaErrorInvalidSetting:
        return "Invalid setting";
    case KestrovaErrorInvalidContext:
        return "Invalid context";
    case KestrovaErrorInvalidCamera:
        return "Invalid camera";
    case KestrovaErrorInvalidROI:
        return "Invalid region of interest";
    case KestrovaErrorInvalidRequest:
        return "Invalid request";
    case KestrovaErrorConflictingOptions:
        return "Conflicting options set "; // the trailing blank is part of the text
    case KestrovaErrorConfigFileCorrupt:
        return "Configuration file corrupt";
    case KestrovaErrorNoConfigFile:
        return "No configuration file";
    case KestrovaErrorNoMMX:
        return "The system does not support MMX instructions";
    case KestrovaErrorInvalidParameter:
        return "The parameter passed to the function was invalid";
    case KestrovaErrorSurfaceValidationOverflow:
        return "Surface validation experienced an internal buffer overflow";
    case KestrovaErrorTransformFileCorrupt:
        return "3d transformation file corrupted";
    case KestrovaErrorSystem:
        return "A system error occurred";
    case KestrovaErrorUnknown:
    case KestrovaErrorImageFileRead:
    case KestrovaErrorImageComment:
        break; // no text of their own
    }
    return "Unknown Error";
}
