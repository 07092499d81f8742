#pragma once

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace tests {

// A second opinion on matrices: plain loops and textbook formulas, sharing nothing with the library
// under test. Row vectors: a point stands left of the matrix, translation in row 3.

using Row = std::array<double, 4>;
using Rows = std::array<Row, 4>;
using Triple = std::array<double, 3>;

inline constexpr double pi = 3.14159265358979323846;
inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// Sixteen different elements, a column 3 that is no affine one.
inline constexpr Rows projective{{{2, 3, 5, 7}, {11, -13, 17, 19}, {23, 29, -31, 37}, {41, 43, 47, 53}}};

inline Imath::M44d toMatrix(const Rows& rows) {
    Imath::M44d matrix;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            matrix[row][column] = rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
        }
    }
    return matrix;
}

inline Rows toRows(const Imath::M44d& matrix) {
    Rows rows{};
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] = matrix[row][column];
        }
    }
    return rows;
}

inline Imath::V3d toVector(const Triple& triple) {
    return {triple[0], triple[1], triple[2]};
}

inline Triple toTriple(const Imath::V3d& vector) {
    return {vector.x, vector.y, vector.z};
}

inline constexpr Rows identityRows{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};

inline Rows operator*(const Rows& left, const Rows& right) {
    Rows product{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            for (std::size_t inner = 0; inner < 4; ++inner) {
                product[row][column] += left[row][inner] * right[inner][column];
            }
        }
    }
    return product;
}

inline Rows transposedRows(const Rows& rows) {
    Rows transposed{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            transposed[row][column] = rows[column][row];
        }
    }
    return transposed;
}

/// The determinant of what is left of `rows` without one row and one column.
inline double minorOf(const Rows& rows, std::size_t withoutRow, std::size_t withoutColumn) {
    std::array<Triple, 3> rest{};
    for (std::size_t row = 0, to = 0; row < 4; ++row) {
        if (row == withoutRow) {
            continue;
        }
        for (std::size_t column = 0, toColumn = 0; column < 4; ++column) {
            if (column != withoutColumn) {
                rest[to][toColumn++] = rows[row][column];
            }
        }
        ++to;
    }
    return rest[0][0] * (rest[1][1] * rest[2][2] - rest[1][2] * rest[2][1]) -
           rest[0][1] * (rest[1][0] * rest[2][2] - rest[1][2] * rest[2][0]) +
           rest[0][2] * (rest[1][0] * rest[2][1] - rest[1][1] * rest[2][0]);
}

inline double cofactorOf(const Rows& rows, std::size_t row, std::size_t column) {
    return ((row + column) % 2 == 0 ? 1.0 : -1.0) * minorOf(rows, row, column);
}

/// Developed along the first row.
inline double determinantOf(const Rows& rows) {
    double sum = 0;
    for (std::size_t column = 0; column < 4; ++column) {
        sum += rows[0][column] * cofactorOf(rows, 0, column);
    }
    return sum;
}

/// The adjugate over the determinant.
inline Rows inverseOf(const Rows& rows) {
    const double determinant = determinantOf(rows);
    Rows inverse{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            inverse[row][column] = cofactorOf(rows, column, row) / determinant;
        }
    }
    return inverse;
}

inline Rows rotationX(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{{1, 0, 0, 0}, {0, c, s, 0}, {0, -s, c, 0}, {0, 0, 0, 1}}};
}

inline Rows rotationY(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{{c, 0, -s, 0}, {0, 1, 0, 0}, {s, 0, c, 0}, {0, 0, 0, 1}}};
}

inline Rows rotationZ(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{{c, s, 0, 0}, {-s, c, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
}

/// About x first, then y, then z.
inline Rows rotationXYZ(const Triple& angles) {
    return rotationX(angles[0]) * rotationY(angles[1]) * rotationZ(angles[2]);
}

/// About z first, then y, then x; the angles in this order.
inline Rows rotationZYX(const Triple& angles) {
    return rotationZ(angles[0]) * rotationY(angles[1]) * rotationX(angles[2]);
}

inline Rows scaling(const Triple& scale) {
    return {{{scale[0], 0, 0, 0}, {0, scale[1], 0, 0}, {0, 0, scale[2], 0}, {0, 0, 0, 1}}};
}

inline Rows shearing(const Triple& shear) {
    return {{{1, 0, 0, 0}, {shear[0], 1, 0, 0}, {shear[1], shear[2], 1, 0}, {0, 0, 0, 1}}};
}

inline Rows translation(const Triple& offset) {
    return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {offset[0], offset[1], offset[2], 1}}};
}

