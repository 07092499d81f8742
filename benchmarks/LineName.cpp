#include <benchmarks/LineName.h>

#include <sstream>

namespace bench {

LineName::LineName(const std::string& name) {
    std::istringstream parts(name);
    std::getline(parts, operation, '/');
    std::getline(parts, workload, '/');
    std::getline(parts, size, '/');
    std::istringstream text(size);
    double number = 0.0;
    char unit = ' ';
    text >> number >> unit;
    nodes = unit == 'k' ? number * 1e3 : unit == 'M' ? number * 1e6 : 0.0;
}

}  // namespace bench
