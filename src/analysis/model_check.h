#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/monotonic_clock.h"
#include "base/path.h"
#include "platform/inference.h"
#include "vocabulary/raw_value.h"

namespace kelvaris {

/// `warns` is for what works and may not be meant.
enum class CheckVerdict : std::uint8_t { fits, warns, fails };

template <>
struct RawValues<CheckVerdict> {
    static constexpr std::array rows{
        std::pair{CheckVerdict::fits, std::string_view("fits")},
        std::pair{CheckVerdict::warns, std::string_view("warns")},
        std::pair{CheckVerdict::fails, std::string_view("fails")},
    };
};

/// One finding.
struct CheckRow {
    std::string subject;  ///< the model, as a path below the folder that was checked
    CheckVerdict verdict = CheckVerdict::fits;
    std::string text;

    bool operator==(const CheckRow&) const = default;
};

struct ModelCheckReport {
    std::vector<CheckRow> rows;  ///< by model, in the order in which it was looked at

    std::size_t count(CheckVerdict verdict) const;
    bool fits() const { return count(CheckVerdict::fails) == 0; }
};

/// Tells whether exported models are what the program expects under their names. Each is loaded and run
/// twice: on an even grey picture and on noise that is the same every time, or on two texts. Any thread;
/// blocks for up to twice the limit for each model.
/// @param folder one model ("NIMA.mlmodelc"), the folder of an installable model with all its parts, the
///        folder `vision`, or the folder that holds all of these. Models are known by their names alone.
/// @param clock times the runs.
/// @param limit of one run.
ModelCheckReport checkModelFolder(InferenceRuntime& runtime, const Path& folder, const MonotonicClock& clock,
                                  std::chrono::nanoseconds limit = inferenceRunLimit);

}  // namespace kelvaris
