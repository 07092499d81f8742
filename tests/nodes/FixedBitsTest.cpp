#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>

#include "CatalogueRows.h"
#include "NodeTesting.h"
#include "RandomValues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <ios>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace tests;
using TessilGraph::Node;
using TessilGraph::NodeFactory;
using TessilGraph::Port;

// What nodes put out is the same whoever compiles the library, and however much it is optimised. One build
// cannot look into another, so each is compared with figures that are kept here. Where they differ, run both
// with --gtest_output=xml, which lists the figures of all types.

namespace {

/// Takes in values, bit by bit. All NaNs count as one, since compilers choose which one comes out of two.
class Digest {
public:
    void add(std::uint64_t bits) {
        for (int byte = 0; byte < 8; ++byte) {
            digest_ = (digest_ ^ (bits >> (8 * byte) & 0xff)) * 0x100000001b3U;
        }
    }
    void add(bool value) { add(std::uint64_t{value}); }
    void add(TessilGraph::Long value) { add(static_cast<std::uint64_t>(static_cast<std::uint32_t>(value))); }
    void add(double value) { add(bitsOf(value != value ? notANumber : value)); }
    void add(const std::string& value) {
        for (const char c : value) {
            add(std::uint64_t{static_cast<unsigned char>(c)});
        }
        add(std::uint64_t{value.size()});
    }
    void add(const Imath::V3d& value) {
        for (int i = 0; i < 3; ++i) {
            add(value[i]);
        }
    }
    void add(const Imath::Quatd& value) {
        add(value.r);
        add(value.v);
    }
    void add(const Imath::M44d& value) {
        for (int i = 0; i < 16; ++i) {
            add(value[i / 4][i % 4]);
        }
    }

    std::string text() const {
        std::ostringstream text;
        text << "0x" << std::hex << std::setw(16) << std::setfill('0') << digest_;
        return text.str();
    }

private:
    std::uint64_t digest_ = 0xcbf29ce484222325U;
};

/// What these compute goes through the functions of the math library, which are not the same on every system, or
/// on every processor.
const std::set<std::string>& typesOfTheMathLibrary() {
    // clang-format off
    static const std::set<std::string> types{
        "CosDouble", "AcosDouble", "SinDouble", "AsinDouble", "TanDouble", "AtanDouble", "CoshDouble", "SinhDouble",
        "TanhDouble", "Atan2Double", "PowDouble", "LnDouble", "LogDouble", "RotateMatrix", "SetRotationMatrix",
        "SetAxisAngleMatrix", "ComputeRSMatrix", "ExtractEulerXYZMatrix", "ExtractEulerZYXMatrix",
        "ExtractSHRTMatrix", "SansScalingMatrix"};
    // clang-format on
    return types;
}

/// What one type puts out for inputs of every kind.
Digest digestOf(const CatalogueRow& row) {
    constexpr int samples = 300;
    Numbers numbers(row.id);
    Digest digest;
    for (int sample = 0; sample < samples; ++sample) {
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(row.typeStr));
        for (Port* input : inputsOf(*node)) {
            randomise(*input, numbers);
        }
        digest.add(node->compute(nullptr));
        for (Port* output : outputsOf(*node)) {
            visitPort(*output, [&digest](auto& typed) {
                if constexpr (!std::is_pointer_v<std::decay_t<decltype(typed.get())>>) {
                    digest.add(typed.get());
                }
            });
        }
    }
    return digest;
}

/// What all types put out that use the math library, or all that do not.
std::string digestOfTypes(bool ofTheMathLibrary) {
    Digest all;
    std::size_t count = 0;
    for (const CatalogueRow& row : catalogueRows()) {
        if ((typesOfTheMathLibrary().count(row.typeStr) != 0) == ofTheMathLibrary) {
            const std::string digest = digestOf(row).text();
            testing::Test::RecordProperty(row.typeStr, digest);
            all.add(digest);
            ++count;
        }
    }
    EXPECT_EQ(count, ofTheMathLibrary ? 21u : 77u);
    return all.text();
}

/// What the functions of the math library give, called in a way that no compiler sees through.
std::string digestOfTheMathLibrary() {
    using Unary = double (*)(double);
    using Binary = double (*)(double, double);
    static volatile const Unary unary[] = {std::sin,  std::cos,  std::tan,  std::asin, std::acos, std::atan,
                                           std::sinh, std::cosh, std::tanh, std::log,  std::log10};
    static volatile const Binary binary[] = {std::atan2, std::pow};
    Numbers numbers(1);
    Digest digest;
    for (int sample = 0; sample < 3000; ++sample) {
        const double x = randomDouble(numbers), y = randomDouble(numbers), small = numbers.between(-1.0, 1.0);
        for (const volatile Unary& function : unary) {
            const Unary call = function;
            digest.add(call(x));
            digest.add(call(small));
        }
        for (const volatile Binary& function : binary) {
            const Binary call = function;
            digest.add(call(x, y));
        }
    }
    return digest.text();
}

}  // namespace

TEST(FixedBits, OfArithmeticAreTheSameInEveryBuild) {
    EXPECT_EQ(digestOfTypes(false), "0x285f5bff5669c36c");
}

TEST(FixedBits, OfTheMathLibraryAreTheSameInEveryBuildThatUsesIt) {
    const std::vector<std::pair<std::string, std::string>> known{
        {"0xa424fd67a744632d", "0x613e14942b1116dd"},  // glibc 2.36 with fused multiply-add
        {"0x819ca209ac5c0551", "0x0c5d7ddab2c9e87e"},  // and without
    };
    const std::string library = digestOfTheMathLibrary();
    const std::string digest = digestOfTypes(true);
    for (const auto& [knownLibrary, knownDigest] : known) {
        if (library == knownLibrary) {
            EXPECT_EQ(digest, knownDigest);
            return;
        }
    }
    GTEST_SKIP() << "an unknown math library, " << library << ", gives " << digest;
}
