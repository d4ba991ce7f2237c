// The export macro of the library: everything public carries LML_API, everything else stays hidden.
#ifndef LML_LMLAPI_H
#define LML_LMLAPI_H

#if defined(_WIN32)
#if defined(LML_BUILDING)
#define LML_API __declspec(dllexport)
#else
#define LML_API __declspec(dllimport)
#endif
#else
#define LML_API __attribute__((visibility("default")))
#endif

#endif
