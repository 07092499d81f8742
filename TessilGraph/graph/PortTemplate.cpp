#include <TessilGraph/graph/PortTemplate.h>

#include <TessilGraph/graph/internal/Access.h>

namespace TessilGraph {

template <class T>
PortTemplate<T>::PortTemplate(const std::string& name) : Port(name), value_(defaultPortValue<T>()) {}

template <class T>
PortTemplate<T>::~PortTemplate() = default;

template <class T>
std::string PortTemplate<T>::typeStr() const {
    return staticTypeStr();
}

template <class T>
void PortTemplate<T>::copyValue(Port* other) {
    if (other == nullptr || other == this) {
        return;
    }
    const auto& source = static_cast<const PortTemplate&>(*other);
    value_ = source.value_;
    link_ = source.link_;
}

template <class T>
void PortTemplate<T>::reset() {
    Port::reset();
    value_ = defaultPortValue<T>();
    link_ = nullptr;
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
