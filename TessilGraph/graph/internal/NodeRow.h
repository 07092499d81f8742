#pragma once

#include <TessilGraph/graph/internal/Access.h>

#include <cstdint>

namespace TessilGraph::internal {

/// Nodes in a row that asks for no memory: each keeps the next one where walks leave their marks. For when there
/// is none left, and for what must not fail.
///
/// Threads: a node that several want to take into their rows stands in one of them.
class NodeRow {
public:
    NodeRow() = default;
    NodeRow(const NodeRow&) = delete;
    NodeRow& operator=(const NodeRow&) = delete;

    /// Puts a node in front, unless it stands in a row.
    void push(Node& node) noexcept {
        std::uint64_t& mark = Access::mark(node);
        std::uint64_t before = __atomic_load_n(&mark, __ATOMIC_RELAXED);
        const std::uint64_t after = inRow | reinterpret_cast<std::uintptr_t>(first_);
        do {
            if ((before & inRow) != 0) {
                return;
            }
        } while (!__atomic_compare_exchange_n(&mark, &before, after, true, __ATOMIC_ACQ_REL, __ATOMIC_RELAXED));
        first_ = &node;
    }

    /// Takes the first node out; null when there is none.
    Node* pop() noexcept {
        Node* const node = first_;
        if (node != nullptr) {
            const std::uint64_t mark = __atomic_exchange_n(&Access::mark(*node), 0, __ATOMIC_ACQ_REL);
            first_ =
                (mark & inRow) != 0 ? reinterpret_cast<Node*>(static_cast<std::uintptr_t>(mark & ~inRow)) : nullptr;
        }
        return node;
    }

private:
    /// No stamp of a walk comes that far, and no address of a program.
    static constexpr std::uint64_t inRow = std::uint64_t{1} << 63;

    Node* first_ = nullptr;
};

}  // namespace TessilGraph::internal
