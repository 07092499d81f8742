#pragma once

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/ValueType.h>

#include <cstddef>
#include <cstring>
#include <vector>

namespace TessilGraph::internal {

/// What the outputs of a node held before it was computed.
class OutputCopies {
public:
    OutputCopies() = default;
    OutputCopies(const OutputCopies&) = delete;
    OutputCopies& operator=(const OutputCopies&) = delete;
    ~OutputCopies() { clear(); }

    void take(const Node& node) {
        clear();
        for (Port* output : Access::outputs(node)) {
            const ValueType* type = output != nullptr ? Access::valueType(*output) : nullptr;
            const void* value = type != nullptr ? type->own(*output) : nullptr;
            if (type == nullptr || !type->same(value, value)) {
                // Nobody could tell whether it changed.
                changedAnyway_ = true;
                return;
            }
            types_.push_back(type);
            if (type->isPlain) {
                const std::size_t begin = bytes_.size();
                bytes_.resize(begin + type->size);
                std::memcpy(bytes_.data() + begin, value, type->size);
            } else {
                clones_.reserve(clones_.size() + 1);
                clones_.push_back({type, type->clone(value)});
            }
        }
    }

    /// Whether the outputs of the same node hold something else now, or others stand in their place.
    bool differFrom(const Node& node) const {
        if (changedAnyway_) {
            return true;
        }
        std::size_t begin = 0;
        std::size_t clone = 0;
        auto known = types_.begin();
        for (Port* output : Access::outputs(node)) {
            if (known == types_.end() || output == nullptr || Access::valueType(*output) != *known++) {
                return true;
            }
            const ValueType& type = *Access::valueType(*output);
            const void* value = type.own(*output);
            if (type.isPlain) {
                if (std::memcmp(bytes_.data() + begin, value, type.size) != 0) {
                    return true;
                }
                begin += type.size;
            } else if (!type.same(clones_[clone++].value, value)) {
                return true;
            }
        }
        return known != types_.end();
    }

private:
    struct Clone {
        const ValueType* type;
        void* value;
    };

    void clear() {
        for (const Clone& clone : clones_) {
            clone.type->destroy(clone.value);
        }
        clones_.clear();
        types_.clear();
        bytes_.clear();
        changedAnyway_ = false;
    }

    std::vector<const ValueType*> types_;
    std::vector<unsigned char> bytes_;
    std::vector<Clone> clones_;
    bool changedAnyway_ = false;
};

}  // namespace TessilGraph::internal
