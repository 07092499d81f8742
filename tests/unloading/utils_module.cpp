// A module of a host that needs no more than TessilUtils: runs a loop on several threads.

#include <TessilUtils/ParallelFor.h>

extern "C" __attribute__((visibility("default"))) void work() {
    TessilUtils::parallel_for({0, 1000}, [](const TessilUtils::ParallelForRange&) {});
}
