#include <tools/host/Polygon.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace TessilHost {
namespace {

using Imath::V3d;

V3d areaVector(const V3d& a, const V3d& b, const V3d& c) {
    return (b - a).cross(c - a) * 0.5;
}

V3d areaVector(const std::vector<V3d>& polygon) {
    V3d sum(0.0);
    for (std::size_t i = 1; i + 1 < polygon.size(); ++i) {
        sum += areaVector(polygon[0], polygon[i], polygon[i + 1]);
    }
    return sum;
}

/// Every triangle faces the polygon's way, and together they have its area: so they neither overlap nor stick out.
void expectExactCover(const std::vector<V3d>& polygon) {
    const auto triangles = triangulate(polygon);
    ASSERT_EQ(triangles.size(), polygon.size() - 2);
    const V3d whole = areaVector(polygon);
    double sum = 0.0;
    for (const auto& triangle : triangles) {
        const V3d area = areaVector(polygon[triangle[0]], polygon[triangle[1]], polygon[triangle[2]]);
        EXPECT_GE(area.dot(whole), -1e-12 * whole.length2());
        sum += area.length();
    }
    EXPECT_NEAR(sum, whole.length(), 1e-9 * whole.length());
}

TEST(Polygon, KeepsATriangle) {
    const auto triangles = triangulate({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    ASSERT_EQ(triangles.size(), 1U);
    EXPECT_EQ(triangles[0], (std::array<std::size_t, 3>{0, 1, 2}));
}

TEST(Polygon, CutsConcaveQuadsInsideWhicheverCornerComesFirst) {
    std::vector<V3d> arrow = {{0, 0, 5}, {4, -3, 5}, {1, 0, 5}, {4, 3, 5}};
    for (int turn = 0; turn < 4; ++turn) {
        expectExactCover(arrow);
        std::rotate(arrow.begin(), arrow.begin() + 1, arrow.end());
    }
}

TEST(Polygon, CutsAnyOutlineInAnyPlaceAndPosition) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> number(0.0, 1.0);
    for (int round = 0; round < 300; ++round) {
        // A star around its centre is simple, and concave nearly everywhere.
        const std::size_t corners = 3 + static_cast<std::size_t>(number(random) * 40);
        V3d right(number(random) - 0.5, number(random) - 0.5, number(random) - 0.5);
        V3d up = right.cross(V3d(number(random), number(random) - 0.5, number(random))).normalized();
        right.normalize();
        const V3d centre(number(random) * 100, number(random) * 100, number(random) * 100);
        std::vector<V3d> star;
        for (std::size_t i = 0; i < corners; ++i) {
            const double angle = 2.0 * 3.14159265358979 * static_cast<double>(i) / static_cast<double>(corners);
            const double radius = 0.2 + number(random);
            star.push_back(centre + right * (radius * std::cos(angle)) + up * (radius * std::sin(angle)));
        }
        expectExactCover(star);
        std::reverse(star.begin(), star.end());
        expectExactCover(star);
    }
}

TEST(Polygon, CutsCombsAndStraightCorners) {
    std::vector<V3d> comb;
    for (int tooth = 0; tooth < 20; ++tooth) {
        comb.emplace_back(tooth, 0, 0);
        comb.emplace_back(tooth + 0.5, 10, 0);
    }
    comb.emplace_back(20, 0, 0);
    comb.emplace_back(20, -1, 0);
    comb.emplace_back(10, -1, 0);
    comb.emplace_back(0, -1, 0);
    expectExactCover(comb);
    expectExactCover({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 2, 0}, {1, 2, 0}, {0, 2, 0}});
}

TEST(Polygon, GivesAllTrianglesOfWhatIsNoPolygon) {
    EXPECT_EQ(triangulate({{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {0, 1, 0}}).size(), 2U);
    EXPECT_EQ(triangulate(std::vector<V3d>(9, V3d(1.0))).size(), 7U);
    EXPECT_EQ(triangulate({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}}).size(), 3U);
    const double huge = 3e38;
    EXPECT_EQ(triangulate({{-huge, -huge, 0}, {huge, -huge, 0}, {huge, huge, 0}, {-huge, huge, 0}}).size(), 2U);
}

}  // namespace
}  // namespace TessilHost
