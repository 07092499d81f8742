#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

// The program is not linked to the library: what it loads is the only thing that uses it.

namespace {

/// Nothing grows from load to load but by chance; the address sanitizer holds back a hundred that were freed.
const long kilobytesALoad = FAULTS_SANITIZED ? 300 : 4;

/// A host's plugin, and with it the library.
class Plugin {
public:
    explicit Plugin(const std::string& file = FAULTS_PLUGIN)
        : file_(file), handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            ADD_FAILURE() << dlerror();
        }
    }
    ~Plugin() {
        if (handle_ != nullptr) {
            EXPECT_EQ(dlclose(handle_), 0);
            EXPECT_EQ(dlopen(file_.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "it stays loaded";
        }
    }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    /// Builds networks, evaluates them in every way, and throws them away. The value of the last node.
    double evaluate() const {
        auto* function = reinterpret_cast<double (*)()>(dlsym(handle_, "evaluateEverything"));
        return function != nullptr ? function() : 0.0;
    }

private:
    std::string file_;
    void* handle_;
};

/// Kilobytes of memory that the process uses.
long residentMemory() {
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

TEST(Unloading, MayHappenAgainAndAgain) {
    double first = 0.0;
    {
        const Plugin plugin;
        first = plugin.evaluate();
        EXPECT_GT(first, 0.0);
    }
    // What comes once, such as the memory of a thread that starts late, is not in the least of them. The first part
    // may find room that was left over.
    long leastGrowth = std::numeric_limits<long>::max();
    for (int part = 0; part < 5; ++part) {
        const long before = residentMemory();
        for (int times = 0; times < 15; ++times) {
            const Plugin plugin;
            EXPECT_EQ(plugin.evaluate(), first);
        }
        if (part > 0) {
            leastGrowth = std::min(leastGrowth, residentMemory() - before);
        }
    }
    EXPECT_LT(leastGrowth, 15 * kilobytesALoad);
}

TEST(Unloading, LeavesThreadsAloneThatUsedTheLibrary) {
    for (int times = 0; times < 10; ++times) {
        std::mutex mutex;
        std::condition_variable changed;
        bool isUsed = false;
        bool isUnloaded = false;
        auto plugin = std::make_unique<Plugin>();
        std::thread user([&] {
            EXPECT_GT(plugin->evaluate(), 0.0);
            std::unique_lock<std::mutex> lock(mutex);
            isUsed = true;
            changed.notify_all();
            changed.wait(lock, [&] { return isUnloaded; });
            // What the thread kept for the library goes with the thread.
        });
        {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return isUsed; });
            plugin.reset();
            isUnloaded = true;
        }
        changed.notify_all();
        user.join();
    }
}

/// The other one is of the same code, but stands elsewhere and so goes by itself.
TEST(Unloading, LeavesTheLibraryToOthersThatUseIt) {
    const std::string other = testing::TempDir() + "faults_other_plugin_" + std::to_string(getpid()) + ".so";
    std::ofstream(other, std::ios::binary) << std::ifstream(FAULTS_PLUGIN, std::ios::binary).rdbuf();
    for (int times = 0; times < 10; ++times) {
        auto goes = std::make_unique<Plugin>(other);
        const Plugin stays;
        const double expected = goes->evaluate();
        EXPECT_GT(expected, 0.0);
        goes.reset();
        EXPECT_EQ(stays.evaluate(), expected);
    }
    unlink(other.c_str());
}

}  // namespace
