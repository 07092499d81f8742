#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/HashedName.h>

#include <cstdint>
#include <string>

namespace TessilGraph {

/// The name of a port in the room of a pointer.
///
/// Ports by the thousand share a few short names, so these are kept once for the whole process. There
/// is room for some hundred of them; a name that finds none, and a long one, is the port's own.
///
/// Threads: any number at once.
class TESSILGRAPH_API PortName {
public:
    explicit PortName(const HashedName& name);
    PortName(PortName&& other) noexcept : text_(other.text_) { other.text_ = 0; }
    ~PortName() {
        if ((text_ & isOwn) != 0) {
            destroy();
        }
    }
    PortName(const PortName&) = delete;
    PortName& operator=(const PortName&) = delete;
    PortName& operator=(PortName&&) = delete;

    const std::string& str() const { return *reinterpret_cast<const std::string*>(text_ & ~isOwn); }

    /// Whether both have the same text.
    bool isSameAs(const PortName& other) const {
        return text_ == other.text_ || (((text_ | other.text_) & isOwn) != 0 && str() == other.str());
    }

private:
    static std::uintptr_t enterOrKeep(const HashedName& name);
    void destroy();

    static constexpr std::uintptr_t isOwn = 1;

    std::uintptr_t
        text_;  ///< The address of a string, with `isOwn` set when it dies with this name; 0 when moved away.
};

}  // namespace TessilGraph
