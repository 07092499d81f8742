#include <TessilGraph/exec/internal/Run.h>

#include <TessilGraph/graph/Node.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace TessilGraph::internal {

namespace {

using Clock = std::chrono::steady_clock;

float nanosecondsSince(Clock::time_point begin) {
    return std::chrono::duration<float, std::nano>(Clock::now() - begin).count();
}

/// Places beyond the given one.
Bits beyond(std::uint32_t place) {
    return place + 1 < slotsPerGroup ? allSlots << (place + 1) : 0;
}

}  // namespace

void Run::all() {
    OutputCopies copies;
    for (std::uint32_t place = 0; place < form_.supergroups(); ++place) {
        if (!form_.supergroupMayHoldDirty(place)) {
            continue;
        }
        const std::uint32_t end = std::min(form_.groups(), (place + 1) * slotsPerGroup);
        for (std::uint32_t g = place * slotsPerGroup; g < end; ++g) {
            const Bits allowed = members_.group(g);
            if (allowed == 0 || !form_.mayHoldDirty(g)) {
                continue;
            }
            if (!group(g, allowed, copies)) {
                return;
            }
            if (!form_.dirty().anyIn(g)) {
                form_.setClean(g);
            }
        }
        form_.settleSupergroup(place);
    }
}

void Run::part(Slot begin, Slot end) {
    OutputCopies copies;
    for (std::uint32_t g = groupOf(begin); begin < end; ++g, begin = g * slotsPerGroup) {
        Bits allowed = members_.group(g) & allSlots << begin % slotsPerGroup;
        if (end - g * slotsPerGroup < slotsPerGroup) {
            allowed &= bitOf(end) - 1;
        }
        if (allowed != 0 && !group(g, allowed, copies)) {
            return;
        }
    }
}

/// False when the run is to end.
bool Run::group(std::uint32_t group, Bits allowed, OutputCopies& copies) {
    const Bits todo = form_.dirty().nonZero(group) & allowed;
    if (todo == 0) {
        return true;
    }
    const Bits withKernel = form_.withKernel(group);
    if (how_.cutOff || (todo & ~withKernel) != 0) {
        return mixed(group, allowed, copies);
    }
    if (!control_.mayGoOn()) {
        return false;
    }
    const std::uint32_t count = countBits(todo);
    const Clock::time_point begin = how_.timed ? Clock::now() : Clock::time_point();
    if (todo == allSlots) {
        straight(group);
    } else {
        kernels(group, todo);
    }
    if (how_.timed) {
        const float each = nanosecondsSince(begin) / static_cast<float>(count);
        for (Bits bits = todo; bits != 0; bits &= bits - 1) {
            form_.noteCost(group * slotsPerGroup + lowestBit(bits), each);
        }
    }
    control_.addComputed(count);
    return control_.goesOn(count);
}

/// All slots of a group, one entry after the other. Four calls in a row, so that processors that predict
/// where a call leads by where it stands tell neighbours of different kinds apart.
void Run::straight(std::uint32_t group) {
    const Place* entry = form_.entry(group * slotsPerGroup);
    for (std::uint32_t i = 0; i < slotsPerGroup; i += 4) {
        entry = form_.compute(entry);
        entry = form_.compute(entry);
        entry = form_.compute(entry);
        entry = form_.compute(entry);
    }
    form_.dirty().clearGroup(group);
}

void Run::kernels(std::uint32_t group, Bits slots) {
    const auto next = [this, &slots, first = group * slotsPerGroup] {
        const Slot slot = first + lowestBit(slots);
        slots &= slots - 1;
        form_.compute(form_.entry(slot));
        setClean(slot);
        return slots != 0;
    };
    for (bool more = true; more;) {
        more = next();
        more = more && next();
        more = more && next();
        more = more && next();
    }
}

/// Slots of all kinds.
bool Run::mixed(std::uint32_t group, Bits allowed, OutputCopies& copies) {
    Bits todo = form_.dirty().nonZero(group) & allowed;
    std::uint32_t kernelsDone = 0;
    while (todo != 0) {
        const std::uint32_t place = lowestBit(todo);
        const Slot slot = group * slotsPerGroup + place;
        todo &= todo - 1;
        if (how_.cutOff && !mustRun(slot)) {
            setClean(slot);
        } else if (!form_.hasKernel(slot)) {
            if (!node(slot, copies)) {
                control_.addComputed(kernelsDone);
                return false;
            }
            // It may have marked others.
            todo = form_.dirty().nonZero(group) & allowed & beyond(place);
        } else if (how_.cutOff) {
            noteKernel(slot);
            ++kernelsDone;
        } else {
            form_.compute(form_.entry(slot));
            setClean(slot);
            ++kernelsDone;
        }
    }
    control_.addComputed(kernelsDone);
    return control_.goesOn(kernelsDone);
}

/// Asks the node itself. False when the run is to end.
bool Run::node(Slot slot, OutputCopies& copies) {
    if (!control_.mayGoOn()) {
        return false;
    }
    Node& node = form_.node(slot);
    if (how_.cutOff) {
        copies.take(node);
    }
    const Clock::time_point begin = how_.timed ? Clock::now() : Clock::time_point();
    try {
        node.compute(how_.data);
    } catch (...) {
        control_.stop();
        node.setDirtyFlag();
        throw;
    }
    control_.addComputed(1);
    if (form_.isRewired()) {
        // The order may no longer be one, and slots may be gone.
        node.setDirty(false);
        control_.stop();
        return false;
    }
    if (how_.timed) {
        form_.noteCost(slot, nanosecondsSince(begin));
    }
    setClean(slot);
    if (how_.cutOff && copies.differFrom(node)) {
        tellConsumers(slot);
    }
    return control_.goesOn(1);
}

/// Computes a slot and tells its consumers whether that changed anything.
void Run::noteKernel(Slot slot) {
    const CompiledNetwork::Outputs outputs = form_.outputs(slot);
    unsigned char before[Kernel::maxOutputBytes];
    std::memcpy(before, outputs.values, outputs.size);
    form_.compute(form_.entry(slot));
    setClean(slot);
    if (std::memcmp(before, outputs.values, outputs.size) != 0) {
        tellConsumers(slot);
    }
}

bool Run::mustRun(Slot slot) {
    constexpr std::uint8_t reasons = isOrigin | sawChange;
    return (form_.dirty()[slot].load(std::memory_order_relaxed) & reasons) != 0 || form_.dependsOnMore(slot);
}

void Run::tellConsumers(Slot slot) {
    for (const Slot consumer : form_.consumers(slot)) {
        SharedBytes::Byte& dirty = form_.dirty()[consumer];
        if (dirty.load(std::memory_order_relaxed) != 0) {
            dirty.fetch_or(sawChange, std::memory_order_relaxed);
        }
    }
}

}  // namespace TessilGraph::internal
