#include <tests/graph/model/Pair.h>

#include <tests/graph/model/Comparison.h>
#include <tests/graph/model/Sides.h>
#include <tests/graph/model/Steps.h>

#include <TessilUtils/Logger.h>

#include <mutex>
#include <sstream>
#include <utility>

namespace twins {
namespace {

/// Networks with more nodes are not looked at.
constexpr std::size_t mostNodes = 4000;

}  // namespace

class Pair::Impl {
public:
    Impl() {
        previousSink_ = TessilUtils::Logger::setSink([this](TessilUtils::LogLevel, const std::string& message) {
            const std::lock_guard<std::mutex> guard(record.mutex);
            both_.messages.push_back(message);
        });
    }

    ~Impl() { TessilUtils::Logger::setSink(std::move(previousSink_)); }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    Taken step(const Words& words) {
        const Step step = steps_.choose(words);
        next_ = both_.world;
        next_.beginStep();
        const std::string expected = step.inModel(next_);
        if (expected == "skip" || next_.ambiguous || !next_.isSound() || next_.nodes.size() > mostNodes) {
            return Taken::Skipped;
        }
        ++kinds_[steps_.kind()];
        history_.push_back(step.text);
        record.computed.clear();
        record.destroyed.clear();
        both_.messages.clear();
        std::swap(both_.world, next_);
        std::string actual;
        bool threw = false;
        try {
            actual = step.inLibrary();
        } catch (const Failure&) {
            threw = true;
            actual = expected;
        }
        comparison_.compare(expected, actual, threw);
        return comparison_.isAlike() ? Taken::Alike : Taken::Differently;
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

private:
    Sides both_;
    Steps steps_{both_};
    Comparison comparison_{both_};
    model::World next_;  ///< Kept for its memory.
    std::vector<std::string> history_;
    std::map<std::string, int> kinds_;
    TessilUtils::Logger::Sink previousSink_;
};

Pair::Pair() : impl_(std::make_unique<Impl>()) {}

Pair::~Pair() = default;

Taken Pair::step(const Words& words) {
    return impl_->step(words);
}

std::string Pair::report() const {
    return impl_->report();
}

const std::map<std::string, int>& Pair::kinds() const {
    return impl_->kinds();
}

}  // namespace twins
