#include "Process.h"

#include <tools/host/Errors.h>
#include <tools/host/ObjReader.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace TessilHost {
namespace {

using Imath::V3f;
using TessilTest::Scratch;
using TessilUtils::Mesh;

Mesh meshOf(const std::string& text) {
    const Scratch scratch;
    return readObjFile(scratch.write("mesh.obj", text));
}

/// What is said about the file "mesh.obj" with this text, less its folder.
std::string refusal(const std::string& text) {
    try {
        meshOf(text);
        ADD_FAILURE() << "taken: " << text;
        return "";
    } catch (const UserError& error) {
        const std::string message = error.what();
        EXPECT_EQ(message.find('\n'), std::string::npos);
        return message.substr(message.find("mesh.obj"));
    }
}

const std::string triangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";

TEST(ObjReader, ReadsPointsAndTrianglesInTheOrderOfTheFile) {
    const Mesh mesh = meshOf("# comment\nmtllib none.mtl\no one\n" + triangle +
                             "f 1 2 3\no two\ng group\nusemtl none\ns off\nf 3 2 1\n");
    EXPECT_EQ(mesh.points(), (std::vector<V3f>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(mesh.triangles(), (std::vector<unsigned int>{0, 1, 2, 2, 1, 0}));
}

TEST(ObjReader, PassesOverLinesOfOtherKinds) {
    for (const char* other : {"t a 8192/8192/8192", "l 0", "p x", "vw 0 -1 1", "vp 1 e99", "usemtl", "call x.obj",
                              "F 1", "faces 1", "f\\", "v0 1 2 3"}) {
        const Mesh mesh = meshOf(triangle + other + "\n  f\t1 2 3 \n" + other);
        EXPECT_EQ(mesh.points().size(), 3U) << other;
        EXPECT_EQ(mesh.triangles(), (std::vector<unsigned int>{0, 1, 2})) << other;
    }
}

TEST(ObjReader, PassesOverAByteOrderMark) {
    const std::string mark = "\xef\xbb\xbf";
    for (const std::string& start : {mark, mark + "\n", mark + "# comment\n"}) {
        const Mesh mesh = meshOf(start + triangle + "f 1 2 3\n");
        EXPECT_EQ(mesh.points(), (std::vector<V3f>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}})) << start.size();
    }
    EXPECT_EQ(refusal(mark + triangle + "f 1 2\n"), "mesh.obj:4: a face needs at least three corners");
}

TEST(ObjReader, PassesOverWhatFollowsTheCoordinates) {
    const Mesh mesh = meshOf("v 0 0 0 1 x\nv 1 0 0 0.5 0.5 0.5\nv 0 1 0 nan\nvt\nvt x\nvn 0 0 1 x\nf 1/-2/1 2/2 3\n");
    EXPECT_EQ(mesh.points(), (std::vector<V3f>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}));
}

TEST(ObjReader, CutsPolygonsIntoTriangles) {
    EXPECT_EQ(meshOf("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n").triangles().size(), 6U);
    std::string text;
    std::string face = "f";
    for (int i = 1; i <= 255; ++i) {
        text += "v " + std::to_string(i) + " " + std::to_string(i * i) + " 0\n";
        face += " " + std::to_string(i);
    }
    EXPECT_EQ(meshOf(text + face).triangles().size(), 253U * 3U);
}

TEST(ObjReader, CutsConcavePolygonsAwayFromTheOriginInside) {
    // An L of area 3; a cut across its notch would show as a triangle that faces down.
    const Mesh mesh = meshOf("v 10 0 10\nv 12 0 10\nv 12 0 11\nv 11 0 11\nv 11 0 12\nv 10 0 12\nf 6 5 4 3 2 1\n");
    ASSERT_EQ(mesh.triangles().size(), 12U);
    float area = 0.0F;
    for (std::size_t i = 0; i < 12; i += 3) {
        const auto corner = [&](std::size_t k) { return mesh.points()[mesh.triangles()[i + k]]; };
        const V3f doubled = (corner(1) - corner(0)).cross(corner(2) - corner(0));
        EXPECT_GE(doubled.y, 0.0F);
        area += doubled.y / 2;
    }
    EXPECT_FLOAT_EQ(area, 3.0F);
}

TEST(ObjReader, KeepsNormalsPerCorner) {
    const Mesh mesh = meshOf(triangle + "vn 0 0 -1\nvn 1 0 0\nvn 0 1 0\nvt 0 0\nf 1//1 2/1/2 3//3\n");
    EXPECT_EQ(mesh.faceVertexNormals(), (std::vector<V3f>{{0, 0, -1}, {1, 0, 0}, {0, 1, 0}}));
}

