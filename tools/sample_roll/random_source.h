#pragma once

#include <cstdint>

namespace kelvaris::sample_roll {

/// Mixes 64 bits so that neighbouring inputs give unrelated outputs (a finaliser of two
/// multiply-and-shift rounds).
constexpr std::uint64_t mixBits(std::uint64_t value) {
    value ^= value >> 30U;
    value *= 0xbf58476d1ce4e5b9ULL;
    value ^= value >> 27U;
    value *= 0x94d049bb133111ebULL;
    return value ^ (value >> 31U);
}

/// A small generator of numbers that gives the same sequence on every machine, which the standard
/// distributions do not promise.
class RandomSource {
public:
    explicit RandomSource(std::uint64_t seed) : state_(seed) {}

    std::uint64_t bits() {
        state_ += 0x9e3779b97f4a7c15ULL;
        return mixBits(state_);
    }

    /// Uniform in [0, 1).
    float unit() { return static_cast<float>(bits() >> 40U) * 0x1p-24F; }

    /// Uniform in [low, high).
    float between(float low, float high) { return low + ((high - low) * unit()); }

    /// Uniform in low...high, both included.
    int whole(int low, int high) {
        return low + static_cast<int>(bits() % static_cast<std::uint64_t>(high - low + 1));
    }

    bool chance(float probability) { return unit() < probability; }

    /// A further source whose sequence does not depend on how much of this one is used later.
    RandomSource fork() { return RandomSource(bits()); }

private:
    std::uint64_t state_;
};

}  // namespace kelvaris::sample_roll
