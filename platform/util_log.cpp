#include "util_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__ANDROID__)
#include <android/log.h>
#endif

extern "C" void utilLOGD(UTILModuleIdEnum module, const char* tag, const char* format, ...) {
    va_list args;
    va_start(args, format);
#if defined(__ANDROID__)
    (void)module;
    __android_log_vprint(ANDROID_LOG_DEBUG, tag, format, args);
#else
    const char* wanted = std::getenv("MORVANE_DEBUG_LOG");
    if (wanted != nullptr && *wanted != '\0' && std::strcmp(wanted, "0") != 0) {
        std::fprintf(stderr, "D/%s(0x%08x): ", tag, static_cast<unsigned>(module));
        std::vfprintf(stderr, format, args);
    }
#endif
    va_end(args);
}
