#include <TessilUtils/Curve.h>

#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

using Imath::V3d;
using Imath::V3f;
using TessilUtils::Curve;

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float largest = std::numeric_limits<float>::max();

// The curve by its basis functions, which is another way than the library's.
V3d reference(const std::vector<V3f>& vertices, std::size_t degree, double parameter) {
    degree = std::min(degree, vertices.size() - 1);
    const std::size_t spans = vertices.size() - degree;
    const double u = parameter * static_cast<double>(spans);
    const std::size_t span = std::min(static_cast<std::size_t>(u), spans - 1);
    const auto knot = [&](std::size_t i) {
        return i <= degree ? 0.0 : std::min(static_cast<double>(i - degree), static_cast<double>(spans));
    };
    const std::size_t at = span + degree;
    std::vector<double> basis(degree + 1);
    basis[0] = 1.0;
    for (std::size_t round = 1; round <= degree; ++round) {
        double saved = 0.0;
        for (std::size_t i = 0; i < round; ++i) {
            const double right = knot(at + i + 1) - u;
            const double left = u - knot(at + 1 + i - round);
            const double part = basis[i] / (right + left);
            basis[i] = saved + right * part;
            saved = left * part;
        }
        basis[round] = saved;
    }
    V3d point(0.0);
    for (std::size_t i = 0; i <= degree; ++i) {
        point += V3d(vertices[span + i]) * basis[i];
    }
    return point;
}

std::vector<V3d> samplesOf(const std::vector<V3f>& vertices, std::size_t degree, std::size_t count) {
    std::vector<V3d> samples;
    for (std::size_t i = 0; i <= count; ++i) {
        samples.push_back(reference(vertices, degree, static_cast<double>(i) / static_cast<double>(count)));
    }
    return samples;
}

double nearestOf(const std::vector<V3d>& samples, const V3d& position) {
    double nearest = std::numeric_limits<double>::infinity();
    for (const V3d& sample : samples) {
        nearest = std::min(nearest, (sample - position).length2());
    }
    return std::sqrt(nearest);
}

std::pair<float, V3f> closest(Curve& curve, const V3f& position) {
    return curve.closestPoint(position, 6, 10, 0.0001f);
}

double scaleOf(const std::vector<V3f>& vertices) {
    double scale = 0.0;
    for (const V3f& vertex : vertices) {
        scale = std::max(scale, V3d(vertex).length());
    }
    return scale;
}

// The answer is on the curve, and no sample is nearer.
void expectNearest(Curve& curve, const std::vector<V3d>& samples, const V3f& position, const std::string& where) {
    const auto [parameter, point] = closest(curve, position);
    ASSERT_GE(parameter, 0.0f) << where;
    ASSERT_LE(parameter, 1.0f) << where;
    const double scale = std::max(scaleOf(curve.cvs()), V3d(position).length());
    const double distance = (V3d(point) - V3d(position)).length();
    EXPECT_LE(distance, nearestOf(samples, V3d(position)) + 1e-6 * scale) << where << ", position " << position;
    const double speed = V3d(curve.tangentOnCurve(parameter)).length();
    EXPECT_LE((V3d(curve.pointOnCurve(parameter)) - V3d(point)).length(), 1e-6 * scale + 2e-7 * speed) << where;
}

class Random {
public:
    explicit Random(unsigned int seed) : engine_(seed) {}
    float operator()(float low, float high) {
        return low + (high - low) * static_cast<float>(engine_() >> 8) / static_cast<float>(1u << 24);
    }
    unsigned int below(unsigned int count) { return static_cast<unsigned int>(engine_()) % count; }
    V3f vector(float size) {
        const float x = (*this)(-size, size);
        const float y = (*this)(-size, size);
        return {x, y, (*this)(-size, size)};
    }

private:
    std::mt19937 engine_;
};

std::vector<V3f> tangle(Random& random, std::size_t count, float size = 5.0f) {
    std::vector<V3f> vertices;
    for (std::size_t i = 0; i < count; ++i) {
        vertices.push_back(random.vector(size));
    }
    return vertices;
}

