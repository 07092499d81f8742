#pragma once

#if defined(__SSE2__)
#include <xmmintrin.h>
#else
#include <cfenv>
#endif

namespace TessilUtils::internal {

// Gives a scope the standard floating point settings (round to nearest, denormals kept, no traps)
// and puts the caller's settings and exception flags back at its end. What is computed inside
// belongs in a function that is not inlined here: compilers move arithmetic across the change.
class FloatingPointState {
public:
#if defined(__SSE2__)
    FloatingPointState() : callers_(_mm_getcsr()) {
        if ((callers_ & ~exceptionFlags) != standard) {
            _mm_setcsr(standard);
        }
    }
    ~FloatingPointState() {
        // Writing is dearer than reading, and mostly nothing has changed.
        if (_mm_getcsr() != callers_) {
            _mm_setcsr(callers_);
        }
    }
#else
    FloatingPointState() {
        std::fegetenv(&callers_);
        std::fesetenv(FE_DFL_ENV);
    }
    ~FloatingPointState() {
        std::fesetenv(&callers_);
    }
#endif

    FloatingPointState(const FloatingPointState&) = delete;
    FloatingPointState& operator=(const FloatingPointState&) = delete;

private:
#if defined(__SSE2__)
    static constexpr unsigned int exceptionFlags = 0x3f;
    static constexpr unsigned int standard = 0x1f80;

    unsigned int callers_;
#else
    std::fenv_t callers_;
#endif
};

}  // namespace TessilUtils::internal
