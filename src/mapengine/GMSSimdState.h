#pragma once

// Some library code on this platform returns with the upper halves of the
// AVX registers dirty; every plain SSE instruction after that pays a
// transition penalty (measured: vertex preparation ten times slower).
// Heavy geometry loops call this first. A no-op where AVX is absent.
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>

__attribute__((target("avx"))) inline void gmsClearUpperSimdStateAvx() { _mm256_zeroupper(); }

inline void gmsClearUpperSimdState() {
    static const bool hasAvx = __builtin_cpu_supports("avx");
    if (hasAvx) gmsClearUpperSimdStateAvx();
}
#else
inline void gmsClearUpperSimdState() {}
#endif