std::vector<V3f> walk(Random& random, std::size_t count) {
    std::vector<V3f> vertices{V3f(0.0f)};
    V3f direction(1.0f, 0.0f, 0.0f);
    while (vertices.size() < count) {
        direction = (direction + random.vector(0.5f)).normalized();
        vertices.push_back(vertices.back() + direction);
    }
    return vertices;
}

TEST(Curve, IsZeroWithoutControlVertices) {
    Curve curve;
    EXPECT_TRUE(curve.cvs().empty());
    EXPECT_EQ(curve.degree(), 0u);
    EXPECT_EQ(curve.pointOnCurve(0.5f), V3f(0.0f));
    EXPECT_EQ(curve.tangentOnCurve(0.5f), V3f(0.0f));
    EXPECT_EQ(closest(curve, V3f(1.0f)), std::make_pair(0.0f, V3f(0.0f)));
}

TEST(Curve, LowersItsDegreeWhileThereAreTooFewVertices) {
    Curve curve({}, 5);
    const unsigned int expected[] = {0, 0, 1, 2, 3, 4, 5, 5, 5};
    for (const unsigned int degree : expected) {
        EXPECT_EQ(curve.degree(), degree) << curve.cvs().size() << " vertices";
        curve.cvs().push_back(V3f(static_cast<float>(curve.cvs().size())));
    }
    EXPECT_EQ(Curve(std::vector<V3f>(10), std::numeric_limits<unsigned int>::max()).degree(), 9u);
    EXPECT_EQ(Curve(std::vector<V3f>(10), 0).degree(), 0u);
    EXPECT_EQ(Curve(std::vector<V3f>(10)).degree(), 3u);
}

TEST(Curve, BeginsAtTheFirstAndEndsAtTheLastVertex) {
    Random random(1);
    for (const unsigned int degree : {0u, 1u, 2u, 3u, 7u, 40u}) {
        for (const std::size_t count : {1u, 2u, 3u, 4u, 10u, 60u}) {
            const std::vector<V3f> vertices = tangle(random, count);
            const Curve curve(vertices, degree);
            EXPECT_EQ(curve.pointOnCurve(0.0f), vertices.front());
            EXPECT_EQ(curve.pointOnCurve(1.0f), vertices.back());
        }
    }
}

TEST(Curve, FollowsTheBasisFunctions) {
    Random random(2);
    for (const unsigned int degree : {0u, 1u, 2u, 3u, 4u, 5u, 9u, 16u, 30u}) {
        for (const std::size_t count : {1u, 2u, 4u, 5u, 8u, 31u, 100u}) {
            const std::vector<V3f> vertices = tangle(random, count);
            const Curve curve(vertices, degree);
            for (int i = 0; i < 50; ++i) {
                const float parameter = random(0.0f, 1.0f);
                const V3d difference = V3d(curve.pointOnCurve(parameter)) - reference(vertices, degree, parameter);
                EXPECT_LT(difference.length(), 2e-6) << "degree " << degree << ", " << count << " vertices";
            }
        }
    }
}

TEST(Curve, ClampsTheParameterAndTakesNaNForTheBeginning) {
    const Curve curve({V3f(1.0f, 2.0f, 3.0f), V3f(4.0f, 0.0f, 0.0f), V3f(5.0f, 1.0f, 0.0f), V3f(7.0f, 8.0f, 9.0f)});
    for (const float parameter : {-0.1f, -1e30f, -infinity, notANumber, -0.0f}) {
        EXPECT_EQ(curve.pointOnCurve(parameter), V3f(1.0f, 2.0f, 3.0f));
        EXPECT_EQ(curve.tangentOnCurve(parameter), V3f(9.0f, -6.0f, -9.0f));
    }
    for (const float parameter : {1.1f, 1e30f, infinity}) {
        EXPECT_EQ(curve.pointOnCurve(parameter), V3f(7.0f, 8.0f, 9.0f));
        EXPECT_EQ(curve.tangentOnCurve(parameter), V3f(6.0f, 21.0f, 27.0f));
    }
}

