#pragma once

#include <TessilGraph/graph/HashedName.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/Port.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Image.h>
#include <TessilUtils/Mesh.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace TessilGraph {

/// The integer of "Long" ports and nodes: 32 bits on every platform.
using Long = std::int32_t;

/// What a port type is called. Only the value types that are listed here have ports.
///
/// Threads: any number at once; it is constant.
template <class T>
inline constexpr const char* portTypeStr = nullptr;

// clang-format off
template <> inline constexpr const char* portTypeStr<bool> = "BooleanPort";
template <> inline constexpr const char* portTypeStr<Long> = "LongPort";
template <> inline constexpr const char* portTypeStr<double> = "DoublePort";
template <> inline constexpr const char* portTypeStr<std::string> = "StringPort";
template <> inline constexpr const char* portTypeStr<Imath::M44d> = "MatrixPort";
template <> inline constexpr const char* portTypeStr<Imath::V3d> = "VectorPort";
template <> inline constexpr const char* portTypeStr<Imath::Quatd> = "QuaternionPort";
template <> inline constexpr const char* portTypeStr<TessilUtils::Curve> = "CurvePort";
template <> inline constexpr const char* portTypeStr<TessilUtils::Mesh> = "MeshPort";
template <> inline constexpr const char* portTypeStr<TessilUtils::Image> = "ImagePort";
template <> inline constexpr const char* portTypeStr<TessilUtils::Curve*> = "CurveRefPort";
template <> inline constexpr const char* portTypeStr<TessilUtils::Mesh*> = "MeshRefPort";
template <> inline constexpr const char* portTypeStr<std::vector<bool>> = "BooleanArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<Long>> = "LongArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<double>> = "DoubleArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<std::string>> = "StringArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<Imath::M44d>> = "MatrixArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<Imath::V3d>> = "VectorArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<Imath::Quatd>> = "QuaternionArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<TessilUtils::Curve>> = "CurveArrayPort";
template <> inline constexpr const char* portTypeStr<std::vector<TessilUtils::Mesh>> = "MeshArrayPort";
// clang-format on

/// The value that a new or reset port of type `T` holds: zero, empty, null, or the identity.
///
/// Threads: any number at once.
template <class T>
T defaultPortValue() {
    if constexpr (std::is_same_v<T, Imath::V3d>) {
        return Imath::V3d(0.0, 0.0, 0.0);
    } else {
        return T{};
    }
}

namespace internal {

/// Gives `target` the value of `source`, or throws and leaves it as it is. Lists of what asks for memory itself are
/// assigned piece by piece, and so copied first.
template <class T>
void assignWhole(T& target, const T& source) {
    if constexpr (std::is_same_v<T, std::vector<bool>> || std::is_same_v<T, std::vector<std::string>> ||
                  std::is_same_v<T, std::vector<TessilUtils::Curve>> ||
                  std::is_same_v<T, std::vector<TessilUtils::Mesh>>) {
        T copy(source);
        target.swap(copy);
    } else {
        target = source;
    }
}

}  // namespace internal

/// A port with a value of type `T`.
///
/// Values are read, not pushed: a linked input shows the value of the output that feeds it. A port
/// may be bound to storage outside (`setLink`), which its readers then see in place of its own.
///
/// The 21 value types of `portTypeStr` exist, compiled into the library; another one does not
/// compile. Curves and meshes come by value or by pointer ("...RefPort"); the pointers are not owned
/// and must outlive their use.
///
/// Threads: as `Port`; `staticTypeStr` may be called from any thread.
template <class T>
class TESSILGRAPH_API PortTemplate : public Port {
    static_assert(portTypeStr<T> != nullptr,
                  "there are no ports of this value type; see portTypeStr for those there are");

public:
    explicit PortTemplate(const std::string& name);

    /// Makes a port with the default value and gives it to `node`, as its last input or output. Null, with
    /// the reason logged, when the node has one of that name on that side. `addInput` and `addOutput` in
    /// NodeShape.h are how node classes say it.
    static PortTemplate* addTo(Node& node, const HashedName& name, bool asInput);

    static std::string staticTypeStr() { return portTypeStr<T>; }

    std::string typeStr() const override;
    ~PortTemplate() override;

    /// Takes over stored value and link pointer of `other`, a port of the same value type. Nothing is
    /// marked dirty. Null is ignored; a port of another value type is, too, and that is logged.
    void copyValue(Port* other) override;

    /// Empties the list of links, restores the default value, drops the link to outside storage.
    void reset() override;

    /// The value that readers of this port see: of the feeding output for a linked input, of the
    /// linked storage where there is some, else its own.
    T get() const { return getRef(); }

    /// The storage that `get` reads. Valid until the wiring, the link or the port changes. Prepared
    /// evaluations keep values elsewhere: then it ends, too, when one of them prepares (in its first run,
    /// and in the next one after the network changed), when the last of them goes, and when a node of the
    /// network goes or gets another name.
    T& getRef() { return *feedingPort().data_; }
    const T& getRef() const { return *feedingPort().data_; }

    /// Stores a value in this port itself, also while it is linked. On an input, the node and
    /// everything downstream become dirty; on an output nothing does.
    void set(const T& value) {
        internal::assignWhole(bound_ ? value_ : *data_, value);
        if (isInput() && node() != nullptr) {
            node()->setDirty(true);
        }
    }

    /// Binds the port to storage outside, which the port does not own; null unbinds it. Marks
    /// nothing dirty.
    void setLink(T* link);

private:
    friend struct internal::Access;

    explicit PortTemplate(PortName name);

    const PortTemplate& feedingPort() const {
        const Port* source = input();
        if (source == nullptr) {
            return *this;
        }
        return static_cast<const PortTemplate&>(source->isOutput() ? *source : endOfInputs());
    }

    /// Where a row of inputs that were linked by hand ends; this port if it runs in a circle.
    const Port& endOfInputs() const;

    T* data_;  ///< What readers see: the own value, or storage outside. While adopted, the own value elsewhere.
    T value_;  ///< The own value; while adopted, a copy that doesn't count.
};

extern template class PortTemplate<bool>;
extern template class PortTemplate<Long>;
extern template class PortTemplate<double>;
extern template class PortTemplate<std::string>;
extern template class PortTemplate<Imath::M44d>;
extern template class PortTemplate<Imath::V3d>;
extern template class PortTemplate<Imath::Quatd>;
extern template class PortTemplate<TessilUtils::Curve>;
extern template class PortTemplate<TessilUtils::Mesh>;
extern template class PortTemplate<TessilUtils::Image>;
extern template class PortTemplate<TessilUtils::Curve*>;
extern template class PortTemplate<TessilUtils::Mesh*>;
extern template class PortTemplate<std::vector<bool>>;
extern template class PortTemplate<std::vector<Long>>;
extern template class PortTemplate<std::vector<double>>;
extern template class PortTemplate<std::vector<std::string>>;
extern template class PortTemplate<std::vector<Imath::M44d>>;
extern template class PortTemplate<std::vector<Imath::V3d>>;
extern template class PortTemplate<std::vector<Imath::Quatd>>;
extern template class PortTemplate<std::vector<TessilUtils::Curve>>;
extern template class PortTemplate<std::vector<TessilUtils::Mesh>>;

}  // namespace TessilGraph
