#pragma once

#include <cstdint>
#include <string>

namespace kelvaris {

/// One image file of a folder, by which a folder is known again after it moved.
struct FileFingerprint {
    std::string filename;
    std::int64_t size = 0;  ///< bytes

    bool operator==(const FileFingerprint&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, FileFingerprint& record) {
    visitor.required("filename", record.filename, "Name of the file in the folder");
    visitor.required("size", record.size, "Size in bytes");
}

}  // namespace kelvaris
