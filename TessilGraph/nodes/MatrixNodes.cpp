#include <TessilGraph/nodes/MatrixNodes.h>

#include <TessilGraph/nodes/MatrixShapeCompute.h>
#include <TessilGraph/nodes/ShapeCompute.h>
#include <TessilGraph/nodes/internal/Arithmetic.h>
#include <TessilGraph/nodes/internal/Kernels.h>
#include <TessilGraph/nodes/internal/MatrixAlgorithms.h>

namespace TessilGraph {

using Imath::M44d;
using Imath::V3d;

template <class T, class In, class Out>
[[gnu::noinline]] Out InverseNode<T, In, Out>::evaluate(const In& in) {
    return in.inverse();
}

template <class T, class In, class Out>
[[gnu::noinline]] Out TransposeNode<T, In, Out>::evaluate(const In& in) {
    return in.transposed();
}

template <class T, class In, class Out>
[[gnu::noinline]] Out DeterminantMatrixNode<T, In, Out>::evaluate(const In& in) {
    return in.determinant();
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out AddScalarMatrixNode<T, In1, In2, Out>::evaluate(const In1& matrix, const In2& scalar) {
    Out out = matrix;
    out += scalar;
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out MultiplyScalarMatrixNode<T, In1, In2, Out>::evaluate(const In1& matrix, const In2& scalar) {
    return matrix * scalar;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out DivideScalarMatrixNode<T, In1, In2, Out>::evaluate(const In1& matrix, const In2& scalar) {
    return matrix / scalar;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out RotateNode<T, In1, In2, Out>::evaluate(const In1& matrix, const In2& angles) {
    Out out = matrix;
    out.rotate(angles);
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out SetRotateNode<T, In1, In2, Out>::evaluate(const In1&, const In2& angles) {
    Out out;
    out.setEulerAngles(angles);
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out ScaleNode<T, In1, In2, Out>::evaluate(const In1& matrix, const In2& scale) {
    Out out = matrix;
    out.scale(scale);
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out SetScaleNode<T, In1, In2, Out>::evaluate(const In1&, const In2& scale) {
    Out out;
    out.setScale(scale);
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out TranslateNode<T, In1, In2, Out>::evaluate(const In1& matrix, const In2& translation) {
    Out out = matrix;
    out.translate(translation);
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out SetTranslationNode<T, In1, In2, Out>::evaluate(const In1&, const In2& translation) {
    Out out;
    out.setTranslation(translation);
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out ShearNode<T, In1, In2, Out>::evaluate(const In1& matrix, const In2& shear) {
    Out out = matrix;
    out.shear(shear);
    return out;
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out SetShearNode<T, In1, In2, Out>::evaluate(const In1&, const In2& shear) {
    Out out;
    out.setShear(shear);
    return out;
}

template class AddNode<M44d, M44d, M44d, M44d>;
template class SubtractNode<M44d, M44d, M44d, M44d>;
template class MultiplyNode<M44d, M44d, M44d, M44d>;
template class InverseNode<M44d, M44d, M44d>;
template class TransposeNode<M44d, M44d, M44d>;
template class DeterminantMatrixNode<M44d, M44d, double>;
template class AddScalarMatrixNode<M44d, M44d, double, M44d>;
template class MultiplyScalarMatrixNode<M44d, M44d, double, M44d>;
template class DivideScalarMatrixNode<M44d, M44d, double, M44d>;
template class RotateNode<M44d, M44d, V3d, M44d>;
template class SetRotateNode<M44d, M44d, V3d, M44d>;
template class ScaleNode<M44d, M44d, V3d, M44d>;
template class SetScaleNode<M44d, M44d, V3d, M44d>;
template class TranslateNode<M44d, M44d, V3d, M44d>;
template class SetTranslationNode<M44d, M44d, V3d, M44d>;
template class ShearNode<M44d, M44d, V3d, M44d>;
template class SetShearNode<M44d, M44d, V3d, M44d>;

void registerMatrixNodes() {
    internal::registerBuiltIn<
        AddNode<M44d, M44d, M44d, M44d>, SubtractNode<M44d, M44d, M44d, M44d>, MultiplyNode<M44d, M44d, M44d, M44d>,
        InverseNode<M44d, M44d, M44d>, TransposeNode<M44d, M44d, M44d>, DeterminantMatrixNode<M44d, M44d, double>,
        MultiplyScalarMatrixNode<M44d, M44d, double, M44d>, AddScalarMatrixNode<M44d, M44d, double, M44d>,
        DivideScalarMatrixNode<M44d, M44d, double, M44d>, RotateNode<M44d, M44d, V3d, M44d>,
        SetRotateNode<M44d, M44d, V3d, M44d>, ScaleNode<M44d, M44d, V3d, M44d>, SetScaleNode<M44d, M44d, V3d, M44d>,
        TranslateNode<M44d, M44d, V3d, M44d>, SetTranslationNode<M44d, M44d, V3d, M44d>,
        ShearNode<M44d, M44d, V3d, M44d>, SetShearNode<M44d, M44d, V3d, M44d>>();
    internal::registerMatrixAlgorithmNodes();
}

}  // namespace TessilGraph
