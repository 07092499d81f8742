#pragma once

#include <Imath/ImathMatrix.h>
#include <Imath/ImathMatrixAlgo.h>
#include <Imath/ImathVec.h>

// What the nodes of the workloads compute, for the lean nodes and for the loops.

namespace bench {

/// What a matrix is made of.
struct Parts {
    Imath::V3d scale{0.0};
    Imath::V3d shear{0.0};
    Imath::V3d rotate{0.0};
    Imath::V3d translate{0.0};
};

inline double smaller(double in1, double in2) {
    return in2 < in1 ? in2 : in1;
}

inline Imath::M44d rotation(const Imath::V3d& angles) {
    Imath::M44d out;
    out.setEulerAngles(angles);
    return out;
}

inline Imath::M44d translation(const Imath::V3d& vector) {
    Imath::M44d out;
    out.setTranslation(vector);
    return out;
}

inline Imath::M44d product(const Imath::M44d& in1, const Imath::M44d& in2) {
    Imath::M44d out(Imath::UNINITIALIZED);
    Imath::M44d::multiply(in1, in2, out);
    return out;
}

inline Parts decompose(const Imath::M44d& matrix) {
    Parts parts;
    Imath::extractSHRT(matrix, parts.scale, parts.shear, parts.rotate, parts.translate, false);
    return parts;
}

inline Imath::V3d blend(const Imath::V3d& in1, const Imath::V3d& in2, double parameter) {
    return parameter * in2 + (1.0 - parameter) * in1;
}

/// in1 + in2 after as many dependent steps as take some twenty microseconds on this machine.
double slowSum(double in1, double in2);

}  // namespace bench
