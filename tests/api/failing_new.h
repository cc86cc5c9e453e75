#pragma once

/// While one of these lives, operator new of this thread serves `allocations` requests and fails
/// all that follow.
class FailingNew {
public:
    explicit FailingNew(int allocations);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    /// Whether a request has failed.
    [[nodiscard]] static bool hasFailed();
};
