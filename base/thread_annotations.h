// Names for Clang's thread safety analysis; nothing for other compilers. A
// Clang build of ./test treats its findings as errors.
#pragma once

#if defined(__clang__)
#define ORVENTA_TSA(x) __attribute__((x))
#else
#define ORVENTA_TSA(x)
#endif

#define ORVENTA_CAPABILITY(name) ORVENTA_TSA(capability(name))
#define ORVENTA_SCOPED_CAPABILITY ORVENTA_TSA(scoped_lockable)
#define ORVENTA_GUARDED_BY(lock) ORVENTA_TSA(guarded_by(lock))
#define ORVENTA_REQUIRES(...) ORVENTA_TSA(requires_capability(__VA_ARGS__))
#define ORVENTA_EXCLUDES(...) ORVENTA_TSA(locks_excluded(__VA_ARGS__))
#define ORVENTA_ACQUIRE(...) ORVENTA_TSA(acquire_capability(__VA_ARGS__))
#define ORVENTA_RELEASE(...) ORVENTA_TSA(release_capability(__VA_ARGS__))
#define ORVENTA_NO_TSA ORVENTA_TSA(no_thread_safety_analysis)
