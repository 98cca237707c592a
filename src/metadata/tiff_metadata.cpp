#include "metadata/tiff_metadata.h"

#include <array>
#include <optional>
#include <vector>

#include "metadata/exif_editor.h"

namespace kelvaris {

namespace {

constexpr std::uint64_t maximumValue = 16 * 1024 * 1024;
constexpr std::uint64_t maximumEntries = UINT16_MAX;

/// BigTIFF's whole numbers of eight bytes, which EXIF does not have.
bool isLarge(std::uint16_t type) { return type >= 16 && type <= 18; }

/// Walks the tables of the file; the widths of its numbers differ between the two kinds of TIFF.
class Walker {
public:
    struct Entry {
        std::uint16_t tag, type;
        std::uint64_t count, valueSize, valueOffset;
    };

    static std::optional<Walker> open(const ByteSource& file) {
        std::array<std::uint8_t, 16> header{};
        if (!file.readAt(0, std::span(header).first(8))) return std::nullopt;
        if (header[0] != header[1] || (header[0] != 'I' && header[0] != 'M')) return std::nullopt;
        Walker walker(file, header[0] == 'I' ? ByteOrder::little : ByteOrder::big);
        switch (walker.number(std::span(header).subspan(2, 2))) {
            case 42:
                walker.firstTable_ = walker.number(std::span(header).subspan(4, 4));
                return walker;
            case 43:
                if (!file.readAt(0, header)) return std::nullopt;
                walker.isBig_ = true;
                walker.firstTable_ = walker.number(std::span(header).subspan(8, 8));
                return walker;
            default:
                return std::nullopt;
        }
    }

    ByteOrder order() const { return order_; }
    std::uint64_t firstTable() const { return firstTable_; }

    std::vector<Entry> table(std::uint64_t offset) const {
        const std::size_t countSize = isBig_ ? 8 : 2, entrySize = isBig_ ? 20 : 12,
                          fieldSize = isBig_ ? 8 : 4;
        std::array<std::uint8_t, 8> countField{};
        if (!file_->readAt(offset, std::span(countField).first(countSize))) return {};
        const std::uint64_t count = number(std::span(countField).first(countSize));
        Bytes bytes(std::min(count, maximumEntries) * entrySize);
        if (!file_->readAt(offset + countSize, bytes)) return {};
        std::vector<Entry> entries;
        for (std::size_t at = 0; at < bytes.size(); at += entrySize) {
            const auto part = [&](std::size_t from, std::size_t size) {
                return number(std::span(bytes).subspan(at + from, size));
            };
            Entry entry{static_cast<std::uint16_t>(part(0, 2)), static_cast<std::uint16_t>(part(2, 2)),
                        part(4, fieldSize), 0, offset + countSize + at + 4 + fieldSize};
            if (entry.count > maximumValue) continue;
            entry.valueSize = entry.count * (isLarge(entry.type) ? 8 : exifTypeSize(entry.type));
            if (entry.valueSize == 0 || entry.valueSize > maximumValue) continue;
            if (entry.valueSize > fieldSize) entry.valueOffset = part(4 + fieldSize, fieldSize);
            entries.push_back(entry);
        }
        return entries;
    }

    std::optional<Bytes> value(const Entry& entry) const {
        if (entry.valueOffset > file_->size() || entry.valueSize > file_->size() - entry.valueOffset) {
            return std::nullopt;
        }
        Bytes bytes(entry.valueSize);
        if (!file_->readAt(entry.valueOffset, bytes)) return std::nullopt;
        return bytes;
    }

    /// The place of another table: a number of four or, in BigTIFF, eight bytes.
    std::optional<std::uint64_t> pointer(const Entry& entry) const {
        const auto bytes = value(entry);
        if (!bytes || (bytes->size() != 4 && bytes->size() != 8)) return std::nullopt;
        return number(*bytes);
    }

private:
    Walker(const ByteSource& file, ByteOrder order) : file_(&file), order_(order) {}

    std::uint64_t number(std::span<const std::uint8_t> bytes) const {
        std::uint64_t result = 0;
        for (std::size_t index = 0; index < bytes.size(); ++index) {
            result = result << 8 | bytes[order_ == ByteOrder::little ? bytes.size() - 1 - index : index];
        }
        return result;
    }

    const ByteSource* file_;
    ByteOrder order_;
    bool isBig_ = false;
    std::uint64_t firstTable_ = 0;
};

}  // namespace

TiffMetadata readTiffMetadata(const ByteSource& file) {
    TiffMetadata result;
    const auto walker = Walker::open(file);
    if (!walker) return result;

    ExifEditor editor(walker->order());
    struct Waiting {
        ExifTable table;
        std::uint64_t offset;
    };
    std::vector<Waiting> waiting{{ExifTable::image, walker->firstTable()}};
    std::array<bool, 4> isTaken{};  // each table once: pointers may run in circles
    while (!waiting.empty()) {
        const auto [table, offset] = waiting.back();
        waiting.pop_back();
        if (std::exchange(isTaken[static_cast<std::size_t>(table)], true)) continue;
        for (const Walker::Entry& entry : walker->table(offset)) {
            const auto follow = [&](ExifTable next) {
                if (const auto place = walker->pointer(entry)) waiting.push_back({next, *place});
            };
            const bool isImage = table == ExifTable::image;
            if (isImage && entry.tag == ExifTag::exifTable) {
                follow(ExifTable::exif);
            } else if (isImage && entry.tag == ExifTag::gpsTable) {
                follow(ExifTable::gps);
            } else if (table == ExifTable::exif && entry.tag == ExifTag::interoperabilityTable) {
                follow(ExifTable::interoperability);
            } else if (isImage && entry.tag == ExifTag::photoshop) {
                result.imageResources = walker->value(entry).value_or(Bytes());
            } else if (isImage && entry.tag == ExifTag::iptc) {
                result.iptc = walker->value(entry).value_or(Bytes());
            } else if (!isLarge(entry.type) && !(isImage && ExifEditor::isStructural(entry.tag))) {
                const auto count = static_cast<std::uint32_t>(entry.count);
                if (auto value = walker->value(entry)) {
                    editor.setRaw(table, entry.tag, entry.type, count, std::move(*value));
                }
            }
        }
    }
    result.exif = editor.rebuilt(SIZE_MAX).block;
    return result;
}

}  // namespace kelvaris
