#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "metadata/exif_block.h"

namespace kelvaris {

/// Makes the tag block of a copy out of a source's block and changes to it. Numbers are written in the
/// source's byte order, so that what is kept and what is new stay of one kind.
class ExifEditor {
public:
    /// Starts from nothing.
    explicit ExifEditor(ByteOrder order = ByteOrder::little) : order_(order) {}
    /// Starts from what the source holds; its bytes must outlive the editor.
    explicit ExifEditor(const ExifBlock& source);

    void setText(ExifTable table, std::uint16_t tag, std::string_view text);
    void setShort(ExifTable table, std::uint16_t tag, std::uint16_t value);
    void setLong(ExifTable table, std::uint16_t tag, std::uint32_t value);
    void setBytes(ExifTable table, std::uint16_t tag, ExifType type, ByteView bytes);
    /// @param bytes the values in the block's byte order.
    void setRaw(ExifTable table, std::uint16_t tag, std::uint16_t type, std::uint32_t count, Bytes bytes);
    using Fraction = std::pair<std::uint32_t, std::uint32_t>;
    void setFractions(ExifTable table, std::uint16_t tag, std::span<const Fraction> values);
    /// UserComment: ASCII where that is enough, else UTF-16 in the block's byte order.
    void setComment(std::string_view text);

    bool has(ExifTable table, std::uint16_t tag) const;
    void remove(ExifTable table, std::uint16_t tag);
    /// Whether a tag of the first table tells how the source's pixels lie in its file, or holds what a
    /// JPEG has another place for: no longer true of a copy, or twice in it.
    static bool isStructural(std::uint16_t tag);
    void removeStructure();

    struct Output {
        Bytes block;
        std::vector<std::uint16_t> dropped;  ///< tags that had to go for the limit
    };

    /// The source's bytes with new tables and values in the place of its thumbnails and behind its end:
    /// whatever points into the block, as maker notes do, still finds everything where it was.
    /// When that is longer than the limit, as rebuilt().
    Output edited(std::size_t limit) const;

    /// A fresh block of all tags that are left. Over the limit, the largest of the source's values go.
    Output rebuilt(std::size_t limit) const;

private:
    struct Item {
        std::uint16_t tag = 0;
        std::uint16_t type = 0;
        std::uint32_t count = 0;
        ByteView value;                       ///< the source's
        std::array<std::uint8_t, 4> field{};  ///< the source's
        Bytes replacement;
        bool isNew = false;

        ByteView content() const { return isNew ? ByteView(replacement) : value; }
    };
    using Items = std::vector<Item>;
    using Tables = std::array<Items, 4>;
    class Space;

    static void set(Items& items, Item item);
    Items& items(ExifTable table) { return tables_[static_cast<std::size_t>(table)]; }
    void put(Bytes& bytes, std::uint64_t value, std::size_t size) const;
    Item number(std::uint16_t tag, ExifType type, std::uint32_t value) const;
    Bytes inPlace() const;
    Bytes written(Tables tables, std::optional<ExifBlock::Range> makerNote) const;
    std::size_t writeTable(Space& space, const Items& items, bool keepFields,
                           std::optional<ExifBlock::Range> makerNote) const;

    const ByteView source_;
    std::vector<ExifBlock::Range> holes_;
    ByteOrder order_ = ByteOrder::little;
    Tables tables_;
    std::array<bool, 4> changed_{};
};

}  // namespace kelvaris
