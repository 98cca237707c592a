#include "platform_linux/tiff_tables.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kelvaris {
namespace {

/// The size of one value, for the types that are read here; 0 for the others.
std::size_t integerSize(std::uint16_t type) {
    switch (type) {
        case 1:
        case 7:
            return 1;
        case 3:
            return 2;
        case 4:
        case 13:
            return 4;
        case 16:
        case 18:
            return 8;
        default:
            return 0;
    }
}

std::size_t valueSize(std::uint16_t type) {
    switch (type) {
        case 2:
        case 6:
            return 1;
        case 8:
            return 2;
        case 9:
        case 11:
            return 4;
        case 5:
        case 10:
        case 12:
        case 17:
            return 8;
        default:
            return integerSize(type);
    }
}

}  // namespace

const TiffEntry* TiffTable::find(std::uint16_t tag) const {
    const auto found = std::ranges::find(entries, tag, &TiffEntry::tag);
    return found == entries.end() ? nullptr : &*found;
}

std::optional<TiffReader> TiffReader::open(const ByteSource& bytes) {
    std::array<std::uint8_t, 16> header{};
    if (!bytes.readAt(0, std::span(header).first(8))) return std::nullopt;
    const bool bigEndian = header[0] == 'M' && header[1] == 'M';
    if (!bigEndian && !(header[0] == 'I' && header[1] == 'I')) return std::nullopt;
    TiffReader reader(bytes, bigEndian, false);
    const auto version = reader.number(std::span(header).subspan(2, 2));
    if (version == 43) {
        if (!bytes.readAt(0, header)) return std::nullopt;
        reader.big_ = true;
        reader.firstTable_ = reader.number(std::span(header).subspan(8, 8));
    } else if (version == 42) {
        reader.firstTable_ = reader.number(std::span(header).subspan(4, 4));
    } else {
        return std::nullopt;
    }
    return reader;
}

std::uint64_t TiffReader::number(std::span<const std::uint8_t> bytes) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        value = value << 8 | bytes[bigEndian_ ? i : bytes.size() - 1 - i];
    }
    return value;
}

std::optional<TiffTable> TiffReader::table(std::uint64_t offset) const {
    const std::size_t countSize = big_ ? 8 : 2;
    const std::size_t entrySize = big_ ? 20 : 12;
    const std::size_t pointerSize = big_ ? 8 : 4;
    std::array<std::uint8_t, 8> word{};
    if (offset == 0 || !bytes_->readAt(offset, std::span(word).first(countSize))) return std::nullopt;
    const std::uint64_t count = number(std::span(word).first(countSize));
    if (count > 65535) return std::nullopt;
    Bytes raw(count * entrySize);
    if (!bytes_->readAt(offset + countSize, raw)) return std::nullopt;

    TiffTable table;
    table.entries.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        const auto entry = std::span(std::as_const(raw)).subspan(i * entrySize, entrySize);
        const auto tag = static_cast<std::uint16_t>(number(entry.first(2)));
        const auto type = static_cast<std::uint16_t>(number(entry.subspan(2, 2)));
        const auto values = number(entry.subspan(4, pointerSize));
        const std::size_t size = valueSize(type);
        const std::uint64_t field = offset + countSize + i * entrySize + 4 + pointerSize;
        const bool inside = size > 0 && values <= pointerSize / size;
        table.entries.push_back(
            {tag, type, values, inside ? field : number(entry.subspan(4 + pointerSize, pointerSize))});
    }
    if (bytes_->readAt(offset + countSize + raw.size(), std::span(word).first(pointerSize))) {
        table.next = number(std::span(word).first(pointerSize));
    }
    return table;
}

std::optional<std::uint64_t> TiffReader::integer(const TiffTable& table, std::uint16_t tag) const {
    const TiffEntry* entry = table.find(tag);
    std::array<std::uint8_t, 8> word{};
    const std::size_t size = entry ? integerSize(entry->type) : 0;
    if (size == 0 || entry->count == 0) return std::nullopt;
    if (!bytes_->readAt(entry->valueOffset, std::span(word).first(size))) return std::nullopt;
    return number(std::span(word).first(size));
}

std::vector<std::uint64_t> TiffReader::integers(const TiffTable& table, std::uint16_t tag,
                                                std::uint64_t limit) const {
    const TiffEntry* entry = table.find(tag);
    const std::size_t size = entry ? integerSize(entry->type) : 0;
    if (size == 0 || entry->count > limit || entry->count * size > bytes_->size()) return {};
    Bytes raw(entry->count * size);
    if (!bytes_->readAt(entry->valueOffset, raw)) return {};
    std::vector<std::uint64_t> values;
    values.reserve(entry->count);
    for (std::size_t i = 0; i < entry->count; ++i) {
        values.push_back(number(std::span(std::as_const(raw)).subspan(i * size, size)));
    }
    return values;
}

Bytes TiffReader::rawBytes(const TiffTable& table, std::uint16_t tag, std::uint64_t limit) const {
    const TiffEntry* entry = table.find(tag);
    if (!entry || integerSize(entry->type) != 1 || entry->count > limit || entry->count > bytes_->size()) {
        return {};
    }
    Bytes raw(entry->count);
    if (!bytes_->readAt(entry->valueOffset, raw)) return {};
    return raw;
}

}  // namespace kelvaris