inline double dot(const Triple& left, const Triple& right) {
    return left[0] * right[0] + left[1] * right[1] + left[2] * right[2];
}

inline Triple cross(const Triple& left, const Triple& right) {
    return {left[1] * right[2] - left[2] * right[1], left[2] * right[0] - left[0] * right[2],
            left[0] * right[1] - left[1] * right[0]};
}

inline Triple scaled(const Triple& triple, double factor) {
    return {triple[0] * factor, triple[1] * factor, triple[2] * factor};
}

inline Triple unit(const Triple& triple) {
    return scaled(triple, 1.0 / std::sqrt(dot(triple, triple)));
}

/// Columns 0 to 2 of a row.
inline Triple axisOf(const Rows& rows, std::size_t row) {
    return {rows[row][0], rows[row][1], rows[row][2]};
}

/// A direction through the upper 3x3.
inline Triple turned(const Triple& direction, const Rows& rows) {
    Triple result{};
    for (std::size_t column = 0; column < 3; ++column) {
        for (std::size_t row = 0; row < 3; ++row) {
            result[column] += direction[row] * rows[row][column];
        }
    }
    return result;
}

inline void expectNear(const Rows& actual, const Rows& expected, double tolerance, const std::string& what = {}) {
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            EXPECT_NEAR(actual[row][column], expected[row][column], tolerance)
                << what << " row " << row << " column " << column;
        }
    }
}

inline void expectNear(const Imath::M44d& actual, const Rows& expected, double tolerance,
                       const std::string& what = {}) {
    expectNear(toRows(actual), expected, tolerance, what);
}

inline void expectNear(const Imath::V3d& actual, const Triple& expected, double tolerance,
                       const std::string& what = {}) {
    EXPECT_NEAR(actual.x, expected[0], tolerance) << what << " x";
    EXPECT_NEAR(actual.y, expected[1], tolerance) << what << " y";
    EXPECT_NEAR(actual.z, expected[2], tolerance) << what << " z";
}

/// Rotation about the origin: orthonormal rows, right-handed, nothing else.
inline void expectRotation(const Imath::M44d& matrix, double tolerance, const std::string& what = {}) {
    const Rows rows = toRows(matrix);
    expectNear(rows * transposedRows(rows), identityRows, tolerance, what + " times its transpose");
    EXPECT_NEAR(determinantOf(rows), 1.0, tolerance) << what;
    expectNear(Imath::V3d(matrix[3][0], matrix[3][1], matrix[3][2]), {0, 0, 0}, 0.0, what);
}

inline std::uint64_t bitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline void expectSameBits(const Imath::M44d& actual, const Imath::M44d& expected, const std::string& what = {}) {
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            EXPECT_EQ(bitsOf(actual[row][column]), bitsOf(expected[row][column]))
                << what << " row " << row << " column " << column << ": " << actual[row][column] << " and "
                << expected[row][column];
        }
    }
}

/// Numbers from a fixed seed, the same with every standard library.
class Numbers {
public:
    explicit Numbers(std::uint32_t seed) : engine_(seed) {}

    /// In [low, high).
    double between(double low, double high) {
        return low + (high - low) * (static_cast<double>(engine_()) / 4294967296.0);
    }

    Triple triple(double low, double high) { return {between(low, high), between(low, high), between(low, high)}; }

    /// In [low, high) or the negative of that: with `low` above zero, never near it.
    double signedBetween(double low, double high) {
        return engine_() % 2 == 0 ? between(low, high) : -between(low, high);
    }

    Rows rows(double low, double high) {
        Rows rows{};
        for (Row& row : rows) {
            for (double& element : row) {
                element = between(low, high);
            }
        }
        return rows;
    }

    std::uint32_t below(std::uint32_t count) { return static_cast<std::uint32_t>(engine_() % count); }

private:
    std::mt19937 engine_;
};

}  // namespace tests
