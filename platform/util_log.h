// Logging entry point of the camera platform library. This stand-in serves
// desktop builds and tests; on Android it forwards to the system log.
#ifndef MORVANE_UTIL_LOG_H
#define MORVANE_UTIL_LOG_H

#if defined(_WIN32)
#define MORVANE_PLATFORM_EXPORT __declspec(dllexport)
#else
#define MORVANE_PLATFORM_EXPORT __attribute__((visibility("default")))
#endif

typedef enum UTILModuleIdEnum {
    UTIL_MODULE_KEVRA = 0x10004007
} UTILModuleIdEnum;

#ifdef __cplusplus
extern "C" {
#endif

// Debug-level log line. Off the device it is written to standard error only
// when the environment variable MORVANE_DEBUG_LOG is set to a value other than
// "0", as "D/<tag>(0x<module>): <text>".
MORVANE_PLATFORM_EXPORT void utilLOGD(UTILModuleIdEnum module, const char* tag, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

#ifdef __cplusplus
}
#endif

#endif  // MORVANE_UTIL_LOG_H
