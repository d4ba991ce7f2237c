// The export macro of the library: everything public carries LML_API, everything else stays hidden.
#ifndef LML_LMLAPI_H
#define LML_LMLAPI_H

#if defined(_WIN32)
#if defined(LML_BUILDING)
/// Marks what the library shows to its users.
#define LML_API __declspec(dllexport)
#else
#define LML_API __declspec(dllimport)
#endif
#else
/// Marks what the library shows to its users.
#define LML_API __attribute__((visibility("default")))
#endif

#endif
