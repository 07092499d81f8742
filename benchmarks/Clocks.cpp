#include <benchmarks/Clocks.h>

#include <benchmarks/Median.h>

#include <chrono>
#include <ctime>
#include <vector>

namespace bench {

double wallNow() {
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double threadNow() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double clockCost() {
    static const double cost = [] {
        std::vector<double> costs;
        for (int i = 0; i < 1001; ++i) {
            const double start = wallNow();
            costs.push_back(wallNow() - start);
        }
        return median(costs);
    }();
    return cost;
}

}  // namespace bench
