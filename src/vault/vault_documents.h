#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "platform/clock.h"
#include "platform/language.h"
#include "preferences/vault_preferences.h"
#include "vault/roll_manifest.h"

namespace kelvaris {

/// The two kinds of frontmatter document as bytes: encoding with the generated body, strict decoding with
/// validation. Values alone; any thread.

/// Why a file does not decode.
struct DecodeFailure {
    enum class Kind {
        notFrontmatter,  ///< not UTF-8, or a fence is missing
        undecodable,     ///< not YAML, or not of the record's shape
        invalid,         ///< of the right shape, but a value is out of its range
    };
    Kind kind = Kind::notFrontmatter;
    std::string reason;  ///< for a person, with the line where one is known
};

/// A file's bytes, or why the record cannot be written.
Result<std::string, std::string> encodedRollFile(const VaultRollManifest& manifest, const Language& language);
Result<std::string, std::string> encodedPreferencesFile(const VaultPreferences& preferences,
                                                        const Language& language, const Clock& clock);

Result<VaultRollManifest, DecodeFailure> decodedRollFile(std::string_view file);
Result<VaultPreferences, DecodeFailure> decodedPreferencesFile(std::string_view file);

/// What can be had of a file that does not decode, as long as its YAML is whole.
template <class Record>
struct Salvage {
    Record record;                    ///< valid
    std::vector<std::string> losses;  ///< what was left out and why, for a person; some of them when many
};

/// Leaves out each value that is out of its range, of another type or not known, and each entry of a list
/// that lost the name which joins it to something. What the strict reading takes comes back without a loss.
Result<Salvage<VaultRollManifest>, DecodeFailure> salvagedRollFile(std::string_view file);
Result<Salvage<VaultPreferences>, DecodeFailure> salvagedPreferencesFile(std::string_view file);

/// The record of a file, or nothing; that a record was rejected as invalid is told in the log.
template <class Record>
std::optional<Record> decodeFrontmatter(std::string_view file);
template <>
std::optional<VaultRollManifest> decodeFrontmatter(std::string_view file);
template <>
std::optional<VaultPreferences> decodeFrontmatter(std::string_view file);

}  // namespace kelvaris
