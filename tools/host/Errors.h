#pragma once

#include <stdexcept>

namespace TessilHost {

/// A wrong file or argument. `what` is one line that names the file or argument, the place and the
/// reason; the program ends with status 2.
class UserError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A value that does not fit its port. `what` is the reason alone: whoever knows the place adds it.
class ValueError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A result that could not be written. `what` is one line; the program ends with status 1.
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace TessilHost
