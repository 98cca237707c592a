#pragma once

#include <random>
#include <string>

#include "vault/roll_manifest.h"

namespace kelvaris::testing {

/// Makes manifests by seed that use every key, texts that are awkward in YAML, and numbers at their ends.
class RandomRecords {
public:
    explicit RandomRecords(std::uint64_t seed) : random_(seed) {}

    VaultRollManifest manifest(int photos);
    PhotoManifestEntry photo(int index);
    std::string text();

private:
    std::size_t below(std::size_t count) { return random_() % count; }
    bool chance() { return below(2) == 0; }
    /// A number within the scale that fifteen digits hold exactly.
    double number(int scale) { return (static_cast<double>(below(2'000'001)) - 1e6) * scale / 1e6; }
    float confidence() { return static_cast<float>(below(1000)) / 1000; }
    Instant instant();

    std::mt19937_64 random_;
};

}  // namespace kelvaris::testing
