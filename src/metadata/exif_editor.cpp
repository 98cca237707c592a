#include "metadata/exif_editor.h"

#include <algorithm>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::size_t headerSize = 8;

constexpr std::array<std::uint16_t, 2> shortRange(std::uint16_t first, std::uint16_t last) {
    return {first, last};
}

/// Stretches of tag numbers of the first table that describe the layout and colours of stored pixels,
/// or hold what a JPEG has its own place for.
constexpr std::array structure{
    shortRange(0x00FE, 0x0103),  // subfile types, size, bits, compression
    shortRange(0x0106, 0x010A),  // photometric interpretation, thresholds, cells, fill order
    shortRange(0x0111, 0x0111),  // strip offsets
    shortRange(0x0115, 0x0119),  // samples, rows, strip lengths, extreme values
    shortRange(0x011C, 0x011C),  // planes
    shortRange(0x0120, 0x0125),  // free space, grey response, fax options
    shortRange(0x012D, 0x012D),  // transfer function
    shortRange(0x013D, 0x0147),  // predictor, chromaticities, colour map, tiles, fax lines
    shortRange(0x014A, 0x014A),  // further pictures
    shortRange(0x014C, 0x015F),  // inks, extra samples, sample format, clip paths, JPEG tables
    shortRange(0x0200, 0x0209),  // old JPEG, thumbnails
    shortRange(0x0211, 0x0212),  // YCbCr coefficients and subsampling
    shortRange(0x0214, 0x0214),  // reference black and white
    shortRange(0x02BC, 0x02BC),  // XMP
    shortRange(0x83BB, 0x83BB),  // IPTC
    shortRange(0x8649, 0x8649),  // image resources
    shortRange(0x8773, 0x8773),  // ICC profile
    shortRange(0x935C, 0x935C),  // layers
};

std::u16string utf16(std::string_view text) {
    std::u16string result;
    while (!text.empty()) {
        const std::size_t length = utf8SequenceLength(text);
        if (length == 0) {
            result.push_back(u'\uFFFD');
            text.remove_prefix(1);
            continue;
        }
        char32_t point = static_cast<unsigned char>(text[0]);
        if (length > 1) point &= 0x7Fu >> length;
        for (std::size_t index = 1; index < length; ++index) {
            point = point << 6 | (static_cast<unsigned char>(text[index]) & 0x3F);
        }
        if (point >= 0x10000) {
            point -= 0x10000;
            result.push_back(static_cast<char16_t>(0xD800 + (point >> 10)));
            result.push_back(static_cast<char16_t>(0xDC00 + (point & 0x3FF)));
        } else {
            result.push_back(static_cast<char16_t>(point));
        }
        text.remove_prefix(length);
    }
    return result;
}

std::size_t evened(std::size_t size) { return size + size % 2; }

}  // namespace

/// Finds room for what is new: in holes first, else behind the end.
class ExifEditor::Space {
public:
    Space(Bytes& bytes, std::vector<ExifBlock::Range> holes) : bytes_(bytes), holes_(std::move(holes)) {}

    std::size_t place(ByteView content) {
        for (auto& hole : holes_) {
            const std::size_t begin = evened(hole.begin);
            if (begin + content.size() > hole.end) continue;
            std::ranges::copy(content, bytes_.begin() + static_cast<std::ptrdiff_t>(begin));
            hole.begin = begin + content.size();
            return begin;
        }
        const std::size_t begin = evened(bytes_.size());
        bytes_.resize(begin);
        bytes_.insert(bytes_.end(), content.begin(), content.end());
        return begin;
    }

    void overwrite(std::size_t at, ByteView content) {
        std::ranges::copy(content, bytes_.begin() + static_cast<std::ptrdiff_t>(at));
    }

private:
    Bytes& bytes_;
    std::vector<ExifBlock::Range> holes_;
};

ExifEditor::ExifEditor(const ExifBlock& source) : source_(source.bytes()), order_(source.order()) {
    for (std::size_t table = 0; table < tables_.size(); ++table) {
        for (const ExifEntry& entry : source.entries(static_cast<ExifTable>(table))) {
            Item item{entry.tag, entry.type, entry.count, entry.value, {}, {}, false};
            std::ranges::copy(entry.field, item.field.begin());
            tables_[table].push_back(std::move(item));
        }
    }
    holes_ = source.thumbnailRanges();
}

void ExifEditor::put(Bytes& bytes, std::uint64_t value, std::size_t size) const {
    for (std::size_t index = 0; index < size; ++index) {
        const std::size_t shift = order_ == ByteOrder::little ? index : size - 1 - index;
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * shift)));
    }
}

/// In the place of the first item with the tag; further ones with it go.
void ExifEditor::set(Items& items, Item item) {
    item.isNew = true;
    const auto first = std::ranges::find(items, item.tag, &Item::tag);
    if (first == items.end()) {
        items.push_back(std::move(item));
        return;
    }
    const std::uint16_t tag = item.tag;
    *first = std::move(item);
    items.erase(std::remove_if(first + 1, items.end(), [tag](const Item& each) { return each.tag == tag; }),
                items.end());
}

