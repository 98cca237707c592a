#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/byte_source.h"

namespace kelvaris {

/// One entry of a TIFF table; its values are read on demand.
struct TiffEntry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint64_t count = 0;
    std::uint64_t valueOffset = 0;  ///< where the values begin, inside the entry or elsewhere
};

struct TiffTable {
    std::vector<TiffEntry> entries;
    std::uint64_t next = 0;  ///< where the following table stands; 0 for none

    const TiffEntry* find(std::uint16_t tag) const;
};

/// Reads the tables of TIFF-structured bytes (a TIFF or BigTIFF file, or an Exif block), as far as
/// pictures are concerned: integers and raw bytes. Borrows the bytes.
class TiffReader {
public:
    /// @return nothing when the bytes do not begin as TIFF does.
    static std::optional<TiffReader> open(const ByteSource& bytes);

    bool isBigEndian() const { return bigEndian_; }
    std::uint64_t firstTable() const { return firstTable_; }

    /// @return nothing when the table is not wholly there.
    std::optional<TiffTable> table(std::uint64_t offset) const;
    /// The first value of an entry of whole numbers.
    std::optional<std::uint64_t> integer(const TiffTable& table, std::uint16_t tag) const;
    /// All of them, when there are no more than the limit; empty otherwise.
    std::vector<std::uint64_t> integers(const TiffTable& table, std::uint16_t tag, std::uint64_t limit) const;
    /// The bytes of an entry of bytes or of undefined type, when there are no more than the limit.
    Bytes rawBytes(const TiffTable& table, std::uint16_t tag, std::uint64_t limit) const;

private:
    TiffReader(const ByteSource& bytes, bool bigEndian, bool big)
        : bytes_(&bytes), bigEndian_(bigEndian), big_(big) {}

    std::uint64_t number(std::span<const std::uint8_t> bytes) const;

    const ByteSource* bytes_;
    bool bigEndian_;
    bool big_;
    std::uint64_t firstTable_ = 0;
};

}  // namespace kelvaris