TEST(ObjReader, GivesCornersWithoutANormalThatOfTheirTriangle) {
    const std::vector<V3f> up(3, V3f(0, 0, 1));
    EXPECT_EQ(meshOf(triangle + "f 1 2 3\n").faceVertexNormals(), up);
    const Mesh mixed = meshOf(triangle + "vn 1 0 0\nf 1 2//1 3\nf 3 2 1\n");
    EXPECT_EQ(mixed.faceVertexNormals(),
              (std::vector<V3f>{{0, 0, 1}, {1, 0, 0}, {0, 0, 1}, {0, 0, -1}, {0, 0, -1}, {0, 0, -1}}));
}

TEST(ObjReader, CountsBackFromTheLastPointAndForwardBeyondTheFace) {
    EXPECT_EQ(meshOf(triangle + "f -3 -2 -1\n").triangles(), (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(meshOf("f 1 2 3\n" + triangle).triangles(), (std::vector<unsigned int>{0, 1, 2}));
}

TEST(ObjReader, TakesAllLineEnds) {
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        const Mesh mesh = meshOf("v 0 0 0" + end + "v 1 0 0" + end + end + "v 0 1 0" + end + "f 1 2 3");
        EXPECT_EQ(mesh.triangles().size(), 3U);
    }
    EXPECT_EQ(refusal("v 0 0 0\r\n\r\nv x 0 0\r\n").substr(0, 11), "mesh.obj:3:");
    EXPECT_EQ(refusal("v 0 0 0\r\rv x 0 0\r").substr(0, 11), "mesh.obj:3:");
}

TEST(ObjReader, RefusesCoordinatesThatAreNoFiniteNumbers) {
    for (const char* bad : {"v 0 nan 0", "v inf 0 0", "v 3.4028236e38 0 0", "v 1e400 0 0", "v 0 0", "v", "v a b c",
                            "v 0 0 0x1", "v 1,2 3 4", "v ++1 0 0", "v +-1 0 0", "v + 0 0", "vn 0 0 nan"}) {
        EXPECT_EQ(refusal(triangle + bad + "\nf 1 2 3\n").substr(0, 11), "mesh.obj:4:") << bad;
    }
    EXPECT_EQ(refusal("v 0 nan 0\n"), R"(mesh.obj:1: the coordinate "nan" is no finite number in single precision)");
}

TEST(ObjReader, TakesTheLargestNumberAsItIsUsuallyPrinted) {
    const float largest = std::numeric_limits<float>::max();
    const Mesh mesh = meshOf("v 3.4028235e38 -3.4028235E+38 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_EQ(mesh.points()[0], V3f(largest, -largest, 0.0F));
}

TEST(ObjReader, TakesWhatItHasCheckedOfEachNumber) {
    const std::string zeros(400, '0');
    const Mesh mesh = meshOf("v 1" + zeros + "e-400 0." + zeros + "5e401 1e-2147483648\nv +1 .5 -2.\nv 0 0 7\n" +
                             "vn 0 1" + zeros + "e-400 0\nf 1//1 2//1 3//1\n");
    EXPECT_EQ(mesh.points(), (std::vector<V3f>{{1, 5, 0}, {1, 0.5F, -2}, {0, 0, 7}}));
    EXPECT_EQ(mesh.faceVertexNormals()[0], V3f(0, 1, 0));
}

TEST(ObjReader, RefusesIndicesThatNameNothing) {
    for (const char* bad :
         {"f 1 2 4", "f 0 1 2", "f -4 1 2", "f 1 2 99999999999", "f 1 2 x", "f 1 2 3.5", "f 1 2 -", "f 1/9 2 3",
          "f 1//9 2 3", "f 1/ 2 3", "f 1// 2 3", "f / 2 3", "f 1/2/3/4 2 3", "f 1 2 2147483648", "f 1 2 -2147483648"}) {
        EXPECT_EQ(refusal(triangle + bad + "\n").substr(0, 11), "mesh.obj:4:") << bad;
    }
    EXPECT_EQ(refusal(triangle + "f 1 2 4\n"), "mesh.obj:4: the face names point 4 of 3");
}

TEST(ObjReader, RefusesFacesOfTooFewAndTooManyCorners) {
    EXPECT_EQ(refusal(triangle + "f 1 2\n"), "mesh.obj:4: a face needs at least three corners");
    std::string face = "f";
    for (int i = 0; i < 256; ++i) {
        face += " 1";
    }
    EXPECT_EQ(refusal(triangle + face), "mesh.obj:4: a face of more than 255 corners");
}

TEST(ObjReader, RefusesAnEmptyMesh) {
    EXPECT_EQ(refusal(""), "mesh.obj: the mesh is empty: no face in 0 lines");
    EXPECT_EQ(refusal(triangle), "mesh.obj: the mesh is empty: no face in 3 lines");
    EXPECT_EQ(refusal(std::string("v 0 0 0\n\0\n", 10)), "mesh.obj:2: a zero byte: this is no OBJ file");
}

TEST(ObjReader, RefusesAFileThatCannotBeRead) {
    EXPECT_THROW(readObjFile("/no/such/mesh.obj"), UserError);
    EXPECT_THROW(readObjFile("/"), UserError);
}

}  // namespace
}  // namespace TessilHost
