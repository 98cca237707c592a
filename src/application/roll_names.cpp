#include "application/roll_names.h"

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::size_t longestName = 255;
constexpr std::string_view forbiddenCharacters{"/:\\\0", 4};

}  // namespace

std::string RenameError::text() const {
    switch (kind) {
        case Kind::fileSystemError:
            return payload;
        case Kind::emptyName:
            return "Name cannot be empty.";
        case Kind::invalidCharacters:
            return "Name contains invalid characters.";
        case Kind::nameTooLong:
            return "Name is too long (max 255 characters).";
        case Kind::nameConflict:
            return "A folder with that name already exists.";
        case Kind::rollNameConflict:
            return "Another roll already has that name.";
        case Kind::disconnected:
            return "Cannot rename a disconnected roll.";
    }
    return {};
}

std::optional<RenameError> rollNameError(std::string_view name, const RenameCircumstances& circumstances) {
    using Kind = RenameError::Kind;
    if (name.empty()) return RenameError{Kind::emptyName, {}};
    if (name.find_first_of(forbiddenCharacters) != std::string_view::npos || name.front() == '.' ||
        !isValidUtf8(name)) {
        return RenameError{Kind::invalidCharacters, {}};
    }
    if (codePointCount(name) > longestName) return RenameError{Kind::nameTooLong, {}};
    if (circumstances.isDisconnected) return RenameError{Kind::disconnected, {}};
    if (circumstances.anotherRollHasTheName) return RenameError{Kind::rollNameConflict, {}};
    if (circumstances.anotherFileHasTheName) return RenameError{Kind::nameConflict, {}};
    return std::nullopt;
}

}  // namespace kelvaris
