/* Which symbols the shared library shows. */
#ifndef DRAVIX_EXPORT_H_
#define DRAVIX_EXPORT_H_

#if defined(DRAVIX_STATIC)
#define DRAVIX_API
#elif defined(_WIN32)
#if defined(DRAVIX_BUILDING)
#define DRAVIX_API __declspec(dllexport)
#else
#define DRAVIX_API __declspec(dllimport)
#endif
#else
#define DRAVIX_API __attribute__((visibility("default")))
#endif

#endif /* DRAVIX_EXPORT_H_ */
