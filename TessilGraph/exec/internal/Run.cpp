#include <TessilGraph/exec/internal/Run.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>

#include <atomic>
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

bool Run::all(Allowance allowance) {
    Turn turn(control_, allowance);
    for (std::uint32_t row = 0; row < form_.supergroupRows(); ++row) {
        Bits places = form_.flaggedSupergroups(row);
        while (places != 0) {
            const std::uint32_t place = lowestBit(places);
            if (!supergroup(row * slotsPerGroup + place, turn)) {
                return false;
            }
            places = turn.askedNodes ? form_.flaggedSupergroups(row) & beyond(place) : places & (places - 1);
            turn.askedNodes = false;
        }
    }
    return true;
}

/// False when the run is to end. Sets `askedNodes` when a node was computed that may have marked others.
bool Run::supergroup(std::uint32_t supergroup, Turn& turn) {
    bool askedAny = false;
    bool allClean = true;
    Bits groups = form_.flaggedGroups(supergroup);
    while (groups != 0) {
        const std::uint32_t place = lowestBit(groups);
        const std::uint32_t here = supergroup * slotsPerGroup + place;
        const Bits dirty = form_.dirty().nonZero(here);
        const Bits allowed = members_.group(here);
        const Bits todo = dirty & allowed;
        if (todo != 0 && !(isPlain_ && hasOnlyKernels(here, todo) ? plainGroup(here, todo, turn)
                                                                  : group(here, todo, allowed, turn))) {
            return false;
        }
        groups &= groups - 1;
        bool isClean = (dirty & ~allowed) == 0;
        if (turn.askedNodes) {
            turn.askedNodes = false;
            askedAny = true;
            groups = form_.flaggedGroups(supergroup) & beyond(place);
            isClean = !form_.dirty().anyIn(here);
        }
        if (isClean) {
            form_.setClean(here);
        } else {
            allClean = false;
        }
    }
    turn.askedNodes = askedAny;
    if (askedAny ? form_.flaggedGroups(supergroup) == 0 : allClean) {
        form_.setSupergroupClean(supergroup);
    }
    return true;
}

void Run::part(Slot begin, Slot end) {
    Turn turn(control_, Allowance());
    for (std::uint32_t here = groupOf(begin); begin < end; ++here, begin = here * slotsPerGroup) {
        Bits allowed = members_.group(here) & allSlots << begin % slotsPerGroup;
        if (end - here * slotsPerGroup < slotsPerGroup) {
            allowed &= bitOf(end) - 1;
        }
        const Bits todo = form_.dirty().nonZero(here) & allowed;
        if (todo != 0 && !group(here, todo, allowed, turn)) {
            return;
        }
    }
}

/// False when the run is to end.
bool Run::plainGroup(std::uint32_t group, Bits todo, Turn& turn) {
    std::uint32_t count = 1;
    if ((todo & (todo - 1)) == 0) {
        one(group * slotsPerGroup + lowestBit(todo));
    } else {
        count = todo == allSlots ? straight(group) : kernels(group, todo);
    }
    turn.computed += count;
    turn.allowance.nanoseconds -= static_cast<float>(count) * turn.allowance.kernelCost;
    return turn.allowance.nanoseconds > 0.0F;
}

/// False when the run is to end.
bool Run::group(std::uint32_t group, Bits todo, Bits allowed, Turn& turn) {
    if (how_.cutOff || !hasOnlyKernels(group, todo)) {
        return mixed(group, todo, allowed, turn);
    }
    if (!control_.mayGoOn()) {
        return false;
    }
    const Clock::time_point begin = how_.timed ? Clock::now() : Clock::time_point();
    const std::uint32_t count = todo == allSlots ? straight(group) : kernels(group, todo);
    if (how_.timed) {
        const float each = nanosecondsSince(begin) / static_cast<float>(count);
        for (Bits bits = todo; bits != 0; bits &= bits - 1) {
            form_.noteCost(group * slotsPerGroup + lowestBit(bits), each);
        }
    }
    turn.computed += count;
    turn.allowance.nanoseconds -= static_cast<float>(count) * turn.allowance.kernelCost;
    return goesOn(count) && turn.allowance.nanoseconds > 0.0F;
}

