/// Whether the program is built with a sanitizer that takes over the system's memory.
#pragma once

// g++ and clang tell of it in ways of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DRAVIX_TEST_SANITIZED 1
#elif defined(__has_feature)
#define DRAVIX_TEST_SANITIZED (__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#else
#define DRAVIX_TEST_SANITIZED 0
#endif
