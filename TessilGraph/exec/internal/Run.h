#pragma once

#include <TessilGraph/exec/internal/CompiledNetwork.h>
#include <TessilGraph/exec/internal/OutputCopies.h>
#include <TessilGraph/exec/internal/RunControl.h>
#include <TessilGraph/exec/internal/Slots.h>

#include <cstdint>

namespace TessilGraph::internal {

/// Computes the dirty slots among some members of a compiled network.
class Run {
public:
    struct How {
        const ComputeData* data = nullptr;
        bool cutOff = false;
        bool timed = false;  ///< Notes how long slots take.
    };

    Run(CompiledNetwork& form, const SlotSet& members, How how, RunControl& control)
        : form_(form), members_(members), how_(how), control_(control) {}

    /// All members, in the order of their slots, on this thread. What is left when it ends early is dirty.
    void all();

    /// Those in [begin, end). Different threads may do so at the same time, of ranges that don't overlap.
    /// What the form knows of where dirty slots are is left as it is.
    void part(Slot begin, Slot end);

private:
    bool group(std::uint32_t group, Bits allowed, OutputCopies& copies);
    void straight(std::uint32_t group);
    void kernels(std::uint32_t group, Bits slots);
    bool mixed(std::uint32_t group, Bits allowed, OutputCopies& copies);
    bool node(Slot slot, OutputCopies& copies);
    void noteKernel(Slot slot);
    bool mustRun(Slot slot);
    void tellConsumers(Slot slot);
    void setClean(Slot slot) { form_.dirty()[slot].store(0, std::memory_order_relaxed); }

    CompiledNetwork& form_;
    const SlotSet& members_;
    const How how_;
    RunControl& control_;
};

}  // namespace TessilGraph::internal
