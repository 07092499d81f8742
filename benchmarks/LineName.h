#pragma once

#include <string>

namespace bench {

/// "operation/workload/size", taken apart.
struct LineName {
    std::string operation;
    std::string workload;
    std::string size;
    double nodes = 0.0;  ///< "17.6k" is 17,600; 0 where the last part is no size.

    explicit LineName(const std::string& name);
};

}  // namespace bench
