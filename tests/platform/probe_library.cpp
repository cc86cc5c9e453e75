#include "platform/shared_library.h"

#ifdef _WIN32
#define PROBE_API extern "C" __declspec(dllexport)
#else
#define PROBE_API extern "C" __attribute__((visibility("default")))
#endif

PROBE_API int probeCount();
PROBE_API const char* probeDirectory();

/// How often it was called since the library was loaded.
PROBE_API int probeCount()
{
    static int calls = 0;
    return ++calls;
}

PROBE_API const char* probeDirectory()
{
    return Velmora::Platform::libraryDirectory().c_str();
}