TEST(Curve, HasTangentsThatAgreeWithFiniteDifferences) {
    Random random(3);
    for (const unsigned int degree : {1u, 2u, 3u, 5u, 12u}) {
        for (const std::size_t count : {2u, 4u, 7u, 50u}) {
            const std::vector<V3f> vertices = tangle(random, count);
            const Curve curve(vertices, degree);
            const double spans = static_cast<double>(count - curve.degree());
            for (int i = 0; i < 50; ++i) {
                const float parameter = random(0.01f, 0.99f);
                const double step = 1e-5 / spans;
                const double place = parameter * spans;
                if (degree <= 2 && std::abs(place - std::round(place)) < 1e-3) {
                    continue;  // the tangent jumps or bends at a knot
                }
                const V3d expected =
                    (reference(vertices, degree, parameter + step) - reference(vertices, degree, parameter - step)) /
                    (2.0 * step);
                const V3d difference = V3d(curve.tangentOnCurve(parameter)) - expected;
                EXPECT_LT(difference.length(), 1e-5 * (1.0 + expected.length()) * (1.0 + spans)) << parameter;
            }
        }
    }
}

TEST(Curve, HasNoTangentWhereItDoesNotMove) {
    EXPECT_EQ(Curve({V3f(3.0f)}).tangentOnCurve(0.3f), V3f(0.0f));
    EXPECT_EQ(Curve({V3f(3.0f), V3f(4.0f), V3f(9.0f)}, 0).tangentOnCurve(0.3f), V3f(0.0f));
    EXPECT_EQ(Curve(std::vector<V3f>(20, V3f(3.0f))).tangentOnCurve(0.3f), V3f(0.0f));
}

TEST(Curve, FindsThePlaceNearestOfAllAmongDenseSamples) {
    for (const unsigned int seed : tests::seeds(240, 0)) {
        Random random(100 + seed);
        const std::size_t counts[] = {4, 5, 6, 8, 12, 20, 40, 100};
        const std::size_t count = counts[seed % 8];
        const std::vector<V3f> vertices = seed % 2 == 0 ? tangle(random, count) : walk(random, count);
        Curve curve(vertices);
        const std::vector<V3d> samples = samplesOf(vertices, 3, 100000);
        const std::string where = "seed " + std::to_string(seed);
        expectNearest(curve, samples, vertices[random.below(static_cast<unsigned int>(count))] + random.vector(2.0f),
                      where);
        expectNearest(curve, samples, vertices[random.below(static_cast<unsigned int>(count))] + random.vector(0.1f),
                      where);
        expectNearest(curve, samples, random.vector(8.0f), where);
        expectNearest(curve, samples, random.vector(300.0f), where);
    }
}

TEST(Curve, FindsTheNearestPlaceAtEveryDegreeAndLength) {
    for (const unsigned int degree : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 13u, 16u, 17u, 30u, 70u}) {
        for (const std::size_t count : {1u, 2u, 3u, 5u, 18u, 33u, 90u}) {
            Random random(degree * 100 + static_cast<unsigned int>(count));
            const std::vector<V3f> vertices = tangle(random, count);
            Curve curve(vertices, degree);
            const std::vector<V3d> samples = samplesOf(vertices, degree, degree > 16 ? 3000 : 6000);
            const std::string where = "degree " + std::to_string(degree) + ", vertices " + std::to_string(count);
            for (int i = 0; i < 6; ++i) {
                expectNearest(curve, samples, random.vector(6.0f), where);
            }
        }
    }
}

TEST(Curve, FindsTheNearestPlaceOfManyVertices) {
    for (const std::size_t count : {300u, 1000u, 5000u}) {
        for (const bool straight : {false, true}) {
            Random random(static_cast<unsigned int>(count));
            const std::vector<V3f> vertices = straight ? walk(random, count) : tangle(random, count);
            Curve curve(vertices);
            const std::vector<V3d> samples = samplesOf(vertices, 3, 100 * count);
            for (int i = 0; i < 10; ++i) {
                const V3f& near = vertices[random.below(static_cast<unsigned int>(count))];
                expectNearest(curve, samples, near + random.vector(2.0f), std::to_string(count) + " vertices");
            }
        }
    }
}

