/* The four functions of the logging library; dravix writes every line of its log through them.
 *
 * Each takes a printf-style format and its values, and writes one line at its level. A format is
 * always a fixed text, so that lines can be told apart by it. The functions never fail and never
 * change errno. A host that brings its own logging library defines these four. */
#ifndef DRAVIX_ALGOLOG_H_
#define DRAVIX_ALGOLOG_H_

#include <dravix/export.h>

#if defined(__GNUC__)
#define DRAVIX_PRINTF_LIKE __attribute__((format(printf, 1, 2)))
#else
#define DRAVIX_PRINTF_LIKE
#endif

#ifdef __cplusplus
extern "C" {
#endif

DRAVIX_API void AlgoLogError(const char* format, ...) DRAVIX_PRINTF_LIKE;
DRAVIX_API void AlgoLogWarn(const char* format, ...) DRAVIX_PRINTF_LIKE;
DRAVIX_API void AlgoLogInfo(const char* format, ...) DRAVIX_PRINTF_LIKE;
DRAVIX_API void AlgoLogDebug(const char* format, ...) DRAVIX_PRINTF_LIKE;

#ifdef __cplusplus
}
#endif

#endif /* DRAVIX_ALGOLOG_H_ */
