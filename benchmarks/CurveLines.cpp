#include <benchmarks/Lines.h>
#include <benchmarks/Measure.h>
#include <benchmarks/SampledCurve.h>
#include <benchmarks/Workloads.h>

#include <TessilGraph/TessilGraph.h>

#include <Imath/ImathBox.h>
#include <Imath/ImathVec.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bench {

using Imath::V3d;
using Imath::V3f;

namespace {

V3f randomIn(Random& random, const Imath::Box3f& box) {
    const V3f share(static_cast<float>(random.unit()), static_cast<float>(random.unit()),
                    static_cast<float>(random.unit()));
    return box.min + share * box.size();
}

/// Steps of length 1 whose direction drifts.
std::vector<V3f> makeCurve(std::size_t count) {
    Random random(9);
    const Imath::Box3f drift(V3f(-0.4f), V3f(0.4f));
    std::vector<V3f> vertices;
    V3f at(0.0f);
    V3f direction(1.0f, 0.0f, 0.0f);
    while (vertices.size() < count) {
        vertices.push_back(at);
        direction = (direction + randomIn(random, drift)).normalized();
        at += direction;
    }
    return vertices;
}

std::vector<V3f> makeTangle(std::size_t count) {
    Random random(9);
    std::vector<V3f> vertices;
    while (vertices.size() < count) {
        vertices.push_back(randomIn(random, Imath::Box3f(V3f(-5.0f), V3f(5.0f))));
    }
    return vertices;
}

/// Near: up to 2 from a vertex in each axis. Far: anywhere in the bounds and 1 around them.
std::vector<V3f> makePositions(const std::vector<V3f>& vertices, bool near) {
    constexpr std::size_t count = 2000;
    Random random(5);
    Imath::Box3f bounds;
    for (const V3f& vertex : vertices) {
        bounds.extendBy(vertex);
    }
    bounds.min -= V3f(1.0f);
    bounds.max += V3f(1.0f);
    std::vector<V3f> positions;
    while (positions.size() < count) {
        const V3f& vertex = vertices[random.below(vertices.size())];
        positions.push_back(near ? vertex + randomIn(random, Imath::Box3f(V3f(-2.0f), V3f(2.0f)))
                                 : randomIn(random, bounds));
    }
    return positions;
}

/// A curve in both hands and positions to ask for.
struct Search {
    Search(const std::string& shape, std::size_t count, bool near)
        : vertices(shape == "curve" ? makeCurve(count) : makeTangle(count)),
          positions(makePositions(vertices, near)),
          curve(vertices),
          sampled(vertices) {
        node.inCurvePort()->set(&curve);
    }

    V3d askNode(const V3f& position) {
        node.inPositionPort()->set(V3d(position));
        node.compute(nullptr);
        return node.outPositionPort()->getRef();
    }

    void askNode() {
        for (const V3f& position : positions) {
            sum += askNode(position).x;
        }
    }

    /// Sampling takes so long that fewer positions must do.
    static constexpr std::size_t fewPositions = 50;

    void sample(int samplesPerSpan) {
        for (std::size_t i = 0; i < fewPositions; ++i) {
            sum += sampled.nearest(V3d(positions[i]), samplesPerSpan).x;
        }
    }

    std::vector<V3f> vertices;
    std::vector<V3f> positions;
    TessilUtils::Curve curve;
    SampledCurve sampled;
    TessilGraph::ClosestPointOnCurve node;
    double sum = 0.0;
};

Amounts countWrong(Search& search) {
    constexpr std::size_t checked = 500;
    constexpr double tolerance = 1e-4;
    double own = 0.0;
    double sparse = 0.0;
    double dense = 0.0;
    for (std::size_t i = 0; i < checked; ++i) {
        const V3d position(search.positions[i]);
        const double limit = search.sampled.distance(position) + tolerance;
        const auto isWrong = [&](const V3d& found) { return (found - position).length() > limit ? 1.0 : 0.0; };
        own += isWrong(search.askNode(search.positions[i]));
        sparse += isWrong(search.sampled.nearest(position, 6));
        dense += isWrong(search.sampled.nearest(position, 64));
    }
    return {own, {{"samples_64", dense}, {"samples_6", sparse}}, "of 500", own == 0.0};
}

}  // namespace

void addCurveLines() {
    for (const char* shape : {"curve", "tangle"}) {
        for (const std::size_t count : {10U, 100U, 1000U}) {
            for (const bool near : {true, false}) {
                const std::string where = std::string(shape) + (near ? "_near/" : "_far/") + std::to_string(count);
                addLine("closest_point/" + where, manyRounds, [=] {
                    auto search = std::make_shared<Search>(shape, count, near);
                    Case compared;
                    constexpr double microseconds = 1000.0;
                    compared.units = microseconds * static_cast<double>(search->positions.size());
                    compared.unit = "us/query";
                    compared.subject.run = [=] { search->askNode(); };
                    const auto sampleSide = [=](int samplesPerSpan) {
                        return Side{nullptr, [=] { search->sample(samplesPerSpan); }, nullptr,
                                    microseconds * static_cast<double>(Search::fewPositions)};
                    };
                    compared.rivals.push_back({"samples_64", sampleSide(64)});
                    compared.rivals.push_back({"samples_6", sampleSide(6)});
                    return compared;
                });
                addAmounts("closest_point_wrong/" + where, [=] {
                    Search search(shape, count, near);
                    return countWrong(search);
                });
            }
        }
    }
}

}  // namespace bench
