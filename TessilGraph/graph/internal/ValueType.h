#pragma once

#include <cstddef>
#include <typeinfo>

namespace TessilGraph {

class Port;

namespace internal {

/// How those who know only a port handle its value. One per port class of the library.
struct ValueType {
    const std::type_info* port;  ///< The port class itself; ports of classes derived from it differ.
    std::size_t size;            ///< Bytes of a value.
    bool isPlain;                ///< Values are bytes: they may be copied, moved and compared as such.

    /// Where the port keeps its own value.
    void* (*own)(Port& port);

    /// What readers of this port see when it is not linked: its own value, or storage outside.
    void* (*shown)(Port& port);

    /// Makes the port keep its own plain value at `place`, to which it is copied. Not for bound ports.
    void (*adopt)(Port& port, void* place);

    /// Brings an adopted value home.
    void (*release)(Port& port);

    /// A value on the heap, a copy; and its end.
    void* (*clone)(const void* value);
    void (*destroy)(void* value);

    /// Whether two values are the same bit for bit. False for values that don't compare.
    bool (*same)(const void* a, const void* b);
};

/// Null for a port without a value.
const ValueType* valueTypeOf(const Port& port);

}  // namespace internal
}  // namespace TessilGraph