void ExifEditor::setBytes(ExifTable table, std::uint16_t tag, ExifType type, ByteView bytes) {
    const auto raw = static_cast<std::uint16_t>(type);
    const auto count = static_cast<std::uint32_t>(bytes.size() / exifTypeSize(raw));
    setRaw(table, tag, raw, count, Bytes(bytes.begin(), bytes.end()));
}

void ExifEditor::setRaw(ExifTable table, std::uint16_t tag, std::uint16_t type, std::uint32_t count,
                        Bytes bytes) {
    set(items(table), {tag, type, count, {}, {}, std::move(bytes), true});
    changed_[static_cast<std::size_t>(table)] = true;
}

void ExifEditor::setText(ExifTable table, std::uint16_t tag, std::string_view text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    setBytes(table, tag, ExifType::ascii, bytes);
}

ExifEditor::Item ExifEditor::number(std::uint16_t tag, ExifType type, std::uint32_t value) const {
    Item item{tag, static_cast<std::uint16_t>(type), 1, {}, {}, {}, true};
    put(item.replacement, value, exifTypeSize(item.type));
    return item;
}

void ExifEditor::setShort(ExifTable table, std::uint16_t tag, std::uint16_t value) {
    setBytes(table, tag, ExifType::shortInteger, number(tag, ExifType::shortInteger, value).replacement);
}

void ExifEditor::setLong(ExifTable table, std::uint16_t tag, std::uint32_t value) {
    setBytes(table, tag, ExifType::longInteger, number(tag, ExifType::longInteger, value).replacement);
}

void ExifEditor::setFractions(ExifTable table, std::uint16_t tag, std::span<const Fraction> values) {
    Bytes bytes;
    for (const auto& [numerator, denominator] : values) {
        put(bytes, numerator, 4);
        put(bytes, denominator, 4);
    }
    setBytes(table, tag, ExifType::rational, bytes);
}

void ExifEditor::setComment(std::string_view text) {
    constexpr std::size_t codeSize = 8;
    const bool isAscii =
        std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    const std::string_view code = isAscii ? "ASCII" : "UNICODE";
    Bytes bytes(code.begin(), code.end());
    bytes.resize(codeSize);
    if (isAscii) {
        bytes.insert(bytes.end(), text.begin(), text.end());
    } else {
        for (const char16_t unit : utf16(text)) put(bytes, unit, 2);
    }
    setBytes(ExifTable::exif, ExifTag::userComment, ExifType::undefined, bytes);
}

bool ExifEditor::has(ExifTable table, std::uint16_t tag) const {
    const Items& items = tables_[static_cast<std::size_t>(table)];
    return std::ranges::find(items, tag, &Item::tag) != items.end();
}

void ExifEditor::remove(ExifTable table, std::uint16_t tag) {
    if (std::erase_if(items(table), [tag](const Item& item) { return item.tag == tag; }) > 0) {
        changed_[static_cast<std::size_t>(table)] = true;
    }
}

bool ExifEditor::isStructural(std::uint16_t tag) {
    return std::ranges::any_of(structure,
                               [tag](const auto& range) { return tag >= range[0] && tag <= range[1]; });
}

void ExifEditor::removeStructure() {
    std::erase_if(items(ExifTable::image), [](const Item& item) { return isStructural(item.tag); });
}

/// @param keepFields the source's entries keep their four bytes, since their values stay where they are.
std::size_t ExifEditor::writeTable(Space& space, const Items& items, bool keepFields,
                                   std::optional<ExifBlock::Range> makerNote) const {
    std::vector<const Item*> sorted;
    for (const Item& item : items) {
        if (!keepFields && !item.isNew && exifTypeSize(item.type) == 0) continue;
        sorted.push_back(&item);
    }
    std::ranges::stable_sort(sorted, {}, [](const Item* item) { return item->tag; });
    Bytes table;
    put(table, sorted.size(), 2);
    for (const Item* item : sorted) {
        put(table, item->tag, 2);
        put(table, item->type, 2);
        put(table, item->count, 4);
        const ByteView content = item->content();
        if (keepFields && !item->isNew) {
            table.insert(table.end(), item->field.begin(), item->field.end());
        } else if (content.size() > 4) {
            const bool isPlaced = makerNote && item->tag == ExifTag::makerNote && !item->isNew;
            put(table, isPlaced ? makerNote->begin : space.place(content), 4);
        } else {
            table.insert(table.end(), content.begin(), content.end());
            table.resize(table.size() + 4 - content.size());
        }
    }
    put(table, 0, 4);
    return space.place(table);
}

