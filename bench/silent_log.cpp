/// AlgoLog functions that say nothing, for programs whose log lines would be counted or in the way.
#include <dravix/algolog.h>

void AlgoLogError(const char* /*format*/, ...) {}
void AlgoLogWarn(const char* /*format*/, ...) {}
void AlgoLogInfo(const char* /*format*/, ...) {}
void AlgoLogDebug(const char* /*format*/, ...) {}
