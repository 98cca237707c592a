#pragma once

#include <functional>

namespace kelvaris {

/// How values move to where they are written.
struct Spring {
    double response;  ///< seconds
    double dampingFraction;
    double blendDuration;  ///< seconds
};

/// Carries writes that a screen shows as a movement. This one, for programs without a screen, writes.
class Animator {
public:
    virtual ~Animator() = default;
    /// Makes the writes before it returns.
    virtual void animate(const Spring&, const std::function<void()>& writes) { writes(); }
};

}  // namespace kelvaris
