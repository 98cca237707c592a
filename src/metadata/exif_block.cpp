#include "metadata/exif_block.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t entrySize = 12;
constexpr std::uint16_t tiffMagic = 42;

constexpr std::uint16_t stripOffsets = 0x0111;
constexpr std::uint16_t stripByteCounts = 0x0117;
constexpr std::uint16_t thumbnailOffset = 0x0201;
constexpr std::uint16_t thumbnailLength = 0x0202;
constexpr int maximumTrailingTables = 16;

const ExifEntry* findIn(const std::vector<ExifEntry>& entries, std::uint16_t tag) {
    const auto found = std::ranges::find(entries, tag, &ExifEntry::tag);
    return found == entries.end() ? nullptr : &*found;
}

using Range = ExifBlock::Range;

/// In ascending order, those that touch made one.
std::vector<Range> merged(std::vector<Range> ranges) {
    std::ranges::sort(ranges, {}, &Range::begin);
    std::vector<Range> result;
    for (const Range& range : ranges) {
        if (!result.empty() && range.begin <= result.back().end) {
            result.back().end = std::max(result.back().end, range.end);
        } else {
            result.push_back(range);
        }
    }
    return result;
}

/// What is left of the ranges without those to keep.
std::vector<Range> difference(std::vector<Range> ranges, std::vector<Range> kept) {
    const auto obstacles = merged(std::move(kept));
    auto obstacle = obstacles.begin();
    std::vector<Range> left;
    for (Range range : merged(std::move(ranges))) {
        while (obstacle != obstacles.end() && obstacle->end <= range.begin) ++obstacle;
        for (auto each = obstacle; each != obstacles.end() && each->begin < range.end; ++each) {
            if (each->begin > range.begin) left.push_back({range.begin, each->begin});
            range.begin = each->end;
        }
        if (range.begin < range.end) left.push_back(range);
    }
    return left;
}

}  // namespace

std::size_t exifTypeSize(std::uint16_t type) {
    constexpr std::array<std::uint8_t, 14> sizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < sizes.size() ? sizes[type] : 0;
}

std::optional<ExifBlock> ExifBlock::parse(ByteView bytes) {
    if (bytes.size() < headerSize || bytes[0] != bytes[1] || (bytes[0] != 'I' && bytes[0] != 'M')) {
        return std::nullopt;
    }
    ExifBlock block(bytes, bytes[0] == 'I' ? ByteOrder::little : ByteOrder::big);
    if (block.shortAt(2) != tiffMagic) return std::nullopt;
    block.firstTable_ = block.longAt(4);
    if (block.firstTable_ < headerSize || block.firstTable_ + 2 > bytes.size()) return std::nullopt;

    block.kept_.push_back({0, headerSize});
    const auto take = [&block](ExifTable table, std::size_t offset) {
        auto& entries = block.tables_[static_cast<std::size_t>(table)];
        entries = block.readTable(offset);
        block.kept_.push_back({offset, block.tableEnd(offset)});
        for (const ExifEntry& entry : entries) {
            if (entry.value.empty() || entry.value.data() == entry.field.data()) continue;
            const auto begin = static_cast<std::size_t>(entry.value.data() - block.bytes_.data());
            block.kept_.push_back({begin, begin + entry.value.size()});
        }
    };
    take(ExifTable::image, block.firstTable_);
    if (const auto place = block.pointer(ExifTable::image, ExifTag::exifTable)) take(ExifTable::exif, *place);
    if (const auto place = block.pointer(ExifTable::image, ExifTag::gpsTable)) take(ExifTable::gps, *place);
    if (const auto place = block.pointer(ExifTable::exif, ExifTag::interoperabilityTable)) {
        take(ExifTable::interoperability, *place);
    }
    return block;
}

std::uint16_t ExifBlock::shortAt(std::size_t offset) const {
    const unsigned first = bytes_[offset], second = bytes_[offset + 1];
    return static_cast<std::uint16_t>(order_ == ByteOrder::little ? second << 8 | first
                                                                  : first << 8 | second);
}

std::uint32_t ExifBlock::longAt(std::size_t offset) const {
    const std::uint32_t first = shortAt(offset), second = shortAt(offset + 2);
    return order_ == ByteOrder::little ? second << 16 | first : first << 16 | second;
}

/// Where the entries of the table end, as far as the bytes reach.
std::size_t ExifBlock::tableEnd(std::size_t offset) const {
    const std::size_t announced = offset + 2 + std::size_t{shortAt(offset)} * entrySize + 4;
    return std::min(announced, bytes_.size());
}

std::vector<ExifEntry> ExifBlock::readTable(std::size_t offset) const {
    std::vector<ExifEntry> entries;
    const std::size_t room = (bytes_.size() - offset - 2) / entrySize;
    const std::size_t count = std::min<std::size_t>(shortAt(offset), room);
    entries.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t at = offset + 2 + index * entrySize;
        ExifEntry entry{shortAt(at), shortAt(at + 2), longAt(at + 4), {}, bytes_.subspan(at + 8, 4)};
        const std::uint64_t size = std::uint64_t{exifTypeSize(entry.type)} * entry.count;
        if (size > 4) {
            const std::uint64_t place = longAt(at + 8);
            if (place + size > bytes_.size()) continue;  // a value that is not there
            entry.value = bytes_.subspan(place, size);
        } else {
            entry.value = bytes_.subspan(at + 8, size);
        }
        entries.push_back(entry);
    }
    return entries;
}

