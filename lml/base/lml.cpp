// Load entry of the library. All set-up is in Start() and in static data, so there is nothing to do when it is loaded.

#include "LmlApi.h"

extern "C" LML_API int LmlLoadEntry(void* module, unsigned long reason, void* reserved);

/// Called by a loader, or by a program that loads the library by hand, with any reason code; returns 1 for success.
int LmlLoadEntry(void* /*module*/, unsigned long /*reason*/, void* /*reserved*/)
{
    return 1;
}
