/// AlgoLog functions that say nothing, for programs whose output or timing log lines would disturb.
#include <dravix/algolog.h>

void AlgoLogError(const char* /*format*/, ...) {}
void AlgoLogWarn(const char* /*format*/, ...) {}
void AlgoLogInfo(const char* /*format*/, ...) {}
void AlgoLogDebug(const char* /*format*/, ...) {}
