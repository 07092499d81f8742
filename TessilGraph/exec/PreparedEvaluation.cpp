#include <TessilGraph/exec/PreparedEvaluation.h>

#include <TessilGraph/exec/internal/Chunks.h>
#include <TessilGraph/exec/internal/CompiledNetwork.h>
#include <TessilGraph/exec/internal/FreshWalk.h>
#include <TessilGraph/exec/internal/Run.h>
#include <TessilGraph/exec/internal/RunControl.h>
#include <TessilGraph/exec/internal/Tasks.h>
#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/NetworkState.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <optional>
#include <utility>

namespace TessilGraph {

using internal::CompiledNetwork;
using internal::Slot;
using internal::SlotSet;

namespace {

/// Tells that the network is being evaluated. Whoever asks meanwhile does so from within that evaluation.
class Running {
public:
    explicit Running(std::atomic<bool>& running) : running_(running), first_(!running.load(std::memory_order_relaxed)) {
        running.store(true, std::memory_order_relaxed);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() {
        if (first_) {
            running_.store(false, std::memory_order_relaxed);
        }
    }

    bool isFirst() const { return first_; }

private:
    std::atomic<bool>& running_;
    const bool first_;
};

}  // namespace

class PreparedEvaluation::Impl {
public:
    Impl(NetworkManager& network, std::vector<std::string> targets)
        : state_(internal::Access::nodes(network).state()), targets_(std::move(targets)) {}

    const std::vector<std::string>& targets() const { return targets_; }

    RunResult run(const ComputeData* data, const RunOptions& options) {
        const Running running(state_->running);
        if (!running.isFirst()) {
            return {RunStatus::Busy, 0};
        }
        if (state_->nodes == nullptr) {
            form_.reset();
            return {RunStatus::NetworkGone, 0};
        }
        if (form_ == nullptr || !form_->isCurrent()) {
            prepare();
        }
        // Before the nodes are looked at: what is marked from here on counts for the next run.
        const std::uint64_t marks = state_->marks.load(std::memory_order_relaxed);
        if (cleanSince_ == marks) {
            return {ended(), 0};
        }
        internal::RunControl control(options);
        if (oddly_) {
            walkAfresh(*state_, targets_, data, control);
        } else {
            runPrepared(data, options, control);
            if (control.isStopped() && !control.isCancelled()) {
                control.resume();
                walkAfresh(*state_, targets_, data, control);
                return {control.isCancelled() ? RunStatus::Cancelled : endedAfresh(), control.computed()};
            }
        }
        if (control.isCancelled()) {
            return {RunStatus::Cancelled, control.computed()};
        }
        if (oddly_) {
            return {endedAfresh(), control.computed()};
        }
        cleanSince_ = marks;
        return {ended(), control.computed()};
    }

private:
    void prepare() {
        cleanSince_.reset();
        chunks_.reset();
        const std::shared_ptr<CompiledNetwork> form = CompiledNetwork::of(state_, form_.get());
        findMembers(*form);
        form_ = form;  // Not before all of it is there.
    }

    /// Everything upstream of the targets.
    void findMembers(const CompiledNetwork& form) {
        members_ = SlotSet(form.groups());
        targetGone_ = false;
        oddly_ = false;
        Slot last = 0;
        for (const std::string& target : targets_) {
            Node* node = state_->nodes->find(target);
            if (node == nullptr) {
                targetGone_ = true;
                continue;
            }
            const Slot slot = form.slotOf(*node);
            if (slot == internal::noSlot) {
                oddly_ = true;
                continue;
            }
            members_.add(slot);
            last = std::max(last, slot + 1);
        }
        for (Slot slot = last; slot-- > 0;) {
            if (!members_.contains(slot)) {
                continue;
            }
            oddly_ = oddly_ || form.isOdd(slot);
            for (const Slot source : form.sources(slot)) {
                members_.add(source);
            }
        }
    }

    void runPrepared(const ComputeData* data, const RunOptions& options, internal::RunControl& control) {
        CompiledNetwork& form = *form_;
        internal::Run::How how;
        how.data = data;
        how.cutOff = options.cutOff;
        if (options.cutOff) {
            form.findConsumers();
            if (form.cleanedOutside()) {
                form.makeAllOrigins();
            }
        }
        if (control.wantsProgress()) {
            control.setTotal(countDirty());
        }
        const NoteChanges noted(form, options.cutOff);
        if (options.parallel) {
            runInParallel(how, control);
        } else {
            internal::Run(form, members_, how, control).all();
        }
    }

    /// What is soon done stays on this thread, and nobody asks what it takes.
    void runInParallel(internal::Run::How how, internal::RunControl& control) {
        constexpr float little = 10000.0F;
        constexpr float unknownCost = 10.0F;
        ++parallelRuns_;
        const bool areNodesTimed = !form_->allHaveKernels() && parallelRuns_ % 64 == 0;
        how.timed = parallelRuns_ <= 2 || areNodesTimed;
        const float kernelCost = chunks_ != nullptr ? chunks_->kernelCost() : unknownCost;
        if (!internal::Run(*form_, members_, how, control).all({little, kernelCost}) && !control.isStopped()) {
            runMuchInParallel(how, control);
        }
    }

