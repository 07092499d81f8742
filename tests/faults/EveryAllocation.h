#pragma once

#include "FailingMemory.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace tests {

/// What an operation promises that runs out of memory.
enum class Promise {
    AllOrNothing,  ///< Everything is as before the call.
    Usable         ///< The same call works when there is memory again, and leads to the same.
};

/// What an operation is done to.
class World {
public:
    World() = default;
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    virtual ~World() = default;

    /// What can be seen of it.
    virtual std::string picture() = 0;

    /// What comes of it when it is used further.
    virtual std::string later() { return {}; }
};

using MakeWorld = std::function<std::unique_ptr<World>()>;
using Operate = std::function<void(World&)>;

/// See `everyAllocationFails`.
void everyAllocationFailsIn(const MakeWorld& make, const Operate& operate, Promise promise);

/// Lets the first allocation of an operation fail, in a new world the second one, and so on until the operation
/// gets all that it asks for; and again so that there is no memory from then on until the operation has ended, or
/// until the world has.
///
/// An operation that is told of the shortage throws `std::bad_alloc`; one that does without some memory may as well
/// succeed. Messages of the logger go nowhere meanwhile.
template <class W, class Operation>
void everyAllocationFails(const Operation& operate, Promise promise = Promise::AllOrNothing) {
    everyAllocationFailsIn([] { return std::make_unique<W>(); },
                           [&operate](World& world) { operate(static_cast<W&>(world)); }, promise);
}

}  // namespace tests
