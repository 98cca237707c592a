#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvaris {

/// Why a roll was not renamed; `text()` is what the user reads.
struct RenameError {
    enum class Kind {
        fileSystemError,
        emptyName,
        invalidCharacters,
        nameTooLong,
        nameConflict,
        rollNameConflict,
        disconnected,
    };
    Kind kind = Kind::fileSystemError;
    std::string payload;  ///< the system's own words, of fileSystemError alone

    std::string text() const;
    bool operator==(const RenameError&) const = default;
};

/// What the neighbourhood of a roll says to a new name.
struct RenameCircumstances {
    bool isDisconnected = false;
    bool anotherRollHasTheName = false;
    bool anotherFileHasTheName = false;  ///< beside the roll's folder, and not the folder itself
};

/// The first reason why the name is refused. Pure.
std::optional<RenameError> rollNameError(std::string_view name, const RenameCircumstances& circumstances);

}  // namespace kelvaris
