#pragma once

#include <memory>

namespace kelvaris {

/// Seen by a task that outlives its owner: locks to something while the owner lives.
using WeakToken = std::weak_ptr<const void>;

/// Kept as a member of an object whose callbacks arrive later; it ends with the object.
/// The callback captures weak() and does nothing once lock() gives nothing.
class Lifetime {
public:
    Lifetime() = default;
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    WeakToken weak() const { return token_; }

private:
    std::shared_ptr<const void> token_ = std::make_shared<char>();
};

}  // namespace kelvaris
