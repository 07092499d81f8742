#include <TessilGraph/graph/NodeTraits.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/TraitsByte.h>

#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

namespace TessilGraph {

namespace {

/// What was declared, by class.
class Declarations {
public:
    static Declarations& instance() {
        // Never destroyed: nodes may be evaluated while the process ends.
        static Declarations* const declarations = new Declarations;
        return *declarations;
    }

    void set(const std::type_info& type, NodeTraits traits) {
        const std::unique_lock<std::shared_mutex> guard(mutex_);
        entries_[&type] = {type.name(), traits};
    }

    NodeTraits find(const std::type_info& type) {
        const std::shared_lock<std::shared_mutex> guard(mutex_);
        const auto found = entries_.find(&type);
        return found != entries_.end() && found->second.name == type.name() ? found->second.traits : NodeTraits();
    }

private:
    /// The name is a copy. A host may unload the library in which a class stood, and another class may
    /// come to stand where it was.
    struct Entry {
        std::string name;
        NodeTraits traits;
    };

    std::shared_mutex mutex_;
    std::unordered_map<const std::type_info*, Entry> entries_;
};

}  // namespace

void declareNodeTraits(const std::type_info& type, NodeTraits traits) {
    traits.pure = traits.pure && !traits.keepsState && !traits.alone;
    Declarations::instance().set(type, traits);
}

NodeTraits traitsOf(const Node& node) {
    return internal::TraitsByte::of(node).traits();
}

namespace internal {

TraitsByte TraitsByte::find(const Node& node) {
    return TraitsByte(Declarations::instance().find(typeid(node)));
}

}  // namespace internal

}  // namespace TessilGraph
