#include <tests/graph/model/Pair.h>

#include <tests/graph/model/Comparison.h>
#include <tests/graph/model/Sides.h>
#include <tests/graph/model/Steps.h>

#include <TessilUtils/Logger.h>

#include <mutex>
#include <new>
#include <sstream>
#include <utility>

namespace twins {
namespace {

/// Networks with more nodes are not looked at.
constexpr std::size_t mostNodes = 4000;

}  // namespace

class Pair::Impl {
public:
    Impl(Look look, const std::string& prefix) : look_(look), steps_(both_, prefix) {
        previousSink_ = TessilUtils::Logger::setSink([this](TessilUtils::LogLevel, const std::string& message) {
            const tests::SparedFromShortage spared;
            const std::lock_guard<std::mutex> guard(record.mutex);
            both_.messages.push_back(message);
        });
    }

    ~Impl() { TessilUtils::Logger::setSink(std::move(previousSink_)); }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    /// Short of memory unless `first` is 0.
    Taken step(const Words& words, std::size_t first, tests::Shortage kind) {
        const Step step = steps_.choose(words);
        if (!isTaken(step)) {
            return Taken::Skipped;
        }
        ++kinds_[step.kind];
        history_.push_back(step.text);
        if (first != 0) {
            history_.back() += " [allocation " + std::to_string(first) +
                               (kind == tests::Shortage::Lasting ? " and all later ones fail]" : " fails]");
        }
        const bool isWhole = isComplete(step, first, kind);
        if (!isWhole) {
            callOff(step);
        }
        if (!comparison_.isAlike()) {
            return Taken::Differently;
        }
        return isWhole ? Taken::Alike : Taken::CalledOff;
    }

    std::string report() const {
        std::ostringstream text;
        text << comparison_.differences() << "after the steps\n";
        const std::size_t first = history_.size() > 30 ? history_.size() - 30 : 0;
        for (std::size_t index = first; index < history_.size(); ++index) {
            text << index << ": " << history_[index] << '\n';
        }
        return text.str();
    }

    const std::map<std::string, int>& kinds() const { return kinds_; }
    const std::map<std::string, int>& calledOff() const { return calledOff_; }

private:
    /// Takes a step in the model; false, with nothing changed, when there is no such step. `other_` is what was before.
    bool isTaken(const Step& step) {
        other_ = both_.world;
        other_.beginStep();
        expected_ = step.inModel(other_);
        if (other_.isLeftOut || !other_.isSound() || other_.nodes.size() > mostNodes) {
            return false;
        }
        std::swap(both_.world, other_);
        return true;
    }

    /// Takes a step in the library, and compares. False, and not compared, when it was called off for want of memory.
    bool isComplete(const Step& step, std::size_t first, tests::Shortage kind) {
        record.computed.clear();
        record.hadOtherData = false;
        record.destroyed.clear();
        both_.messages.clear();
        std::string actual;
        bool threw = false;
        try {
            actual = first == 0 ? step.inLibrary() : inShortage(step, first, kind);
        } catch (const Failure&) {
            threw = true;
            actual = expected_;
        } catch (const std::bad_alloc&) {
            return false;
        }
        comparison_.compare(expected_, actual, threw, first != 0 && tests::MemoryShortage::wasFelt());
        lookAtAll();
        return true;
    }

    static std::string inShortage(const Step& step, std::size_t first, tests::Shortage kind) {
        const tests::MemoryShortage shortage(first, kind);
        return step.inLibrary();
    }

    void callOff(const Step& step) {
        ++calledOff_[step.kind];
        if (!tests::MemoryShortage::wasFelt() || step.needsNoMemory) {
            comparison_.note(step.kind + " was called off for want of memory");
        }
        std::swap(both_.world, other_);
        both_.world.beginStep();
        if (step.calledOff) {
            step.calledOff(both_.world, other_);
        }
        comparison_.compareCalledOff(other_);
        lookAtAll();
    }

    void lookAtAll() {
        constexpr std::size_t seldom = 16;
        ++looks_;
        if (comparison_.isAlike() && (look_ == Look::Always || looks_ % seldom == 0)) {
            comparison_.compareEverything();
            comparison_.compareFactory();
        }
    }

    const Look look_;
    std::size_t looks_ = 0;  ///< Those that were left out, too.
    Sides both_;
    Steps steps_;
    Comparison comparison_{both_};
    model::World other_;    ///< Kept for its memory.
    std::string expected_;  ///< What the model answered.
    std::vector<std::string> history_;
    std::map<std::string, int> kinds_;
    std::map<std::string, int> calledOff_;
    TessilUtils::Logger::Sink previousSink_;
};

Pair::Pair(Look look, const std::string& prefix) : impl_(std::make_unique<Impl>(look, prefix)) {}

Pair::~Pair() = default;

Taken Pair::step(const Words& words) {
    return impl_->step(words, 0, tests::Shortage::Once);
}

Taken Pair::stepInShortage(const Words& words, std::size_t first, tests::Shortage kind) {
    return impl_->step(words, first, kind);
}

std::string Pair::report() const {
    return impl_->report();
}

const std::map<std::string, int>& Pair::kinds() const {
    return impl_->kinds();
}

const std::map<std::string, int>& Pair::calledOff() const {
    return impl_->calledOff();
}

}  // namespace twins
