#pragma once

#include <atomic>
#include <cstdint>

namespace TessilGraph::internal {

/// What the dirty byte of a node says.
enum DirtyBits : std::uint8_t {
    isDirty = 1,    ///< To be computed.
    isOrigin = 2,   ///< Marked itself, and not because something upstream was.
    sawChange = 4,  ///< A source came out with another value since.
};

/// The compiled form of a network's nodes, as the network sees it. Its nodes keep their dirty bytes
/// here, and some of their ports their values.
///
/// Dirty nodes are found without visiting clean ones: a byte for each 64 nodes, and one for each 64 of
/// these, says where to look. Nodes that are computed side by side may mark others.
class PreparedNodes {
public:
    static constexpr std::uint32_t groupBits = 6;

    PreparedNodes() = default;
    PreparedNodes(const PreparedNodes&) = delete;
    PreparedNodes& operator=(const PreparedNodes&) = delete;

    /// To be told after the dirty byte of a slot was set.
    void noteDirty(std::uint32_t slot) {
        groups_[slot >> groupBits].store(1, std::memory_order_relaxed);
        supergroups_[slot >> 2 * groupBits].store(1, std::memory_order_relaxed);
    }

    /// To be told when a node of the network was made clean by somebody else than the compiled form.
    void noteCleaned() { cleanedOutside_.store(true, std::memory_order_relaxed); }

    /// Gives everything back to the nodes and ports: nobody refers to this any more. For when one of
    /// them is about to go, or to keep its value elsewhere.
    virtual void dissolve() noexcept = 0;

protected:
    ~PreparedNodes() = default;

    std::atomic<std::uint8_t>* groups_ = nullptr;
    std::atomic<std::uint8_t>* supergroups_ = nullptr;
    std::atomic<bool> cleanedOutside_{false};
};

}  // namespace TessilGraph::internal
