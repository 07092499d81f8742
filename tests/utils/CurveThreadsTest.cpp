#include <TessilUtils/Curve.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <thread>
#include <utility>
#include <vector>

using Imath::V3f;
using TessilUtils::Curve;

namespace {

std::vector<V3f> randomPoints(std::mt19937& engine, std::size_t count) {
    const auto coordinate = [&] { return static_cast<float>(engine() >> 8) / static_cast<float>(1u << 24) - 0.5f; };
    std::vector<V3f> points;
    for (std::size_t i = 0; i < count; ++i) {
        const float x = coordinate();
        const float y = coordinate();
        points.emplace_back(x, y, coordinate());
    }
    return points;
}

std::pair<float, V3f> closest(Curve& curve, const V3f& position) {
    return curve.closestPoint(position, 6, 10, 0.0001f);
}

TEST(CurveThreads, GetTheAnswersThatOneGets) {
    std::mt19937 engine(15);
    Curve curve(randomPoints(engine, 60));
    const std::vector<V3f> positions = randomPoints(engine, 200);
    for (std::size_t round = 0; round < 10; ++round) {
        curve.cvs()[5 * round] = randomPoints(engine, 1)[0];
        Curve alone(curve.cvs());
        std::vector<std::pair<float, V3f>> expected;
        for (const V3f& position : positions) {
            expected.push_back(closest(alone, position));
        }
        std::vector<int> wrong(8, 0);
        std::vector<std::thread> threads;
        for (std::size_t thread = 0; thread < wrong.size(); ++thread) {
            threads.emplace_back([&, thread] {
                for (std::size_t i = 0; i < positions.size(); ++i) {
                    wrong[thread] += closest(curve, positions[i]) != expected[i];
                    if (i % 50 == 0) {
                        Curve copy = curve;
                        wrong[thread] += closest(copy, positions[i]) != expected[i];
                    }
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(wrong, std::vector<int>(8, 0)) << "round " << round;
    }
}

}  // namespace
