#ifndef TOVA_TOVA_EXPORT_H
#define TOVA_TOVA_EXPORT_H
/* The library is built with hidden visibility; TOVA_API marks the declarations
 * that make up the exported C interface, and nothing else. */
#if defined(_WIN32) || defined(__CYGWIN__)
#  if defined(TOVA_BUILDING_LIBRARY)
#    define TOVA_API __declspec(dllexport)
#  else
#    define TOVA_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__) || defined(__clang__)
#  define TOVA_API __attribute__((visibility("default")))
#else
#  define TOVA_API
#endif
#endif
