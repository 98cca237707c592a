#pragma once

/// Marks a function that is compiled once more for processors with wider registers; what it calls must be
/// inlined into it. `hasWideRegisters()` says whether this processor has them.
#if defined(__x86_64__) && defined(__GNUC__)
#define KELVARIS_WIDE __attribute__((target("avx2,fma")))
#else
#define KELVARIS_WIDE
#endif
#define KELVARIS_INLINED inline __attribute__((always_inline))

namespace kelvaris {

inline bool hasWideRegisters() {
#if defined(__x86_64__) && defined(__GNUC__)
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
    return false;
#endif
}

}  // namespace kelvaris
