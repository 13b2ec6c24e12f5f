#pragma once

// ZEF_TEST_SANITIZED is 1 under the address and the thread sanitizer, where
// large inputs take too long and limits on memory cannot be set.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZEF_TEST_SANITIZED 1
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZEF_TEST_SANITIZED 1
#endif
#ifndef ZEF_TEST_SANITIZED
#define ZEF_TEST_SANITIZED 0
#endif