std::optional<std::size_t> ExifBlock::pointer(ExifTable table, std::uint16_t tag) const {
    const auto place = integer(table, tag);
    if (!place || *place < headerSize || std::size_t{*place} + 2 > bytes_.size()) return std::nullopt;
    return *place;
}

/// 0 when there is none, as in the file.
std::size_t ExifBlock::followingTable(std::size_t offset) const {
    const std::size_t at = offset + 2 + std::size_t{shortAt(offset)} * entrySize;
    if (at + 4 > bytes_.size()) return 0;
    const std::size_t next = longAt(at);
    return next < headerSize || next + 2 > bytes_.size() ? 0 : next;
}

const ExifEntry* ExifBlock::find(ExifTable table, std::uint16_t tag) const {
    return findIn(entries(table), tag);
}

std::optional<std::string> ExifBlock::text(ExifTable table, std::uint16_t tag) const {
    const ExifEntry* entry = find(table, tag);
    if (!entry || entry->type != static_cast<std::uint16_t>(ExifType::ascii)) return std::nullopt;
    std::string_view text = asText(entry->value);
    text = text.substr(0, text.find('\0'));
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return replacingInvalidUtf8(text);
}

std::optional<std::uint32_t> ExifBlock::integer(ExifTable table, std::uint16_t tag) const {
    const ExifEntry* entry = find(table, tag);
    if (!entry || entry->value.empty()) return std::nullopt;
    const auto at = static_cast<std::size_t>(entry->value.data() - bytes_.data());
    constexpr std::uint16_t subTable = 13;
    if (entry->type == static_cast<std::uint16_t>(ExifType::byte)) return entry->value[0];
    if (entry->type == static_cast<std::uint16_t>(ExifType::shortInteger)) return shortAt(at);
    if (entry->type == static_cast<std::uint16_t>(ExifType::longInteger) || entry->type == subTable) {
        return longAt(at);
    }
    return std::nullopt;
}

std::optional<double> ExifBlock::degrees(ExifTable table, std::uint16_t tag) const {
    const ExifEntry* entry = find(table, tag);
    if (!entry || entry->count == 0) return std::nullopt;
    const bool isSigned = entry->type == static_cast<std::uint16_t>(ExifType::signedRational);
    if (!isSigned && entry->type != static_cast<std::uint16_t>(ExifType::rational)) return std::nullopt;

    const auto number = [&](std::size_t at) {
        const std::uint32_t raw = longAt(at);
        return isSigned ? static_cast<double>(static_cast<std::int32_t>(raw)) : static_cast<double>(raw);
    };
    double sum = 0;
    double unit = 1;
    for (std::size_t part = 0; part < std::min<std::size_t>(entry->count, 3); ++part, unit *= 60) {
        const auto at = static_cast<std::size_t>(entry->value.data() - bytes_.data()) + part * 8;
        const double numerator = number(at), denominator = number(at + 4);
        if (denominator == 0) {
            // Devices without minutes or seconds write them as 0/0.
            if (part == 0 || numerator != 0) return std::nullopt;
            continue;
        }
        sum += numerator / denominator / unit;
    }
    return sum;
}

std::vector<ExifBlock::Range> ExifBlock::thumbnailRanges() const {
    std::vector<Range> ranges;
    const auto add = [&](std::uint64_t begin, std::uint64_t length) {
        const std::uint64_t end = std::min<std::uint64_t>(begin + length, bytes_.size());
        if (begin >= headerSize && begin < end) ranges.push_back({begin, end});
    };
    std::size_t table = followingTable(firstTable_);
    for (int guard = 0; table != 0 && guard < maximumTrailingTables; ++guard) {
        add(table, tableEnd(table) - table);
        const auto entries = readTable(table);
        for (const ExifEntry& entry : entries) {
            if (entry.value.data() == entry.field.data()) continue;
            add(static_cast<std::size_t>(entry.value.data() - bytes_.data()), entry.value.size());
        }
        for (const auto& [places, lengths] :
             {std::pair{thumbnailOffset, thumbnailLength}, std::pair{stripOffsets, stripByteCounts}}) {
            const ExifEntry* place = findIn(entries, places);
            const ExifEntry* length = findIn(entries, lengths);
            if (!place || !length || place->count != length->count) continue;
            const auto valueAt = [&](const ExifEntry& entry, std::size_t index) -> std::uint64_t {
                const std::size_t size = exifTypeSize(entry.type);
                if (size != 2 && size != 4) return 0;
                const auto at = static_cast<std::size_t>(entry.value.data() - bytes_.data()) + index * size;
                return size == 2 ? shortAt(at) : longAt(at);
            };
            const std::size_t strips = std::min<std::size_t>(place->count, bytes_.size());
            for (std::size_t index = 0; index < strips; ++index) {
                add(valueAt(*place, index), valueAt(*length, index));
            }
        }
        table = followingTable(table);
    }
    return difference(std::move(ranges), kept_);
}

}  // namespace kelvaris