/// All slots of a group, one entry after the other. Four calls in a row, so that processors that predict
/// where a call leads by where it stands tell neighbours of different kinds apart.
std::uint32_t Run::straight(std::uint32_t group) {
    const Place* entry = form_.entry(group * slotsPerGroup);
    for (std::uint32_t i = 0; i < slotsPerGroup; i += 4) {
        entry = form_.compute(entry);
        entry = form_.compute(entry);
        entry = form_.compute(entry);
        entry = form_.compute(entry);
    }
    form_.dirty().clearGroup(group);
    return slotsPerGroup;
}

/// Those slots of a group; returns how many these are.
std::uint32_t Run::kernels(std::uint32_t group, Bits slots) {
    std::uint32_t count = 0;
    const auto next = [this, &slots, &count, first = group * slotsPerGroup] {
        const Slot slot = first + lowestBit(slots);
        slots &= slots - 1;
        one(slot);
        ++count;
        return slots != 0;
    };
    for (bool more = true; more;) {
        more = next();
        more = more && next();
        more = more && next();
        more = more && next();
    }
    return count;
}

/// Whether the nodes among some slots are within what is left of an allowance, and takes them off it.
bool Run::affords(std::uint32_t group, Bits slots, Turn& turn) const {
    if (turn.allowance.nanoseconds == std::numeric_limits<float>::infinity()) {
        return true;
    }
    for (Bits nodes = slots & ~form_.withKernel(group); nodes != 0; nodes &= nodes - 1) {
        turn.allowance.nanoseconds -= form_.cost(group * slotsPerGroup + lowestBit(nodes));
    }
    return turn.allowance.nanoseconds > 0.0F;
}

/// Slots of all kinds.
bool Run::mixed(std::uint32_t group, Bits todo, Bits allowed, Turn& turn) {
    if (!affords(group, todo, turn)) {
        return false;
    }
    std::uint32_t kernelsDone = 0;
    std::uint32_t leftAsTheyAre = 0;
    while (todo != 0) {
        const std::uint32_t place = lowestBit(todo);
        const Slot slot = group * slotsPerGroup + place;
        todo &= todo - 1;
        if (how_.cutOff && !mustRun(slot)) {
            setClean(slot);
            ++leftAsTheyAre;
        } else if (!form_.hasKernel(slot)) {
            if (!node(slot, turn)) {
                turn.computed += kernelsDone;
                return false;
            }
            // It may have marked others.
            turn.askedNodes = true;
            todo = form_.dirty().nonZero(group) & allowed & beyond(place);
        } else if (how_.cutOff) {
            noteKernel(slot);
            ++kernelsDone;
        } else {
            one(slot);
            ++kernelsDone;
        }
    }
    turn.computed += kernelsDone;
    turn.allowance.nanoseconds -= static_cast<float>(kernelsDone) * turn.allowance.kernelCost;
    return goesOn(kernelsDone + leftAsTheyAre) && turn.allowance.nanoseconds > 0.0F;
}

/// Asks the node itself. False when the run is to end.
bool Run::node(Slot slot, Turn& turn) {
    if (!control_.mayGoOn()) {
        return false;
    }
    Node& node = form_.node(slot);
    if (how_.cutOff) {
        turn.copies.take(node);
    }
    const Clock::time_point begin = how_.timed ? Clock::now() : Clock::time_point();
    try {
        computeOrLeaveDirty(node, how_.data);
    } catch (...) {
        control_.stop();
        throw;
    }
    ++turn.computed;
    if (form_.isRewired()) {
        // The order may no longer be one, and slots may be gone.
        node.setDirty(false);
        control_.goesOn(1);
        control_.stop();
        return false;
    }
    if (how_.timed) {
        form_.noteCost(slot, nanosecondsSince(begin));
    }
    setClean(slot);
    if (how_.cutOff && turn.copies.differFrom(node)) {
        tellConsumers(slot);
    }
    return goesOn(1);
}

/// Between two nodes. Who is told then how far the run is may have changed the wiring.
bool Run::goesOn(std::uint64_t count) {
    const bool goesOn = control_.goesOn(count);
    if (control_.wantsProgress() && form_.isRewired()) {
        control_.stop();
        return false;
    }
    return goesOn;
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