    void runMuchInParallel(internal::Run::How how, internal::RunControl& control) {
        const std::uint32_t threads = internal::TaskGroup::concurrency();
        if (threads == 1) {
            internal::Run(*form_, members_, how, control).all();
            return;
        }
        ++longRuns_;
        how.timed = how.timed || isCostDoubtful_ || (longRuns_ & (longRuns_ - 1)) == 0;
        isCostDoubtful_ = false;
        internal::Run run(*form_, members_, how, control);
        if (!haveChunks()) {
            run.all();
            return;
        }
        if (chunks_->mayPay() && !rests() && chunks_->plan(threads)) {
            const auto begin = std::chrono::steady_clock::now();
            chunks_->run(run, control);
            form_->settle();
            judge(std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count());
            control.tellTheRest();
        } else {
            run.all();
        }
        if (how.timed && chunks_->areStale()) {
            chunks_.reset();
        }
    }

    /// False where there is no memory for them.
    bool haveChunks() {
        try {
            if (chunks_ == nullptr) {
                chunks_ = std::make_unique<internal::Chunks>(*form_, members_);
            }
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    /// Where running side by side took longer than one thread would have, it rests for a while. With much
    /// work that only shows that the processors had other things to do.
    bool rests() {
        if (restingRuns_ == 0) {
            return false;
        }
        --restingRuns_;
        return true;
    }

    void judge(double nanoseconds) {
        constexpr std::uint32_t longestRest = 32;
        constexpr double muchWork = 2e6;
        isCostDoubtful_ = 1.5 * nanoseconds * chunks_->threads() < chunks_->plannedCost();
        if (nanoseconds > chunks_->plannedCost() && chunks_->plannedCost() < muchWork) {
            rest_ = std::min(longestRest, 2 * rest_ + 1);
            restingRuns_ = rest_;
        } else {
            rest_ = 0;
        }
    }

    /// What is dirty after a run that did not cut off may have missed changes of its sources.
    class NoteChanges {
    public:
        NoteChanges(CompiledNetwork& form, bool cutOff) : form_(form), cutOff_(cutOff) {}
        NoteChanges(const NoteChanges&) = delete;
        NoteChanges& operator=(const NoteChanges&) = delete;
        ~NoteChanges() {
            if (!cutOff_ && form_.mayHoldDirty()) {
                form_.noteCleaned();
            }
        }

    private:
        CompiledNetwork& form_;
        const bool cutOff_;
    };

    std::uint64_t countDirty() const {
        std::uint64_t count = 0;
        form_->forEachFlagged([this, &count](std::uint32_t group) {
            count += internal::countBits(form_->dirty().nonZero(group) & members_.group(group));
        });
        return count;
    }

    RunStatus ended() const { return targetGone_ ? RunStatus::TargetGone : RunStatus::Done; }

    /// After the wiring changed under a run.
    RunStatus endedAfresh() const {
        if (state_->nodes == nullptr) {
            return RunStatus::NetworkGone;
        }
        for (const std::string& target : targets_) {
            if (state_->nodes->find(target) == nullptr) {
                return RunStatus::TargetGone;
            }
        }
        return RunStatus::Done;
    }

    const std::shared_ptr<internal::NetworkState> state_;
    const std::vector<std::string> targets_;

    std::shared_ptr<CompiledNetwork> form_;
    SlotSet members_;
    std::unique_ptr<internal::Chunks> chunks_;
    std::uint64_t parallelRuns_ = 0;
    std::uint64_t longRuns_ = 0;     ///< Those among them that were worth a thought.
    bool isCostDoubtful_ = false;    ///< The last run took less time than all threads together could.
    std::uint32_t rest_ = 0;         ///< How many runs the last rest took.
    std::uint32_t restingRuns_ = 0;  ///< How many are left of it.
    bool oddly_ = false;  ///< Upstream of the targets stands something that only a fresh walk finds its way through.
    bool targetGone_ = false;
    std::optional<std::uint64_t> cleanSince_;  ///< The count of marks at which nothing upstream was dirty.
};

PreparedEvaluation::PreparedEvaluation(NetworkManager& network, std::string target)
    : PreparedEvaluation(network, std::vector<std::string>{std::move(target)}) {}

PreparedEvaluation::PreparedEvaluation(NetworkManager& network, std::vector<std::string> targets)
    : impl_(std::make_unique<Impl>(network, std::move(targets))) {}

PreparedEvaluation::~PreparedEvaluation() = default;
PreparedEvaluation::PreparedEvaluation(PreparedEvaluation&&) noexcept = default;
PreparedEvaluation& PreparedEvaluation::operator=(PreparedEvaluation&&) noexcept = default;

RunResult PreparedEvaluation::run(const ComputeData* data, const RunOptions& options) {
    return impl_ != nullptr ? impl_->run(data, options) : RunResult{RunStatus::NetworkGone, 0};
}

const std::vector<std::string>& PreparedEvaluation::targets() const {
    static const std::vector<std::string> none;
    return impl_ != nullptr ? impl_->targets() : none;
}

}  // namespace TessilGraph
