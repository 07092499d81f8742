#include "CatalogueRows.h"

namespace tests {

const std::vector<CatalogueRow>& catalogueRows() {
    // clang-format off
    static const std::vector<CatalogueRow> rows = {
        // Scalars.
        {1, "AddLong", "in1 LongPort 0; in2 LongPort 0", "out LongPort 0"},
        {2, "AddDouble", "in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {3, "AddString", "in1 StringPort \"\"; in2 StringPort \"\"", "out StringPort \"\""},
        {4, "SubtractLong", "in1 LongPort 0; in2 LongPort 0", "out LongPort 0"},
        {5, "SubtractDouble", "in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {6, "DivideLong", "in1 LongPort 0; in2 LongPort 0", "out LongPort 0"},
        {7, "DivideDouble", "in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {8, "MultiplyLong", "in1 LongPort 0; in2 LongPort 0", "out LongPort 0"},
        {9, "MultiplyDouble", "in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {10, "AbsLong", "in LongPort 0", "out LongPort 0"},
        {11, "AbsDouble", "in DoublePort 0", "out DoublePort 0"},
        {12, "MaxLong", "in1 LongPort 0; in2 LongPort 0", "out LongPort 0"},
        {13, "MaxDouble", "in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {14, "MinLong", "in1 LongPort 0; in2 LongPort 0", "out LongPort 0"},
        {15, "MinDouble", "in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {16, "SqrtLong", "in LongPort 0", "out LongPort 0"},
        {17, "SqrtDouble", "in DoublePort 0", "out DoublePort 0"},
        {18, "CosDouble", "in DoublePort 0", "out DoublePort 0"},
        {19, "AcosDouble", "in DoublePort 0", "out DoublePort 0"},
        {20, "SinDouble", "in DoublePort 0", "out DoublePort 0"},
        {21, "AsinDouble", "in DoublePort 0", "out DoublePort 0"},
        {22, "TanDouble", "in DoublePort 0", "out DoublePort 0"},
        {23, "AtanDouble", "in DoublePort 0", "out DoublePort 0"},
        {24, "CoshDouble", "in DoublePort 0", "out DoublePort 0"},
        {25, "SinhDouble", "in DoublePort 0", "out DoublePort 0"},
        {26, "TanhDouble", "in DoublePort 0", "out DoublePort 0"},
        {27, "Atan2Double", "in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {28, "PowDouble", "base DoublePort 0; exponent DoublePort 0", "out DoublePort 0"},
        {29, "LnDouble", "in DoublePort 0", "out DoublePort 0"},
        {30, "LogDouble", "in DoublePort 0", "out DoublePort 0"},
        {31, "CeilDouble", "in DoublePort 0", "out DoublePort 0"},
        {32, "FloorDouble", "in DoublePort 0", "out DoublePort 0"},

        // Vectors.
        {33, "AddVector", "in1 VectorPort (0, 0, 0); in2 VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {34, "SubtractVector", "in1 VectorPort (0, 0, 0); in2 VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {35, "MultiplyVector", "in1 VectorPort (0, 0, 0); in2 VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {36, "LengthVector", "in VectorPort (0, 0, 0)", "out DoublePort 0"},
        {37, "Length2Vector", "in VectorPort (0, 0, 0)", "out DoublePort 0"},
        {38, "NormalizedVector", "in VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {39, "DotVector", "in1 VectorPort (0, 0, 0); in2 VectorPort (0, 0, 0)", "out DoublePort 0"},
        {40, "CrossVector", "in1 VectorPort (0, 0, 0); in2 VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {41, "ScaleVector", "in1 VectorPort (0, 0, 0); in2 DoublePort 0", "out VectorPort (0, 0, 0)"},
        {42, "VectorToDouble", "vec VectorPort (0, 0, 0)", "x DoublePort 0; y DoublePort 0; z DoublePort 0"},
        {43, "DoubleToVector", "x DoublePort 0; y DoublePort 0; z DoublePort 0", "vec VectorPort (0, 0, 0)"},

        // Matrices.
        {44, "AddMatrix", "in1 MatrixPort identity; in2 MatrixPort identity", "out MatrixPort identity"},
        {45, "SubtractMatrix", "in1 MatrixPort identity; in2 MatrixPort identity", "out MatrixPort identity"},
        {46, "MultiplyMatrix", "in1 MatrixPort identity; in2 MatrixPort identity", "out MatrixPort identity"},
        {47, "InverseMatrix", "in MatrixPort identity", "out MatrixPort identity"},
        {48, "TransposeMatrix", "in MatrixPort identity", "out MatrixPort identity"},
        {49, "DeterminantMatrix", "in MatrixPort identity", "out DoublePort 0"},
        {50, "MultiplyScalarMatrix", "matrix MatrixPort identity; double DoublePort 0", "out MatrixPort identity"},
        {51, "AddScalarMatrix", "matrix MatrixPort identity; double DoublePort 0", "out MatrixPort identity"},
        {52, "DivideScalarMatrix", "matrix MatrixPort identity; double DoublePort 0", "out MatrixPort identity"},
        {53, "RotateMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {54, "SetRotationMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {55, "ScaleMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {56, "SetScaleMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {57, "TranslateMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {58, "SetTranslationMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {59, "ShearMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {60, "SetShearMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {61, "MultiDirMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {62, "MultiVecMatrix", "matrix MatrixPort identity; vector VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {63, "SetAxisAngleMatrix", "axis VectorPort (0, 0, 0); angle DoublePort 0", "out MatrixPort identity"},
        {64, "AlignZAxisWithTargetDirMatrix", "target VectorPort (0, 0, 0); up VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {65, "ComputeLocalFrameMatrix", "pos VectorPort (0, 0, 0); xDir VectorPort (0, 0, 0); normal VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {66, "ComputeRSMatrix", "keepRotateA BooleanPort false; keepScaleA BooleanPort false; A MatrixPort identity; B MatrixPort identity", "out MatrixPort identity"},
        {67, "ExtractEulerZYXMatrix", "matrix MatrixPort identity", "out VectorPort (0, 0, 0)"},
        {68, "ExtractQuaternionMatrix", "matrix MatrixPort identity", "out QuaternionPort (1, 0, 0, 0)"},
        {69, "ExtractScalingMatrix", "matrix MatrixPort identity", "out VectorPort (0, 0, 0)"},
        {70, "ExtractScalingAndShearMatrix", "matrix MatrixPort identity", "scale VectorPort (0, 0, 0); shear VectorPort (0, 0, 0)"},
        {71, "ExtractSHRTMatrix", "matrix MatrixPort identity", "scale VectorPort (0, 0, 0); shear VectorPort (0, 0, 0); rotate VectorPort (0, 0, 0); translate VectorPort (0, 0, 0)"},
        {72, "RotationMatrix", "from VectorPort (0, 0, 0); to VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {73, "RotationWithUpDirMatrix", "from VectorPort (0, 0, 0); to VectorPort (0, 0, 0); up VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {74, "SansScalingMatrix", "in MatrixPort identity", "out MatrixPort identity"},
        {75, "SansScalingAndShearMatrix", "in MatrixPort identity", "out MatrixPort identity"},
        {76, "VectorToMatrix", "row1 VectorPort (0, 0, 0); row2 VectorPort (0, 0, 0); row3 VectorPort (0, 0, 0); row4 VectorPort (0, 0, 0)", "out MatrixPort identity"},
        {77, "MatrixToVector", "matrix MatrixPort identity", "row1 VectorPort (0, 0, 0); row2 VectorPort (0, 0, 0); row3 VectorPort (0, 0, 0); row4 VectorPort (0, 0, 0)"},
        {78, "ExtractEulerXYZMatrix", "matrix MatrixPort identity", "out VectorPort (0, 0, 0)"},

        // Buffers and time.
        {79, "BufferLong", "in LongPort 0", "out LongPort 0"},
        {80, "BufferDouble", "in DoublePort 0", "out DoublePort 0"},
        {81, "TimeNode", "inputFrame DoublePort 0; fps DoublePort 30; frameRate DoublePort 1; animFrameRate DoublePort 1; offset DoublePort 0", "frame DoublePort 0; seconds DoublePort 0; outFrameRate DoublePort 1"},

        // Geometry. Two types share a number.
        {82, "ClosetPointOnCurve", "inCurve CurveRefPort null; inPosition VectorPort (0, 0, 0)", "outPosition VectorPort (0, 0, 0); outTangent VectorPort (1, 0, 0); outParameter DoublePort 0"},
        {82, "MeshRayCast", "inMesh MeshRefPort null; inOrigin VectorPort (0, 0, 0); inDirection VectorPort (0, 1, 0); inBothDirections BooleanPort false", "outIntersect BooleanPort false; outParameter DoublePort 0; outFaceId LongPort 0; outU DoublePort 0; outV DoublePort 0; outNormal VectorPort (0, 0, 0); outPosition VectorPort (0, 0, 0)"},
        {83, "BlendVectors", "inVector1 VectorPort (0, 0, 0); inVector2 VectorPort (0, 0, 0); inParameter DoublePort 0", "outVector VectorPort (0, 0, 0)"},

        // If. The number 91 is taken by a node that cannot be made.
        {84, "IfBool", "if BooleanPort false; in1 BooleanPort false; in2 BooleanPort false", "out BooleanPort false"},
        {85, "IfLong", "if BooleanPort false; in1 LongPort 0; in2 LongPort 0", "out LongPort 0"},
        {86, "IfDouble", "if BooleanPort false; in1 DoublePort 0; in2 DoublePort 0", "out DoublePort 0"},
        {87, "IfString", "if BooleanPort false; in1 StringPort \"\"; in2 StringPort \"\"", "out StringPort \"\""},
        {88, "IfMatrix", "if BooleanPort false; in1 MatrixPort identity; in2 MatrixPort identity", "out MatrixPort identity"},
        {89, "IfVector", "if BooleanPort false; in1 VectorPort (0, 0, 0); in2 VectorPort (0, 0, 0)", "out VectorPort (0, 0, 0)"},
        {90, "IfQuaternion", "if BooleanPort false; in1 QuaternionPort (1, 0, 0, 0); in2 QuaternionPort (1, 0, 0, 0)", "out QuaternionPort (1, 0, 0, 0)"},

        // Compare.
        {92, "CompareBool", "in1 BooleanPort false; in2 BooleanPort false; operation LongPort 0", "out BooleanPort false"},
        {93, "CompareLong", "in1 LongPort 0; in2 LongPort 0; operation LongPort 0", "out BooleanPort false"},
        {94, "CompareDouble", "in1 DoublePort 0; in2 DoublePort 0; operation LongPort 0", "out BooleanPort false"},
        {95, "CompareString", "in1 StringPort \"\"; in2 StringPort \"\"; operation LongPort 0", "out BooleanPort false"},
        {96, "CompareMatrix", "in1 MatrixPort identity; in2 MatrixPort identity; operation LongPort 0", "out BooleanPort false"},
        {97, "CompareVector", "in1 VectorPort (0, 0, 0); in2 VectorPort (0, 0, 0); operation LongPort 0", "out BooleanPort false"},
        {98, "CompareQuaternion", "in1 QuaternionPort (1, 0, 0, 0); in2 QuaternionPort (1, 0, 0, 0); operation LongPort 0", "out BooleanPort false"},
    };
    // clang-format on
    return rows;
}

}  // namespace tests
