#pragma once

#include <functional>

namespace twins {

/// While one lives, and one at a time, a crash of the process, or a sanitizer that ends it, calls a function first.
/// That may do what a process in such a state most often still can, print for one.
class OnCrash {
public:
    explicit OnCrash(std::function<void()> tell);
    ~OnCrash();
    OnCrash(const OnCrash&) = delete;
    OnCrash& operator=(const OnCrash&) = delete;
};

}  // namespace twins
