// Export macro: the library is built with hidden visibility; only what carries
// VYN_API is part of its ABI.
#ifndef VYNULIB_EXPORT_H
#define VYNULIB_EXPORT_H

#if defined(_WIN32)
#if defined(VYNULIB_BUILDING)
#define VYN_API __declspec(dllexport)
#else
#define VYN_API __declspec(dllimport)
#endif
#else
#define VYN_API __attribute__((visibility("default")))
#endif

#endif