TEST(Curve, ReturnsAPositionThatLiesOnIt) {
    Random random(5);
    for (const std::size_t count : {2u, 4u, 10u, 200u}) {
        const std::vector<V3f> vertices = walk(random, count);
        Curve curve(vertices);
        for (int i = 0; i < 200; ++i) {
            const float parameter = random(0.0f, 1.0f);
            const V3f position = curve.pointOnCurve(parameter);
            const auto [found, point] = closest(curve, position);
            EXPECT_LT((point - position).length(), 1e-6 * scaleOf(vertices) + 1e-6);
            EXPECT_NEAR(found, parameter, 1e-4);
        }
    }
}

TEST(Curve, ChoosesOneOfTwoPlacesThatAreEquallyNear) {
    // A symmetric arch; the position lies on its axis, far below.
    Curve arch({V3f(-2.0f, 0.0f, 0.0f), V3f(-2.0f, 9.0f, 0.0f), V3f(2.0f, 9.0f, 0.0f), V3f(2.0f, 0.0f, 0.0f)});
    const auto [parameter, point] = closest(arch, V3f(0.0f, -1.0f, 0.0f));
    EXPECT_TRUE(parameter == 0.0f || parameter == 1.0f) << parameter;
    EXPECT_FLOAT_EQ(std::abs(point.x), 2.0f);
    // A figure that crosses itself at the position.
    const std::vector<V3f> cross{V3f(-3.0f, -3.0f, 0.0f), V3f(3.0f, 3.0f, 0.0f), V3f(-3.0f, 3.0f, 0.0f),
                                 V3f(3.0f, -3.0f, 0.0f)};
    Curve loop(cross);
    const std::vector<V3d> samples = samplesOf(cross, 3, 100000);
    for (float y = -3.0f; y < 3.0f; y += 0.01f) {
        expectNearest(loop, samples, V3f(0.0f, y, 0.0f), "self-crossing");
        expectNearest(loop, samples, V3f(0.0f, y, 2.0f), "self-crossing");
    }
}

TEST(Curve, HandlesCoincidentAndCollinearVertices) {
    Random random(6);
    std::vector<std::vector<V3f>> shapes;
    shapes.push_back(std::vector<V3f>(12, V3f(1.1f, -2.3f, 0.7f)));
    shapes.push_back({V3f(0.0f), V3f(0.0f), V3f(0.0f), V3f(1.0f, 0.0f, 0.0f), V3f(1.0f, 0.0f, 0.0f),
                      V3f(1.0f, 0.0f, 0.0f), V3f(1.0f, 2.0f, 0.0f), V3f(1.0f, 2.0f, 0.0f)});
    std::vector<V3f> line;
    for (int i = 0; i < 20; ++i) {
        line.push_back(V3f(0.3f, 0.1f, -0.7f) * random(-9.0f, 9.0f));  // runs to and fro
    }
    shapes.push_back(line);
    std::vector<V3f> round;
    for (int i = 0; i < 40; ++i) {
        const auto angle = static_cast<float>(i) * 0.31416f;  // twice around: nearly equally near everywhere
        round.push_back(V3f(std::cos(angle), std::sin(angle), 0.0f));
    }
    shapes.push_back(round);
    for (const unsigned int degree : {1u, 2u, 3u, 6u}) {
        for (std::size_t shape = 0; shape < shapes.size(); ++shape) {
            Curve curve(shapes[shape], degree);
            const std::vector<V3d> samples = samplesOf(shapes[shape], degree, 4000);
            const std::string where = "shape " + std::to_string(shape) + ", degree " + std::to_string(degree);
            expectNearest(curve, samples, V3f(0.0f), where);
            for (int i = 0; i < 20; ++i) {
                expectNearest(curve, samples, random.vector(4.0f), where);
                expectNearest(curve, samples, shapes[shape][random.below(8)], where);
            }
        }
    }
}

