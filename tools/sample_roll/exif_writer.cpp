#include "sample_roll/exif_writer.h"

#include <cmath>
#include <cstddef>
#include <span>
#include <string_view>

namespace kelvaris::sample_roll {

namespace {

enum class Kind : std::uint16_t { byte = 1, ascii = 2, word = 3, longWord = 4, rational = 5, raw = 7 };

class Bytes {
public:
    explicit Bytes(bool bigEndian) : bigEndian_(bigEndian) {}

    void put16(std::uint32_t value) { put(value, 2); }
    void put32(std::uint32_t value) { put(value, 4); }
    void putRaw(std::span<const std::uint8_t> raw) { data_.insert(data_.end(), raw.begin(), raw.end()); }
    void putZeros(std::size_t count) {
        for (; count > 0; --count) data_.push_back(0);
    }

    std::size_t size() const { return data_.size(); }
    std::vector<std::uint8_t>& data() { return data_; }

private:
    void put(std::uint32_t value, unsigned count) {
        for (unsigned index = 0; index < count; ++index) {
            const unsigned shift = 8 * (bigEndian_ ? count - 1 - index : index);
            data_.push_back(static_cast<std::uint8_t>(value >> shift));
        }
    }

    bool bigEndian_;
    std::vector<std::uint8_t> data_;
};

struct Entry {
    std::uint16_t tag;
    Kind kind;
    std::uint32_t count;
    std::vector<std::uint8_t> value;
};

/// One directory of tags, which must be added in ascending order.
class Table {
public:
    explicit Table(bool bigEndian) : bigEndian_(bigEndian) {}

    bool empty() const { return entries_.empty(); }

    void text(std::uint16_t tag, std::string_view value) {
        if (value.empty()) {
            return;
        }
        std::vector<std::uint8_t> raw(value.begin(), value.end());
        raw.push_back(0);
        const auto count = static_cast<std::uint32_t>(raw.size());
        entries_.push_back({tag, Kind::ascii, count, std::move(raw)});
    }
    void raw(std::uint16_t tag, Kind kind, const std::vector<std::uint8_t>& value) {
        if (!value.empty()) {
            entries_.push_back({tag, kind, static_cast<std::uint32_t>(value.size()), value});
        }
    }
    void word(std::uint16_t tag, std::uint32_t value) {
        Bytes bytes(bigEndian_);
        bytes.put16(value);
        entries_.push_back({tag, Kind::word, 1, std::move(bytes.data())});
    }
    void longWord(std::uint16_t tag, std::uint32_t value) {
        Bytes bytes(bigEndian_);
        bytes.put32(value);
        entries_.push_back({tag, Kind::longWord, 1, std::move(bytes.data())});
    }
    void rationals(std::uint16_t tag, std::span<const Rational> values) {
        Bytes bytes(bigEndian_);
        for (const auto& [numerator, denominator] : values) {
            bytes.put32(numerator);
            bytes.put32(denominator);
        }
        entries_.push_back(
            {tag, Kind::rational, static_cast<std::uint32_t>(values.size()), std::move(bytes.data())});
    }

    /// Bytes that the table and its values take.
    std::size_t size() const {
        std::size_t total = 2 + (entries_.size() * 12) + 4;
        for (const Entry& entry : entries_) {
            total += entry.value.size() > 4 ? entry.value.size() + (entry.value.size() & 1U) : 0;
        }
        return total;
    }

