#include "EveryAllocation.h"

#include <TessilUtils/Curve.h>
#include <TessilUtils/Image.h>
#include <TessilUtils/Logger.h>
#include <TessilUtils/Mesh.h>
#include <TessilUtils/ParallelFor.h>
#include <TessilUtils/TaskGroup.h>

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <string>
#include <utility>
#include <vector>

using namespace tests;
using TessilUtils::Curve;
using TessilUtils::Image;
using TessilUtils::Logger;
using TessilUtils::Mesh;

namespace {

std::string textOf(const std::pair<float, Imath::V3f>& place) {
    return std::to_string(place.first) + " " + std::to_string(place.second.x);
}

struct Curves : World {
    std::string picture() override {
        return std::to_string(curve.cvs().size()) + " " + std::to_string(copy.cvs().size());
    }
    std::string later() override { return textOf(curve.closestPoint({3, 1, 0}, 4, 20, 1e-6F)); }

    Curve curve{{{0, 0, 0}, {1, 2, 0}, {3, 1, 1}, {4, 0, 2}, {6, 1, 0}, {7, 7, 7}}};
    Curve copy{{{5, 5, 5}, {6, 6, 6}}};
};

TEST(GeometryShortOfMemory, CurvesAnswerOrStayAsTheyAre) {
    everyAllocationFails<Curves>([](Curves& world) { world.curve.closestPoint({1, 2, 3}, 4, 20, 1e-6F); });
    everyAllocationFails<Curves>([](Curves& world) { world.copy = world.curve; });
    everyAllocationFails<Curves>(
        [](Curves& world) {
            world.curve.cvs()[2].x = 2.0F;
            world.curve.closestPoint({1, 2, 3}, 4, 20, 1e-6F);
            Curve own = world.curve;
            own.cvs().resize(40, Imath::V3f(1.0F));
            own.closestPoint({1, 2, 3}, 4, 20, 1e-6F);
        },
        Promise::Usable);
}

struct Meshes : World {
    std::string picture() override { return std::to_string(mesh.points().size()); }
    std::string later() override {
        float t = 0.0F;
        float u = 0.0F;
        float v = 0.0F;
        unsigned int face = 0;
        const bool hit = mesh.intersect({0.2F, 0.2F, -3}, {0, 0, 1}, t, face, u, v, false);
        return (hit ? "hit " : "miss ") + std::to_string(t) + " " + std::to_string(face);
    }

    Mesh mesh{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 2}, {1, 0, 2}, {0, 1, 2}}, {0, 1, 2, 3, 4, 5}};
};

TEST(GeometryShortOfMemory, MeshesAnswerOrStayAsTheyAre) {
    everyAllocationFails<Meshes>([](Meshes& world) { world.later(); });
    everyAllocationFails<Meshes>(
        [](Meshes& world) {
            world.mesh = Mesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {9, 9, 9}}, {0, 1, 2});
            world.later();
        },
        Promise::Usable);
    everyAllocationFails<Meshes>([](Meshes&) { const Mesh refused({{0, 0, 0}}, {0, 1, 2}); });
}

struct Images : World {
    std::string picture() override {
        return std::to_string(image.width()) + " " + std::to_string(image.pixel(1, 1, 0));
    }

    Image image{3, 2, 1};
    const Image sharing = image;
};

TEST(GeometryShortOfMemory, ImagesAreEmptyOrWholeAndAreWrittenToOrNot) {
    everyAllocationFails<Images>([](Images&) {
        const Image image(4, 4, 4);
        EXPECT_TRUE(image.isEmpty() || image.data() != nullptr);
    });
    // It reports a refusal instead of throwing.
    for (const Shortage kind : {Shortage::Once, Shortage::Lasting}) {
        Images world;
        bool written = true;
        {
            const Logger::Sink before = Logger::setSink([](TessilUtils::LogLevel, const std::string&) {});
            {
                const MemoryShortage shortage(1, kind);
                written = world.image.setPixel(1, 1, 0, 5.0F);
            }
            Logger::setSink(before);
        }
        EXPECT_FALSE(written);
        EXPECT_EQ(world.image.pixel(1, 1, 0), 0.0F);
        EXPECT_TRUE(world.image.setPixel(1, 1, 0, 5.0F));
        EXPECT_EQ(world.image.pixel(1, 1, 0), 5.0F);
        EXPECT_EQ(world.sharing.pixel(1, 1, 0), 0.0F);
    }
}

/// Messages go to a list.
struct Messages : World {
    Messages()
        : previous(Logger::setSink([this](TessilUtils::LogLevel, const std::string& message) {
              const SparedFromShortage spared;
              list += message + "\n";
          })) {}
    ~Messages() override {
        MemoryShortage::end();
        Logger::setSink(previous);
    }

    /// What arrives of a message.
    std::string picture() override {
        list.clear();
        Logger::error() << "a message";
        return list;
    }

    std::string list;
    Logger::Sink previous;
};

TEST(LoggerShortOfMemory, LosesMessagesAndGoesOn) {
    everyAllocationFails<Messages>([](Messages&) {
        try {
            Logger::error() << "a message that is longer than what a string holds itself" << 7 << 1.5;
        } catch (...) {
            MemoryShortage::end();
            ADD_FAILURE() << "logging threw";
        }
    });
}

TEST(LoggerShortOfMemory, TakesASinkOrKeepsTheOneBefore) {
    everyAllocationFails<Messages>([](Messages& world) {
        Logger::Sink mine =
            Logger::setSink([&world, text = std::string(60, 'x')](TessilUtils::LogLevel, const std::string&) {
                const SparedFromShortage spared;
                world.list += text;
            });
        const MemoryShortage none(20000, Shortage::Once);
        Logger::setSink(std::move(mine));
    });
}

struct Loop : World {
    std::string picture() override { return "a loop"; }

    std::atomic<int> runs{0};
};

/// What a part of the work asks for itself.
int ask() {
    ::operator delete(::operator new(1));
    return 1;
}

TEST(LoopsShortOfMemory, RunAllOrThrow) {
    everyAllocationFails<Loop>([](Loop& world) {
        std::vector<int> payload(40, 1);
        world.runs = 0;
        TessilUtils::parallel_for({0, 30}, [&world, payload](const TessilUtils::ParallelForRange& part) {
            world.runs += static_cast<int>(part.end() - part.begin()) * payload.front() * ask();
        });
        EXPECT_EQ(world.runs, 30);
    });
    everyAllocationFails<Loop>([](Loop& world) {
        world.runs = 0;
        int expected = 0;
        TessilUtils::TaskGroup tasks;
        for (int i = 0; i < 20; ++i) {
            const std::vector<int> payload(10, 1);
            tasks.run([&world, payload] { world.runs += payload.front() * ask(); });
            ++expected;
        }
        tasks.wait();
        EXPECT_EQ(world.runs, expected);
    });
}

}  // namespace