TEST(Curve, StaysPreciseFarFromTheOrigin) {
    Random random(7);
    for (const float offset : {1e3f, 1e6f}) {
        std::vector<V3f> vertices = tangle(random, 30, 50.0f);
        for (V3f& vertex : vertices) {
            vertex += V3f(offset, -offset, offset);
        }
        Curve curve(vertices);
        const std::vector<V3d> samples = samplesOf(vertices, 3, 30000);
        for (int i = 0; i < 50; ++i) {
            const V3f position = V3f(offset, -offset, offset) + random.vector(60.0f);
            const V3d point(closest(curve, position).second);
            const double unit = offset * 1.2e-7;  // spacing of floats there
            EXPECT_LE((point - V3d(position)).length(), nearestOf(samples, V3d(position)) + unit + 1e-4);
        }
    }
}

TEST(Curve, FindsTheBestPlaceFromFarAway) {
    Random random(8);
    const std::vector<V3f> vertices = tangle(random, 30);
    Curve curve(vertices);
    const std::vector<V3d> samples = samplesOf(vertices, 3, 100000);
    for (int i = 0; i < 50; ++i) {
        const V3f position = random.vector(1e6f);
        const V3d point(closest(curve, position).second);
        EXPECT_LE((point - V3d(position)).length(), nearestOf(samples, V3d(position)) + 1e-4);
    }
}

TEST(Curve, IsRightWithAnyArguments) {
    const unsigned int numbers[] = {0, 1, 2, 6, 1000, std::numeric_limits<unsigned int>::max()};
    const float tolerances[] = {0.0f, -1.0f, 1e-30f, 1e-4f, 1.0f, largest, infinity, -infinity, notANumber};
    for (const unsigned int degree : {1u, 3u, 5u}) {
        Random random(9);
        const std::vector<V3f> vertices = tangle(random, 15);
        Curve curve(vertices, degree);
        for (int i = 0; i < 5; ++i) {
            const V3f position = random.vector(6.0f);
            const V3f expected = closest(curve, position).second;
            const double distance = (expected - position).length();
            for (const unsigned int samples : numbers) {
                for (const unsigned int iterations : numbers) {
                    for (const float tolerance : tolerances) {
                        const V3f point = curve.closestPoint(position, samples, iterations, tolerance).second;
                        EXPECT_NEAR((point - position).length(), distance, 5e-6)
                            << samples << ' ' << iterations << ' ' << tolerance;
                    }
                }
            }
        }
    }
}

TEST(Curve, FindsPlacesToFloatPrecisionByHalvingAlone) {
    Curve line({V3f(0), V3f(1, 0, 0)});
    Curve cubic({V3f(0), V3f(1, 2, 0), V3f(3, 2, 0), V3f(4, 0, 0)});
    for (const unsigned int iterations : {0U, 1U, 2U, 3U}) {
        for (int i = 1; i < 1000; ++i) {
            const V3f onLine(static_cast<float>(i) / 1000.0f, 0, 0);
            ASSERT_LT((line.closestPoint(onLine, 6, iterations, 1e-4f).second - onLine).length(), 1.2e-7f)
                << iterations << ' ' << i;
            const V3f onCubic = cubic.pointOnCurve(static_cast<float>(i) / 1000.0f);
            ASSERT_LT((cubic.closestPoint(onCubic, 6, iterations, 1e-4f).second - onCubic).length(), 6e-7f)
                << iterations << ' ' << i;
        }
    }
}

TEST(Curve, SeesChangesOfItsVertices) {
    Random random(10);
    Curve curve(tangle(random, 20));
    for (int round = 0; round < 30; ++round) {
        std::vector<V3f>& vertices = curve.cvs();
        if (round % 3 == 0) {
            vertices[random.below(static_cast<unsigned int>(vertices.size()))] = random.vector(5.0f);
        } else if (round % 3 == 1) {
            vertices.push_back(random.vector(5.0f));
        } else {
            vertices.resize(2 + random.below(25), random.vector(5.0f));
        }
        const std::vector<V3d> samples = samplesOf(vertices, 3, 3000);
        expectNearest(curve, samples, random.vector(6.0f), "round " + std::to_string(round));
        expectNearest(curve, samples, random.vector(6.0f), "round " + std::to_string(round));
    }
    curve.cvs().clear();
    EXPECT_EQ(closest(curve, V3f(1.0f)).second, V3f(0.0f));
}

