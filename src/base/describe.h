#pragma once

/// Every record that is stored declares its keys once, in file order, in a free function beside it:
///
///     template <class Visitor>
///     void describe(Visitor& visitor, FileFingerprint& record) {
///         visitor.required("filename", record.filename, "Name of the file in the folder");
///         visitor.required("size", record.size, "Size in bytes");
///     }
///
/// A visitor has two operations:
///
///     visitor.required(key, member, meaning)   always written, must be present on read
///     visitor.optional(key, member, meaning)   member is a std::optional; absent is left out
///
/// where a member is a bool, an integer, a float, a double, a std::string, an Instant, an Identifier (by
/// its canonical text), an enumeration with raw values, another described record, a std::vector or a
/// std::map from std::string of these.
/// The frontmatter's encoder and strict decoder, the JSON of the command line and the tables of the
/// schema text all read this one declaration.

namespace kelvaris {

/// Walks a record for a visitor that only reads the members: one declaration on the mutable record
/// serves readers and writers, and a writer promises not to change it.
template <class Visitor, class Record>
void describeConst(Visitor& visitor, const Record& record) {
    describe(visitor, const_cast<Record&>(record));
}

}  // namespace kelvaris