Bytes ExifEditor::inPlace() const {
    Bytes bytes(source_.begin(), source_.end());
    auto holes = holes_;
    if (!holes.empty() && holes.back().end == bytes.size()) {
        bytes.resize(holes.back().begin);
        holes.pop_back();
    }
    for (const auto& hole : holes) {
        std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(hole.begin),
                  bytes.begin() + static_cast<std::ptrdiff_t>(hole.end), std::uint8_t{0});
    }
    Space space(bytes, std::move(holes));
    Items image = tables_[static_cast<std::size_t>(ExifTable::image)];
    for (const auto& [table, tag] :
         {std::pair{ExifTable::exif, ExifTag::exifTable}, std::pair{ExifTable::gps, ExifTag::gpsTable}}) {
        const auto index = static_cast<std::size_t>(table);
        if (tables_[index].empty()) {
            std::erase_if(image, [wanted = tag](const Item& item) { return item.tag == wanted; });
        } else if (changed_[index]) {
            const std::size_t place = writeTable(space, tables_[index], true, std::nullopt);
            set(image, number(tag, ExifType::longInteger, static_cast<std::uint32_t>(place)));
        }
    }
    const std::size_t first = writeTable(space, image, true, std::nullopt);
    Bytes pointer;
    put(pointer, first, 4);
    space.overwrite(4, pointer);
    return bytes;
}

Bytes ExifEditor::written(Tables tables, std::optional<ExifBlock::Range> makerNote) const {
    Bytes bytes{static_cast<std::uint8_t>(order_ == ByteOrder::little ? 'I' : 'M')};
    bytes.push_back(bytes[0]);
    put(bytes, 42, 2);
    put(bytes, 0, 4);
    std::vector<ExifBlock::Range> holes;
    if (makerNote) {
        bytes.resize(makerNote->begin);
        holes.push_back({headerSize, makerNote->begin});
        const ByteView note = source_.subspan(makerNote->begin, makerNote->end - makerNote->begin);
        bytes.insert(bytes.end(), note.begin(), note.end());
    }
    Space space(bytes, std::move(holes));
    auto& image = tables[static_cast<std::size_t>(ExifTable::image)];
    auto& exif = tables[static_cast<std::size_t>(ExifTable::exif)];
    struct Step {
        ExifTable table;
        std::uint16_t tag;
        Items& holder;
    };
    for (const Step& step :
         {Step{ExifTable::interoperability, ExifTag::interoperabilityTable, exif},
          Step{ExifTable::exif, ExifTag::exifTable, image}, Step{ExifTable::gps, ExifTag::gpsTable, image}}) {
        const Items& items = tables[static_cast<std::size_t>(step.table)];
        if (items.empty()) {
            std::erase_if(step.holder, [&](const Item& item) { return item.tag == step.tag; });
            continue;
        }
        const std::size_t place = writeTable(space, items, false, makerNote);
        set(step.holder, number(step.tag, ExifType::longInteger, static_cast<std::uint32_t>(place)));
    }
    const std::size_t first = writeTable(space, image, false, makerNote);
    Bytes pointer;
    put(pointer, first, 4);
    space.overwrite(4, pointer);
    return bytes;
}

ExifEditor::Output ExifEditor::edited(std::size_t limit) const {
    if (source_.empty()) return rebuilt(limit);
    Bytes block = inPlace();
    if (block.size() <= limit) return {std::move(block), {}};
    return rebuilt(limit);
}

ExifEditor::Output ExifEditor::rebuilt(std::size_t limit) const {
    constexpr std::size_t entrySize = 12, tableFrame = 6;
    Output output;
    Tables tables = tables_;
    const auto size = [&] {
        std::size_t sum = headerSize;
        for (const Items& items : tables) {
            sum += tableFrame + 2 * entrySize;  // the pointers to the other tables may be new
            for (const Item& item : items) {
                sum += entrySize + (item.content().size() > 4 ? evened(item.content().size()) : 0);
            }
        }
        return sum;
    };
    while (size() > limit) {
        Items* holder = nullptr;
        std::ptrdiff_t index = 0;
        std::size_t largest = 4;
        for (Items& items : tables) {
            for (std::size_t each = 0; each < items.size(); ++each) {
                if (items[each].isNew || items[each].value.size() <= largest) continue;
                holder = &items;
                index = static_cast<std::ptrdiff_t>(each);
                largest = items[each].value.size();
            }
        }
        if (!holder) break;  // what is new alone is too long; the caller sees it by the size
        output.dropped.push_back((*holder)[static_cast<std::size_t>(index)].tag);
        holder->erase(holder->begin() + index);
    }
    const auto& exif = tables[static_cast<std::size_t>(ExifTable::exif)];
    const auto note = std::ranges::find(exif, ExifTag::makerNote, &Item::tag);
    if (note != exif.end() && !note->isNew && note->value.size() > 4) {
        // Maker notes often point into the block by their place in it, so they keep it where they can.
        const auto begin = static_cast<std::size_t>(note->value.data() - source_.data());
        if (begin >= headerSize && begin % 2 == 0 && begin + note->value.size() <= limit) {
            output.block = written(tables, ExifBlock::Range{begin, begin + note->value.size()});
            if (output.block.size() <= limit) return output;
        }
    }
    output.block = written(std::move(tables), std::nullopt);
    return output;
}

}  // namespace kelvaris