TEST(Curve, GoesItsOwnWayAfterACopyOrAMove) {
    Random random(11);
    const std::vector<V3f> vertices = tangle(random, 12);
    const V3f position = random.vector(6.0f);
    Curve original(vertices, 4);
    const auto answer = closest(original, position);
    Curve copy = original;
    EXPECT_EQ(closest(copy, position), answer);
    copy.cvs().assign(3, V3f(9.0f));
    EXPECT_EQ(closest(copy, position).second, V3f(9.0f));
    EXPECT_EQ(closest(original, position), answer);
    copy = original;
    EXPECT_EQ(copy.degree(), 4u);
    EXPECT_EQ(closest(copy, position), answer);
    const Curve& itself = copy;
    copy = itself;
    EXPECT_EQ(closest(copy, position), answer);
    Curve moved = std::move(copy);
    EXPECT_EQ(closest(moved, position), answer);
    EXPECT_EQ(closest(copy, position).second, V3f(0.0f)) << "moved from: empty";
    copy = std::move(moved);
    EXPECT_EQ(closest(copy, position), answer);
    { const Curve shortLived = original; }
    EXPECT_EQ(closest(original, position), answer);
}

TEST(Curve, LeavesOutWhatDependsOnVerticesThatAreNotFinite) {
    for (const float bad : {notANumber, infinity, -infinity}) {
        std::vector<V3f> vertices;
        for (int i = 0; i < 20; ++i) {
            vertices.push_back(V3f(static_cast<float>(i), 0.0f, 0.0f));
        }
        vertices[12].y = bad;
        Curve curve(vertices);
        // Far from that vertex all is well.
        EXPECT_LT((closest(curve, V3f(5.0f, 3.0f, 0.0f)).second - V3f(5.0f, 0.0f, 0.0f)).length(), 1e-5f);
        EXPECT_LT((closest(curve, V3f(17.0f, 3.0f, 0.0f)).second - V3f(17.0f, 0.0f, 0.0f)).length(), 1e-5f);
        // The finite parts end at 10 and 14.
        const V3f inTheGap = closest(curve, V3f(11.0f, 0.0f, 0.0f)).second;
        EXPECT_LT((inTheGap - V3f(10.0f, 0.0f, 0.0f)).length(), 1e-5f) << inTheGap;
        // Only the two ends are left.
        Curve ends({V3f(1.0f), V3f(bad), V3f(bad), V3f(7.0f)});
        EXPECT_EQ(closest(ends, V3f(2.0f)), std::make_pair(0.0f, V3f(1.0f)));
        EXPECT_EQ(closest(ends, V3f(5.0f)), std::make_pair(1.0f, V3f(7.0f)));
        // Nothing is left; it only has to end.
        for (const unsigned int degree : {0u, 1u, 3u, 9u, 40u}) {
            Curve none(std::vector<V3f>(50, V3f(bad)), degree);
            EXPECT_EQ(closest(none, V3f(1.0f)).first, 0.0f);
        }
    }
}

TEST(Curve, FindsAnIsolatedFinitePoint) {
    const V3f bad(notANumber);
    Curve curve({bad, V3f(1.0f), V3f(1.0f), V3f(1.0f), bad}, 3);
    const V3f point = closest(curve, V3f(3.0f)).second;
    EXPECT_LT((point - V3f(1.0f)).length(), 1e-6f) << point;
}

TEST(Curve, AnswersForHugeAndTinyVerticesAndPositions) {
    Random random(12);
    const float sizes[] = {0.0f, 1e-45f, 1e-38f, 1e-20f, 1.0f, 1e9f, 1e19f, 1e30f, largest};
    for (const unsigned int degree : {1u, 3u, 7u}) {
        for (const float size : sizes) {
            std::vector<V3f> vertices;
            for (int i = 0; i < 40; ++i) {
                vertices.push_back(random.vector(1.0f) * size);
            }
            Curve curve(vertices, degree);
            const std::vector<V3d> samples = samplesOf(vertices, degree, 4000);
            for (const float reach : sizes) {
                const V3f position = random.vector(1.0f) * reach;
                const auto [parameter, point] = closest(curve, position);
                EXPECT_TRUE(parameter >= 0.0f && parameter <= 1.0f);
                const double distance = (V3d(point) - V3d(position)).length();
                EXPECT_LE(distance, nearestOf(samples, V3d(position)) * (1.0 + 1e-6) + 1e-6 * size + 1e-44)
                    << "size " << size << ", reach " << reach;
            }
        }
    }
}

