#ifndef KIV_EXPORT_H_
#define KIV_EXPORT_H_

// KIV_API marks what the library exports; everything else is hidden.
#if defined(_WIN32)
#if defined(KIV_BUILDING_LIBRARY)
#define KIV_API __declspec(dllexport)
#else
#define KIV_API __declspec(dllimport)
#endif
#else
#define KIV_API __attribute__((visibility("default")))
#endif

#endif  // KIV_EXPORT_H_
