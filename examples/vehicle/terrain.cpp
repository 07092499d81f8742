// Writes the ground of the vehicle example as an OBJ file:
//
//     vehicle_terrain terrain.obj

#include "Terrain.h"

#include <cstdio>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: vehicle_terrain FILE.obj\n";
        return 2;
    }
    std::FILE* file = std::fopen(argv[1], "w");
    if (file == nullptr) {
        std::cerr << argv[1] << ": cannot be written\n";
        return 2;
    }
    std::fputs("# The ground of the vehicle example, made by vehicle_terrain; the formula stands in Terrain.h.\n",
               file);
    std::fputs("# Metres: x east, y north, z up.\n", file);
    for (int row = 0; row < terrain::rows; ++row) {
        for (int column = 0; column < terrain::columns; ++column) {
            std::fprintf(file, "v %g %g %.3f\n", terrain::vertexX(column), terrain::vertexY(row),
                         terrain::vertexHeight(column, row));
        }
    }
    // Indices count from 1; both triangles of a cell go anticlockwise when seen from above.
    for (int row = 0; row + 1 < terrain::rows; ++row) {
        for (int column = 0; column + 1 < terrain::columns; ++column) {
            const int southWest = row * terrain::columns + column + 1;
            const int southEast = southWest + 1;
            const int northWest = southWest + terrain::columns;
            const int northEast = northWest + 1;
            std::fprintf(file, "f %d %d %d\n", southWest, southEast, northEast);
            std::fprintf(file, "f %d %d %d\n", southWest, northEast, northWest);
        }
    }
    const bool failed = std::ferror(file) != 0;
    if (std::fclose(file) != 0 || failed) {
        std::cerr << argv[1] << ": not written to the end\n";
        return 2;
    }
    return 0;
}