    /// Appends the table; its values follow it at once.
    void write(Bytes& target, std::uint32_t next) const {
        std::size_t values = target.size() + 2 + (entries_.size() * 12) + 4;
        target.put16(static_cast<std::uint32_t>(entries_.size()));
        for (const Entry& entry : entries_) {
            target.put16(entry.tag);
            target.put16(static_cast<std::uint32_t>(entry.kind));
            target.put32(entry.count);
            if (entry.value.size() > 4) {
                target.put32(static_cast<std::uint32_t>(values));
                values += entry.value.size() + (entry.value.size() & 1U);
            } else {
                target.putRaw(entry.value);
                target.putZeros(4 - entry.value.size());
            }
        }
        target.put32(next);
        for (const Entry& entry : entries_) {
            if (entry.value.size() > 4) {
                target.putRaw(entry.value);
                target.putZeros(entry.value.size() & 1U);
            }
        }
    }

private:
    bool bigEndian_;
    std::vector<Entry> entries_;
};

Table pictureTable(const ExifRecord& record) {
    Table table(record.bigEndian);
    if (record.exposureTime) {
        table.rationals(0x829A, {&*record.exposureTime, 1});
    }
    if (record.fNumber) {
        table.rationals(0x829D, {&*record.fNumber, 1});
    }
    if (record.isoSpeed) {
        table.word(0x8827, *record.isoSpeed);
    }
    table.raw(0x9000, Kind::raw, {'0', '2', '3', '2'});
    table.text(0x9003, record.dateTimeOriginal);
    table.raw(0x927C, Kind::raw, record.makerNote);
    table.raw(0x9286, Kind::raw, record.userComment);
    table.text(0xA434, record.lensModel);
    return table;
}

std::vector<Rational> degrees(double value) {
    const double absolute = std::abs(value);
    const auto whole = static_cast<std::uint32_t>(absolute);
    const double minutes = (absolute - whole) * 60;
    const auto wholeMinutes = static_cast<std::uint32_t>(minutes);
    const auto seconds = static_cast<std::uint32_t>(std::lround((minutes - wholeMinutes) * 60 * 10000));
    return {{whole, 1}, {wholeMinutes, 1}, {seconds, 10000}};
}

Table placeTable(const ExifRecord& record) {
    Table table(record.bigEndian);
    if (record.place) {
        table.raw(0x0000, Kind::byte, {2, 3, 0, 0});
        table.text(0x0001, record.place->latitude < 0 ? "S" : "N");
        table.rationals(0x0002, degrees(record.place->latitude));
        table.text(0x0003, record.place->longitude < 0 ? "W" : "E");
        table.rationals(0x0004, degrees(record.place->longitude));
    }
    return table;
}

Table fileTable(const ExifRecord& record, std::uint32_t pictureAt, std::uint32_t placeAt) {
    Table table(record.bigEndian);
    table.text(0x010E, record.description);
    table.text(0x010F, record.make);
    table.text(0x0110, record.model);
    table.word(0x0112, static_cast<std::uint32_t>(record.orientation));
    table.text(0x0131, record.software);
    table.text(0x0132, record.dateTime);
    table.longWord(0x8769, pictureAt);
    if (record.place) {
        table.longWord(0x8825, placeAt);
    }
    return table;
}

}  // namespace

std::vector<std::uint8_t> exifBlock(const ExifRecord& record) {
    const Table picture = pictureTable(record);
    const Table place = placeTable(record);
    // The pointers inside the first table do not change its size, so it is measured with zeros.
    const std::size_t pictureAt = 8 + fileTable(record, 0, 0).size();
    const std::size_t placeAt = pictureAt + picture.size();
    const std::size_t previewAt = placeAt + (place.empty() ? 0 : place.size());
    const bool hasPreview = !record.thumbnail.empty();

    Bytes block(record.bigEndian);
    const std::uint8_t mark = record.bigEndian ? 'M' : 'I';
    block.putRaw(std::vector<std::uint8_t>{mark, mark});
    block.put16(42);
    block.put32(8);
    fileTable(record, static_cast<std::uint32_t>(pictureAt), static_cast<std::uint32_t>(placeAt))
        .write(block, hasPreview ? static_cast<std::uint32_t>(previewAt) : 0);
    picture.write(block, 0);
    if (!place.empty()) {
        place.write(block, 0);
    }
    if (hasPreview) {
        const auto preview = [&](std::size_t dataAt) {
            Table table(record.bigEndian);
            table.word(0x0103, 6);
            table.longWord(0x0201, static_cast<std::uint32_t>(dataAt));
            table.longWord(0x0202, static_cast<std::uint32_t>(record.thumbnail.size()));
            return table;
        };
        preview(previewAt + preview(0).size()).write(block, 0);
        block.putRaw(record.thumbnail);
    }
    return std::move(block.data());
}

}  // namespace kelvaris::sample_roll
