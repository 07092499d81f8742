#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace model {

/// A list that shares its items with its copies until one of them is changed there. So trying a step out costs what
/// the step changes, not what there is.
template <class T>
class SharedList {
public:
    std::size_t size() const { return items_.size(); }
    const T& operator[](std::size_t index) const { return *items_[index]; }

    /// An item of this list's own. What was got from `[]` before may show the old one.
    T& change(std::size_t index) {
        std::shared_ptr<T>& item = items_[index];
        if (item.use_count() > 1) {
            item = std::make_shared<T>(*item);
        }
        return *item;
    }

    void add(T item) { items_.push_back(std::make_shared<T>(std::move(item))); }
    void removeLast() { items_.pop_back(); }

private:
    std::vector<std::shared_ptr<T>> items_;
};

}  // namespace model
