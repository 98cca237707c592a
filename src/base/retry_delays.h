#pragma once

#include <array>
#include <chrono>
#include <cstddef>

namespace kelvaris {

/// How long to wait before what failed is tried again: soon at first, then at a pace that disturbs nobody.
class RetryDelays {
public:
    std::chrono::seconds next() { return delays[tries_ + 1 < delays.size() ? tries_++ : tries_]; }
    void reset() { tries_ = 0; }

private:
    static constexpr std::array delays{std::chrono::seconds(2), std::chrono::seconds(10),
                                       std::chrono::seconds(60)};
    std::size_t tries_ = 0;
};

}  // namespace kelvaris
