#pragma once

#include <string>
#include <vector>

#include "platform_fake/fake_files.h"

namespace kelvaris {

// What the parts of FakeFiles share: its tree, and how it says no.

namespace fake_files {

using Code = FileError::Code;

/// The error of that code, in the words of a Linux machine.
Unexpected<FileError> failure(Code code);

/// The names on the way to the path, without "." and "..".
std::vector<std::string> components(const Path& path);

}  // namespace fake_files

struct FakeFiles::Node {
    enum class Kind { file, folder, link };
    Kind kind = Kind::file;
    std::shared_ptr<const Bytes> bytes = std::make_shared<Bytes>();
    std::shared_ptr<const Bytes> flushed = bytes;  ///< what a power cut leaves
    Path target;
    std::map<std::string, NodePointer> children;
    std::optional<Instant> created;
    std::optional<Instant> modified;
    std::uint64_t device = 1;
    std::uint64_t inode = 0;
    bool readOnly = false;
    bool unreadable = false;
};

/// A name in an existing folder, with or without something under it.
struct FakeFiles::Spot {
    NodePointer folder;
    std::string name;

    NodePointer node() const {
        const auto found = folder->children.find(name);
        return found == folder->children.end() ? nullptr : found->second;
    }
};

}  // namespace kelvaris
