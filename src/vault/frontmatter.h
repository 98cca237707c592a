#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvaris {

/// The byte form of every file of the vault: YAML between two fences of "---", an empty line, and a
/// Markdown body that is never read back. UTF-8, line feeds, no byte order mark. Any thread.

/// @param yaml line feeds at its ends are trimmed.
std::string frontmatterFile(std::string_view yaml, std::string_view body);

/// The YAML of a file, trimmed at both ends; a view into the given text unless it is empty. What follows the
/// closing fence does not matter, nor does a carriage return before each line feed.
/// @return nothing when the bytes are not UTF-8, do not begin with the fence (a byte order mark is not
/// the fence), or no second fence begins a line.
std::optional<std::string_view> readFrontmatter(std::string_view file);

/// The same of a file that was damaged, or saved by an editor that is no friend: its body may be anything,
/// and a byte order mark may stand before the fence.
std::optional<std::string_view> salvagedFrontmatter(std::string_view file);

}  // namespace kelvaris
