#include <TessilGraph/graph/PortTemplate.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/SameBits.h>
#include <TessilGraph/graph/internal/ValueType.h>

#include <new>
#include <typeinfo>

namespace TessilGraph {

namespace internal {

/// The value of a typed port, for those who know only the port.
template <class T>
struct ValueOf {
    static PortTemplate<T>& typed(Port& port) { return static_cast<PortTemplate<T>&>(port); }
    static T& value(void* address) { return *static_cast<T*>(address); }
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

    static void assign(void* target, const void* source) { value(target) = value(source); }
    static void* clone(const void* original) { return new T(value(original)); }
    static void destroy(void* address) { delete static_cast<T*>(address); }
    static bool same(const void* a, const void* b) { return haveSameBits(value(a), value(b)); }
};

}  // namespace internal

template <class T>
const internal::ValueType PortTemplate<T>::valueType = {&typeid(PortTemplate<T>),      sizeof(T),
                                                        internal::isPlainValue<T>,     internal::ValueOf<T>::own,
                                                        internal::ValueOf<T>::shown,   internal::ValueOf<T>::adopt,
                                                        internal::ValueOf<T>::release, internal::ValueOf<T>::assign,
                                                        internal::ValueOf<T>::clone,   internal::ValueOf<T>::destroy,
                                                        internal::ValueOf<T>::same};

template <class T>
PortTemplate<T>::PortTemplate(const std::string& name)
    : Port(name, valueType), data_(&value_), value_(defaultPortValue<T>()) {}

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
    auto& source = static_cast<PortTemplate&>(*other);
    internal::Access::ownValue(*this) = internal::Access::ownValue(source);
    setLink(source.bound_ ? source.data_ : nullptr);
}

template <class T>
void PortTemplate<T>::reset() {
    Port::reset();
    internal::Access::ownValue(*this) = defaultPortValue<T>();
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
