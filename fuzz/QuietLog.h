#pragma once  // IWYU pragma: always_keep

#include <TessilUtils/Logger.h>

#include <string>

namespace fuzz {

/// Arbitrary input is refused all the time, and nobody reads why.
inline const bool isQuiet = [] {
    TessilUtils::Logger::setSink([](TessilUtils::LogLevel, const std::string&) {});
    return true;
}();

}  // namespace fuzz
