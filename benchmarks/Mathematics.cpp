#include <benchmarks/Mathematics.h>

#include <benchmarks/Clocks.h>

#include <algorithm>

namespace bench {

namespace {

double step(double in1, double in2, int steps) {
    double x = in1 + in2;
    for (int i = 0; i < steps; ++i) {
        x = x * 0.999999 + 1e-6;
    }
    return x;
}

int stepsOfTwentyMicroseconds() {
    constexpr int tried = 12000;
    double fastest = 1e9;
    double sum = 0.0;
    // Long enough for other programs to let go of the processor once.
    for (int i = 0; i < 3001; ++i) {
        const double start = wallNow();
        sum = step(sum, 0.01, tried);
        fastest = std::min(fastest, wallNow() - start);
    }
    // The sum is asked for, or the loop would be left out.
    return sum > 0.0 ? static_cast<int>(tried * 20000.0 / fastest) : tried;
}

}  // namespace

double slowSum(double in1, double in2) {
    static const int steps = stepsOfTwentyMicroseconds();
    return step(in1, in2, steps);
}

}  // namespace bench
