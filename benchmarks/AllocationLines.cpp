#include <benchmarks/Allocations.h>
#include <benchmarks/Bed.h>
#include <benchmarks/Lines.h>
#include <benchmarks/Measure.h>

#include <cstdint>
#include <string>

namespace bench {

namespace {

/// A mean over calls that follow some others, so that what is kept from call to call exists.
double allocationsPerCall(Bed& bed, const Way& way, void (*change)(Bed&)) {
    constexpr int callsBefore = 5;
    constexpr int calls = 20;
    std::uint64_t sum = 0;
    for (int i = 0; i < callsBefore + calls; ++i) {
        change(bed);
        const std::uint64_t count = countAllocations([&] { way.run(bed.engine()); });
        sum += i < callsBefore ? 0 : count;
    }
    return static_cast<double>(sum) / calls;
}

}  // namespace

void addAllocationLines(const Way& way, const std::string& kind, const std::string& size) {
    const auto add = [&](const char* operation, void (*change)(Bed&)) {
        const std::string name = std::string(way.name) + "_allocations_" + operation + "/" + kind + "/" + size;
        addAmounts(name, [=, &way] {
            Bed& bed = Bed::get(kind, size);
            bed.settle();
            return Amounts{allocationsPerCall(bed, way, change), {}, "mallocs/call", bed.isEngineRight()};
        });
    };
    add("all_dirty", [](Bed& bed) { bed.spoil(bed.engine(), bed.engineTouches); });
    add("change_few", [](Bed& bed) { bed.touchFew(bed.engine(), bed.engineTouches); });
    add("clean", [](Bed&) {});
}

}  // namespace bench
