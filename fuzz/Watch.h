#pragma once

#include <TessilGraph/exec/CancelToken.h>
#include <TessilGraph/exec/PreparedEvaluation.h>

#include <fuzz/Expect.h>
#include <fuzz/HostTypes.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <thread>

namespace fuzz {

/// Looks on while an evaluation runs, and may end it.
class Watch {
public:
    Watch(FuzzedDataProvider& data, bool isWatched) {
        options.parallel = data.ConsumeBool();
        options.cutOff = data.ConsumeBool();
        if (!isWatched) {
            return;
        }
        options.cancel = &cancel_;
        callsLeft_ = data.ConsumeIntegralInRange(0, 20);
        throws_ = data.ConsumeBool();
        if (callsLeft_ == 0) {
            cancel_.cancel();
        }
        options.progress = [this](std::uint64_t done, std::uint64_t total) { look(done, total); };
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    void checkEnd(TessilGraph::RunStatus status) const {
        expect(status != TessilGraph::RunStatus::Done || done_ == total_, "the last call tells that all is done");
    }

    TessilGraph::RunOptions options;

private:
    void look(std::uint64_t done, std::uint64_t total) {
        expect(std::this_thread::get_id() == thread_, "progress on the thread that asked");
        expect(done >= done_, "more is done and more");
        done_ = done;
        total_ = total;
        if (--callsLeft_ == 0) {
            if (throws_) {
                throw Failure();
            }
            cancel_.cancel();
        }
    }

    TessilGraph::CancelToken cancel_;
    int callsLeft_ = 0;
    bool throws_ = false;
    std::uint64_t done_ = 0;
    std::uint64_t total_ = 0;
    const std::thread::id thread_ = std::this_thread::get_id();
};

}  // namespace fuzz