TEST(Curve, AnswersForPositionsThatAreNotFinite) {
    Random random(13);
    const std::vector<V3f> vertices = tangle(random, 20);
    Curve curve(vertices);
    EXPECT_EQ(closest(curve, V3f(notANumber, 0.0f, 0.0f)), std::make_pair(0.0f, vertices[0]));
    for (const V3f& position : {V3f(infinity, 0.0f, 0.0f), V3f(-infinity), V3f(0.0f, infinity, -infinity)}) {
        const auto [parameter, point] = closest(curve, position);
        EXPECT_TRUE(parameter >= 0.0f && parameter <= 1.0f);
        EXPECT_EQ(point, curve.pointOnCurve(parameter));
    }
}

TEST(Curve, JumpsFromVertexToVertexAtDegreeZero) {
    const std::vector<V3f> vertices{V3f(0.0f), V3f(1.0f), V3f(2.0f), V3f(3.0f), V3f(4.0f), V3f(5.0f), V3f(6.0f)};
    Curve curve(vertices, 0);
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        const auto [parameter, point] = closest(curve, vertices[i] + V3f(0.1f, -0.2f, 0.1f));
        EXPECT_EQ(point, vertices[i]);
        EXPECT_EQ(curve.pointOnCurve(parameter), vertices[i]);
    }
}

TEST(Curve, AnswersAtHighDegreesInFiniteTime) {
    Random random(14);
    const std::vector<V3f> vertices = tangle(random, 300);
    Curve curve(vertices, std::numeric_limits<unsigned int>::max());
    EXPECT_EQ(curve.degree(), 299u);
    const std::vector<V3d> samples = samplesOf(vertices, 299, 300);
    expectNearest(curve, samples, V3f(0.5f), "degree 299");
}

#if defined(__SSE2__)
TEST(Curve, NeitherChangesNorObeysFloatingPointSettingsInItsSearch) {
    constexpr unsigned int quiet = 0x1f80;
    constexpr unsigned int trapping = 0;
    constexpr unsigned int flushing = quiet | 0x8040;  // denormals are zero, as operands and as results
    constexpr unsigned int upwards = quiet | 0x4000;
    const unsigned int before = _mm_getcsr();
    Random random(21);
    // The denormal vertices are all that the second curve has.
    for (const float size : {5.0f, 1e-40f}) {
        for (const unsigned int degree : {1u, 3u, 6u}) {
            const std::vector<V3f> vertices = tangle(random, 40, size);
            std::vector<V3f> positions{V3f(notANumber), V3f(infinity), V3f(largest)};
            for (int i = 0; i < 50; ++i) {
                positions.push_back(random.vector(2.0f * size));
            }
            std::vector<std::pair<float, V3f>> expected;
            Curve known(vertices, degree);
            for (const V3f& position : positions) {
                expected.push_back(closest(known, position));
            }
            for (const unsigned int settings : {quiet, trapping, flushing, upwards}) {
                Curve curve(vertices, degree);
                std::vector<std::pair<float, V3f>> answers(positions.size());
                std::vector<unsigned int> after(positions.size());
                _mm_setcsr(settings);
                for (std::size_t i = 0; i < positions.size(); ++i) {
                    answers[i] = closest(curve, positions[i]);
                    after[i] = _mm_getcsr();
                }
                _mm_setcsr(before);
                EXPECT_EQ(after, std::vector<unsigned int>(positions.size(), settings));
                EXPECT_TRUE(answers == expected)
                    << "size " << size << ", degree " << degree << ", settings " << settings;
            }
        }
    }
}
#endif

}  // namespace
