#pragma once

namespace tests {

/// While one lives, operator new fails in this program.
class FailingNew {
public:
    FailingNew();
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

}  // namespace tests
