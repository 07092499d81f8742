#include <tests/graph/model/OnCrash.h>

#include <csignal>
#include <cstddef>
#include <functional>
#include <iterator>
#include <mutex>
#include <utility>

/// Null where no sanitizer is at work.
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

namespace twins {
namespace {

constexpr int deadly[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

std::function<void()> teller;

void tell() {
    // Once, and not again for what goes wrong here.
    if (const std::function<void()> once = std::exchange(teller, nullptr)) {
        once();
    }
}

struct sigaction earlier[std::size(deadly)];

/// The signal comes again when this returns, to whoever was there before.
void hear(int signal, siginfo_t* info, void*) {
    for (std::size_t place = 0; place < std::size(deadly); ++place) {
        sigaction(deadly[place], &earlier[place], nullptr);
    }
    tell();
    const bool wasSent = info->si_code <= 0;
    if (wasSent) {
        std::raise(signal);
    }
}

void listen() {
    for (std::size_t place = 0; place < std::size(deadly); ++place) {
        struct sigaction action = {};
        action.sa_sigaction = hear;
        action.sa_flags = SA_SIGINFO;
        sigaction(deadly[place], &action, &earlier[place]);
    }
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(tell);
    }
}

}  // namespace

OnCrash::OnCrash(std::function<void()> tell) {
    static std::once_flag once;
    std::call_once(once, listen);
    teller = std::move(tell);
}

OnCrash::~OnCrash() {
    teller = nullptr;
}

}  // namespace twins
