#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace kelvaris {

/// Tells a file's content from another one within one run of the program. Never stored.
struct FileStamp {
    std::uint64_t size = 0;
    std::uint64_t hash = 0;

    static FileStamp of(std::string_view bytes) {
        return {.size = bytes.size(), .hash = std::hash<std::string_view>()(bytes)};
    }

    bool operator==(const FileStamp&) const = default;
};

}  // namespace kelvaris
