#pragma once

#include <optional>
#include <string>
#include <vector>

#include "models/tar_reader.h"

namespace kelvaris {

/// An entry as an install would take it.
struct ArchiveReportEntry {
    std::string name;
    std::int64_t size = 0;
    std::string kind;  ///< "file", "folder" or "skipped"
    bool staysInside = true;
};

template <class Visitor>
void describe(Visitor& visitor, ArchiveReportEntry& record) {
    visitor.required("name", record.name, "Name in the archive");
    visitor.required("size", record.size, "Bytes that it claims");
    visitor.required("kind", record.kind, "file, folder or skipped");
    visitor.required("staysInside", record.staysInside, "Whether its name leads to a place of its own");
}

/// What the reading of a model archive gives, without unpacking it.
struct ArchiveReport {
    std::vector<std::string> models;
    std::vector<ArchiveReportEntry> entries;
    std::optional<std::string> error;
};

template <class Visitor>
void describe(Visitor& visitor, ArchiveReport& record) {
    visitor.required("models", record.models, "The models that it holds complete");
    visitor.required("entries", record.entries, "Every entry up to its end or to its damage");
    visitor.optional("error", record.error, "Why it would not be installed");
}

/// Reads the whole archive, and tells as much as could be read.
ArchiveReport inspectArchive(ByteView archive, const Compression& compression);

}  // namespace kelvaris
