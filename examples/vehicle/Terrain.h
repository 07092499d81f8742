#pragma once

#include <cmath>

/// The ground of the vehicle example: a formula, sampled on a grid whose cells are two triangles each.
/// Lengths are metres; x points east, y north, z up.
namespace terrain {

constexpr int columns = 129;      ///< vertices from west to east
constexpr int rows = 97;          ///< vertices from south to north
constexpr double spacing = 1.25;  ///< between neighbouring vertices
constexpr double west = -80.0;    ///< x of column 0
constexpr double south = -60.0;   ///< y of row 0
constexpr double east = west + spacing * (columns - 1);
constexpr double north = south + spacing * (rows - 1);

/// The smooth ground that the grid samples.
///
/// Long waves, a hill, a hollow, and bumps of some ten metres' length that set the vehicle rocking:
///
///     4 sin(x / 23 + 0.4) cos(y / 21)
///     + 6.5 exp(-((x - 26)^2 / 20^2 + (y - 16)^2 / 17^2) / 2)
///     - 5 exp(-((x + 30)^2 / 17^2 + (y + 14)^2 / 15^2) / 2)
///     + 0.16 sin(0.45 x + 0.10 y) + 0.16 sin(0.17 x - 0.42 y + 1) + 0.1 sin(0.52 x + 0.48 y + 2)
inline double smoothHeight(double x, double y) {
    const auto bell = [&](double centreX, double centreY, double widthX, double widthY) {
        const double dx = (x - centreX) / widthX;
        const double dy = (y - centreY) / widthY;
        return std::exp(-0.5 * (dx * dx + dy * dy));
    };
    const double waves = 4.0 * std::sin(x / 23.0 + 0.4) * std::cos(y / 21.0);
    const double hill = 6.5 * bell(26.0, 16.0, 20.0, 17.0);
    const double hollow = 5.0 * bell(-30.0, -14.0, 17.0, 15.0);
    const double bumps = 0.16 * std::sin(0.45 * x + 0.10 * y) + 0.16 * std::sin(0.17 * x - 0.42 * y + 1.0) +
                         0.10 * std::sin(0.52 * x + 0.48 * y + 2.0);
    return waves + hill - hollow + bumps;
}

/// Where the vertex of a column and a row stands; whole millimetres, so that a file holds it exactly.
inline double vertexX(int column) {
    return west + spacing * column;
}
inline double vertexY(int row) {
    return south + spacing * row;
}
inline double vertexHeight(int column, int row) {
    return std::round(smoothHeight(vertexX(column), vertexY(row)) * 1000.0) / 1000.0;
}

/// The height of the triangle above or below (x, y); NaN outside the grid.
///
/// The diagonal of each cell runs from its south-west to its north-east corner.
inline double meshHeight(double x, double y) {
    const double u = (x - west) / spacing;
    const double v = (y - south) / spacing;
    if (!(u >= 0.0 && u < columns - 1 && v >= 0.0 && v < rows - 1)) {
        return std::nan("");
    }
    const int column = static_cast<int>(u);
    const int row = static_cast<int>(v);
    const double s = u - column;
    const double t = v - row;
    const double southWest = vertexHeight(column, row);
    const double northEast = vertexHeight(column + 1, row + 1);
    if (s >= t) {
        const double southEast = vertexHeight(column + 1, row);
        return southWest + s * (southEast - southWest) + t * (northEast - southEast);
    }
    const double northWest = vertexHeight(column, row + 1);
    return southWest + t * (northWest - southWest) + s * (northEast - northWest);
}

}  // namespace terrain
