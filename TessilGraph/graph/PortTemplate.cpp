#include <TessilGraph/graph/PortTemplate.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/SameBits.h>
#include <TessilGraph/graph/internal/ValueType.h>

#include <TessilUtils/Logger.h>

#include <memory>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace TessilGraph {

namespace internal {

/// The value of a typed port, for those who know only the port.
template <class T>
struct ValueOf {
    static PortTemplate<T>& typed(Port& port) { return static_cast<PortTemplate<T>&>(port); }
    static const T& value(const void* address) { return *static_cast<const T*>(address); }

    static void* own(Port& port) { return &Access::ownValue(typed(port)); }
    static void* shown(Port& port) { return Access::data(typed(port)); }

    static void adopt(Port& port, void* place) {
        Access::data(typed(port)) = new (place) T(Access::ownValue(typed(port)));
        Access::adopted(port) = true;
    }

    static void release(Port& port) {
        Access::storedValue(typed(port)) = Access::ownValue(typed(port));
        Access::data(typed(port)) = &Access::storedValue(typed(port));
        Access::adopted(port) = false;
    }

    static void* clone(const void* original) { return new T(value(original)); }
    static void destroy(void* address) { delete static_cast<T*>(address); }
    static bool same(const void* a, const void* b) { return haveSameBits(value(a), value(b)); }
};

}  // namespace internal

namespace {

using internal::ValueOf;
using internal::ValueType;

template <class T>
constexpr ValueType valueType = {
    &typeid(PortTemplate<T>), sizeof(T),           internal::isPlainValue<T>, ValueOf<T>::own,     ValueOf<T>::shown,
    ValueOf<T>::adopt,        ValueOf<T>::release, ValueOf<T>::clone,         ValueOf<T>::destroy, ValueOf<T>::same};

/// The value types of ports, numbered from 1.
template <class... T>
struct Numbered {
    template <class Wanted>
    static constexpr std::uint8_t number() {
        std::uint8_t place = 0;
        std::uint8_t found = 0;
        ((++place, found = std::is_same_v<T, Wanted> ? place : found), ...);
        return found;
    }

    static constexpr const ValueType* types[] = {nullptr, &valueType<T>...};
};

using Values = Numbered<bool, Long, double, std::string, Imath::M44d, Imath::V3d, Imath::Quatd, TessilUtils::Curve,
                        TessilUtils::Mesh, TessilUtils::Image, TessilUtils::Curve*, TessilUtils::Mesh*,
                        std::vector<bool>, std::vector<Long>, std::vector<double>, std::vector<std::string>,
                        std::vector<Imath::M44d>, std::vector<Imath::V3d>, std::vector<Imath::Quatd>,
                        std::vector<TessilUtils::Curve>, std::vector<TessilUtils::Mesh>>;

/// Says in the log when they have not.
bool haveValuesOfOneType(const Port& target, const Port& source) {
    const bool areAlike = internal::Access::valueTypeNumber(target) == internal::Access::valueTypeNumber(source);
    if (!areAlike) {
        TessilUtils::Logger::error() << "Impossible copy a" << source.typeStr() << "value to a" << target.typeStr()
                                     << "port";
    }
    return areAlike;
}

}  // namespace

const internal::ValueType* internal::valueTypeOf(const Port& port) {
    return Values::types[Access::valueTypeNumber(port)];
}

template <class T>
PortTemplate<T>::PortTemplate(const std::string& name) : PortTemplate(PortName(name)) {}

template <class T>
PortTemplate<T>::PortTemplate(PortName name)
    : Port(std::move(name), Values::number<T>()), data_(&value_), value_(defaultPortValue<T>()) {}

template <class T>
PortTemplate<T>* PortTemplate<T>::addTo(Node& node, const HashedName& name, bool asInput) {
    static_assert(alignof(PortTemplate) <= alignof(void*), "more than a place beside the node gives");
    std::unique_ptr<PortTemplate> port(new (internal::Beside{node}) PortTemplate(PortName(name)));
    return internal::Access::addNewPort(node, *port, asInput) ? port.release() : nullptr;
}

template <class T>
PortTemplate<T>::~PortTemplate() {
    if (adopted_) {
        noteNewStorage();
    }
}

template <class T>
std::string PortTemplate<T>::typeStr() const {
    return staticTypeStr();
}

template <class T>
void PortTemplate<T>::copyValue(Port* other) {
    if (other == nullptr || other == this) {
        return;
    }
    if (!haveValuesOfOneType(*this, *other)) {
        return;
    }
    auto& source = static_cast<PortTemplate&>(*other);
    internal::assignWhole(internal::Access::ownValue(*this), internal::Access::ownValue(source));
    setLink(source.bound_ ? source.data_ : nullptr);
}

template <class T>
void PortTemplate<T>::reset() {
    Port::reset();
    T fresh = defaultPortValue<T>();
    std::swap(internal::Access::ownValue(*this), fresh);  // Assigned to, a string would keep its room.
    setLink(nullptr);
}

template <class T>
void PortTemplate<T>::setLink(T* link) {
    T* const shown = link != nullptr ? link : &value_;
    const bool bound = link != nullptr;
    if (bound == bound_ && (!bound || shown == data_)) {
        return;
    }
    noteNewStorage();
    data_ = shown;
    bound_ = bound;
}

template <class T>
const Port& PortTemplate<T>::endOfInputs() const {
    return internal::endOfInputs(*this);
}

template class PortTemplate<bool>;
template class PortTemplate<Long>;
template class PortTemplate<double>;
template class PortTemplate<std::string>;
template class PortTemplate<Imath::M44d>;
template class PortTemplate<Imath::V3d>;
template class PortTemplate<Imath::Quatd>;
template class PortTemplate<TessilUtils::Curve>;
template class PortTemplate<TessilUtils::Mesh>;
template class PortTemplate<TessilUtils::Image>;
template class PortTemplate<TessilUtils::Curve*>;
template class PortTemplate<TessilUtils::Mesh*>;
template class PortTemplate<std::vector<bool>>;
template class PortTemplate<std::vector<Long>>;
template class PortTemplate<std::vector<double>>;
template class PortTemplate<std::vector<std::string>>;
template class PortTemplate<std::vector<Imath::M44d>>;
template class PortTemplate<std::vector<Imath::V3d>>;
template class PortTemplate<std::vector<Imath::Quatd>>;
template class PortTemplate<std::vector<TessilUtils::Curve>>;
template class PortTemplate<std::vector<TessilUtils::Mesh>>;

}  // namespace TessilGraph
