#pragma once

/// QEN_VECTOR_CLONES on a function builds it once for AVX2 and once for the base instruction set; the loader picks.
/// Only GCC on x86-64 has the mechanism, and it is off where the loader would run instrumented code before its runtime
/// is up (QEN_NO_VECTOR_CLONES, set for thread sanitizer and coverage builds). QEN_HAS_VECTOR_CLONES tells.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(QEN_NO_VECTOR_CLONES)
#define QEN_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#define QEN_HAS_VECTOR_CLONES
#else
#define QEN_VECTOR_CLONES
#endif
