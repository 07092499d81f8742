#pragma once

#include <TessilGraph/exec/internal/CompiledNetwork.h>
#include <TessilGraph/exec/internal/OutputCopies.h>
#include <TessilGraph/exec/internal/RunControl.h>
#include <TessilGraph/exec/internal/Slots.h>

#include <atomic>
#include <cstdint>
#include <limits>

namespace TessilGraph::internal {

/// Computes the dirty slots among some members of a compiled network.
class Run {
public:
    struct How {
        const ComputeData* data = nullptr;
        bool cutOff = false;
        bool timed = false;  ///< Notes how long slots take.
    };

    /// How much may be done on one thread before it is worth finding out whether others should help.
    struct Allowance {
        float nanoseconds = std::numeric_limits<float>::infinity();
        float kernelCost = 0.0F;  ///< What a slot with a kernel takes on average.
    };

    Run(CompiledNetwork& form, const SlotSet& members, How how, RunControl& control)
        : form_(form),
          members_(members),
          how_(how),
          isPlain_(!how.cutOff && !how.timed && !control.isAsked()),
          control_(control) {}

    /// All members, in the order of their slots, on this thread. What is left when it ends early is dirty.
    /// False when it ended early, because the allowance was spent or for a reason that the control knows.
    bool all(Allowance allowance);
    void all() { all(Allowance()); }

    /// Those in [begin, end). Different threads may do so at the same time, of ranges that don't overlap.
    /// What the form knows of where dirty slots are is left as it is.
    void part(Slot begin, Slot end);

private:
    /// One thread at work.
    struct Turn {
        Turn(RunControl& toldTo, Allowance given) : allowance(given), control(toldTo) {}
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn() { control.addComputed(computed); }

        OutputCopies copies;
        std::uint64_t computed = 0;
        bool askedNodes = false;  ///< Since somebody looked; they may have marked others.
        Allowance allowance;
        RunControl& control;
    };

    bool supergroup(std::uint32_t supergroup, Turn& turn);
    bool plainGroup(std::uint32_t group, Bits todo, Turn& turn);
    bool hasOnlyKernels(std::uint32_t group, Bits slots) const { return (slots & ~form_.withKernel(group)) == 0; }
    bool group(std::uint32_t group, Bits todo, Bits allowed, Turn& turn);
    std::uint32_t straight(std::uint32_t group);
    std::uint32_t kernels(std::uint32_t group, Bits slots);
    bool affords(std::uint32_t group, Bits slots, Turn& turn) const;
    bool mixed(std::uint32_t group, Bits todo, Bits allowed, Turn& turn);
    bool node(Slot slot, Turn& turn);
    bool goesOn(std::uint64_t count);
    void noteKernel(Slot slot);
    bool mustRun(Slot slot);
    void tellConsumers(Slot slot);
    void one(Slot slot) {
        form_.compute(form_.entry(slot));
        setClean(slot);
    }
    void setClean(Slot slot) { form_.dirty()[slot].store(0, std::memory_order_relaxed); }

    CompiledNetwork& form_;
    const SlotSet& members_;
    const How how_;
    const bool isPlain_;  ///< Kernels are to be computed and nothing else.
    RunControl& control_;
};

}  // namespace TessilGraph::internal
