#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/describe.h"
#include "base/instant.h"
#include "base/result.h"
#include "base/uuid.h"
#include "vault/yaml_reader.h"
#include "vault/yaml_scalars.h"
#include "vault/yaml_writer.h"
#include "vocabulary/raw_value.h"

/// Described records in YAML. Keys are written in declared order and absent values are left out. Reading
/// is strict: a required key that is missing, a value of another type, an unknown word of an enumeration
/// and a key given twice fail the whole document; unknown keys are walked over; null counts as absent for
/// an optional key. Any thread.
///
/// A salvaging reader leaves out what fails instead: an optional member, an element of a list or a map, a
/// required member that its record can spare. Whatever else is required still fails the record around it.
namespace kelvaris {

namespace record_yaml {

template <class T>
void write(YamlWriter& writer, const T& value);
template <class T>
void read(YamlReader& reader, T& value);

template <class T>
inline constexpr bool isList = false;
template <class T>
inline constexpr bool isList<std::vector<T>> = true;
template <class T>
inline constexpr bool isMap = false;
template <class T>
inline constexpr bool isMap<std::map<std::string, T>> = true;
template <class T>
inline constexpr bool isIdentifier = std::same_as<T, Uuid>;
template <class Tag>
inline constexpr bool isIdentifier<Identifier<Tag>> = true;

/// Required keys that a salvaged record may lack, with a default in their place.
template <class Record>
inline constexpr std::array<std::string_view, 0> spareKeys{};

template <class T>
concept HasRawNumbers = HasRawValues<T> && std::integral<RawValueOf<T>>;

/// The visitor that emits a record.
class Writer {
public:
    explicit Writer(YamlWriter& writer) : writer_(writer) {}

    template <class T>
    void required(std::string_view key, const T& member, const char*) {
        writer_.declaredKey(key);
        write(writer_, member);
    }
    template <class T>
    void optional(std::string_view key, const std::optional<T>& member, const char* meaning) {
        if (member) required(key, *member, meaning);
    }

private:
    YamlWriter& writer_;
};

inline bool isNull(const YamlEvent& event) {
    if (event.kind != YamlEvent::Kind::scalar) return false;
    if (!event.tag.empty()) return event.tag == YAML_NULL_TAG;
    return event.isPlain && yaml::isNullWord(event.text);
}

/// The visitor that fills a record from the mapping at which the reader stands.
///
/// The keys of a file stand in declared order unless a person moved them. So the declaration is walked,
/// and each member that the next key names takes its value at once; the walk begins anew while it makes
/// progress, and a key that a whole walk did not take is unknown.
class Reader {
public:
    explicit Reader(YamlReader& reader) : reader_(reader) {}

    template <class Record>
    void readInto(Record& record) {
        if (!reader_.is(YamlEvent::Kind::mappingStart)) return reader_.fail("a mapping was expected");
        if (reader_.isSalvaging()) spare_ = spareKeys<Record>;
        reader_.advance();
        takeKey();
        while (hasKey_) {
            tookAny_ = false;
            walk(record);
            if (hasKey_ && !tookAny_) skipUnknown();
        }
        if (!reader_.ok()) return;
        isChecking_ = true;
        walk(record);
        reader_.advance();
    }

    template <class T>
    void required(std::string_view key, T& member, const char*) {
        const std::uint64_t bit = nextBit();
        if (isChecking_) {
            if (!(taken_ & bit)) miss(key);
        } else if (isNamed(key, bit)) {
            const auto mark = reader_.mark();
            read(reader_, member);
            const bool isLost = !reader_.ok() && isSpare(key) && reader_.passOver(mark, key);
            if (isLost) member = T();
            takeNext(isLost ? 0 : bit);
        }
    }

    template <class T>
    void optional(std::string_view key, std::optional<T>& member, const char*) {
        const std::uint64_t bit = nextBit();
        if (isChecking_ || !isNamed(key, bit)) return;
        if (isNull(reader_.current())) {
            member.reset();
            reader_.advance();
        } else {
            const auto mark = reader_.mark();
            read(reader_, member.emplace());
            if (!reader_.ok() && reader_.passOver(mark, key)) member.reset();
        }
        takeNext(bit);
    }

private:
    template <class Record>
    void walk(Record& record) {
        index_ = 0;
        describe(*this, record);
    }

    std::uint64_t nextBit() { return std::uint64_t{1} << index_++; }  // no record has 64 keys

    bool isNamed(std::string_view key, std::uint64_t bit) {
        if (!hasKey_ || key_ != key) return false;
        if (!(taken_ & bit)) return true;
        const auto mark = reader_.mark();
        reader_.fail(fmt::format("the key \"{}\" is given twice", key));
        if (reader_.passOver(mark, key)) takeNext(0);  // the first one counts
        return false;
    }

    bool isSpare(std::string_view key) const {
        return std::find(spare_.begin(), spare_.end(), key) != spare_.end();
    }

    void miss(std::string_view key) {
        std::string reason = fmt::format("the key \"{}\" is missing", key);
        isSpare(key) ? reader_.noteLoss(std::move(reason)) : reader_.fail(reason);
    }

    void takeNext(std::uint64_t bit) {
        taken_ |= bit;
        tookAny_ = true;
        takeKey();
    }

    void takeKey() {
        hasKey_ = false;
        while (reader_.ok() && !reader_.is(YamlEvent::Kind::mappingEnd)) {
            const YamlEvent& event = reader_.current();
            if (event.kind == YamlEvent::Kind::scalar) {
                if (event.isPlain && event.text == "<<") return reader_.fail("merge keys are not read");
                key_.assign(event.text);
                hasKey_ = true;
                return reader_.advance();
            }
            reader_.skipValue();  // a collection as a key names no member
            reader_.skipValue();
        }
    }

    void skipUnknown() {
        const auto mark = reader_.mark();
        if (!unknown_.insert(key_).second) {
            reader_.fail(fmt::format("the key \"{}\" is given twice", key_));
        }
        reader_.skipValue();
        if (!reader_.ok()) reader_.passOver(mark, key_);
        takeKey();
    }

    YamlReader& reader_;
    std::string key_;
    bool hasKey_ = false;
    bool tookAny_ = false;
    bool isChecking_ = false;
    unsigned index_ = 0;
    std::uint64_t taken_ = 0;
    std::span<const std::string_view> spare_;
    std::set<std::string> unknown_;
};

/// Takes a scalar of a kind other than text: a plain one, or one that is tagged as that kind.
template <class T, class Parse>
void readScalar(YamlReader& reader, T& value, std::initializer_list<std::string_view> tags,
                std::string_view expected, Parse parse) {
    const YamlEvent& event = reader.current();
    bool mayParse = event.kind == YamlEvent::Kind::scalar && event.isPlain;
    if (event.kind == YamlEvent::Kind::scalar && !event.tag.empty()) {
        mayParse = std::find(tags.begin(), tags.end(), event.tag) != tags.end();
    }
    if (mayParse) {
        if (auto parsed = parse(event.text)) {
            value = std::move(*parsed);
            return reader.advance();
        }
    }
    reader.fail(fmt::format("{} was expected", expected));
}

/// Takes a kind of text: any scalar, quoted or not.
template <class T, class Parse>
void readText(YamlReader& reader, T& value, std::string_view expected, Parse parse) {
    if (reader.is(YamlEvent::Kind::scalar)) {
        if (const auto parsed = parse(reader.current().text)) {
            value = *parsed;
            return reader.advance();
        }
    }
    reader.fail(fmt::format("{} was expected", expected));
}

template <std::integral T>
std::optional<T> narrowed(std::optional<std::int64_t> value) {
    if (!value || !std::in_range<T>(*value)) return std::nullopt;
    return static_cast<T>(*value);
}

template <class T>
void readList(YamlReader& reader, T& list) {
    list.clear();
    if (!reader.is(YamlEvent::Kind::sequenceStart)) return reader.fail("a sequence was expected");
    reader.advance();
    while (reader.ok() && !reader.is(YamlEvent::Kind::sequenceEnd)) {
        const auto mark = reader.mark();
        read(reader, list.emplace_back());
        if (!reader.ok() && reader.passOver(mark, "left out")) list.pop_back();
    }
    reader.advance();
}

template <class T>
void readMap(YamlReader& reader, T& map) {
    map.clear();
    if (!reader.is(YamlEvent::Kind::mappingStart)) return reader.fail("a mapping was expected");
    reader.advance();
    while (reader.ok() && !reader.is(YamlEvent::Kind::mappingEnd)) {
        if (!reader.is(YamlEvent::Kind::scalar)) return reader.fail("a key must be a text");
        std::string key(reader.current().text);
        if (reader.current().isPlain && key == "<<") return reader.fail("merge keys are not read");
        reader.advance();
        const auto [place, isNew] = map.try_emplace(std::move(key));
        const auto mark = reader.mark();
        if (isNew) {
            read(reader, place->second);
        } else {
            reader.fail(fmt::format("the key \"{}\" is given twice", place->first));
        }
        if (!reader.ok() && reader.passOver(mark, place->first) && isNew) map.erase(place);
    }
    reader.advance();
}

template <class T>
void read(YamlReader& reader, T& value) {
    if constexpr (std::same_as<T, bool>) {
        readScalar(reader, value, {YAML_BOOL_TAG}, "true or false", yaml::parseBoolean);
    } else if constexpr (std::integral<T>) {
        readScalar(reader, value, {YAML_INT_TAG}, "an integer",
                   [](std::string_view text) { return narrowed<T>(yaml::parseInteger(text)); });
    } else if constexpr (std::same_as<T, double>) {
        readScalar(reader, value, {YAML_FLOAT_TAG, YAML_INT_TAG}, "a number", yaml::parseDouble);
    } else if constexpr (std::same_as<T, float>) {
        readScalar(reader, value, {YAML_FLOAT_TAG, YAML_INT_TAG}, "a number", yaml::parseFloat);
    } else if constexpr (std::same_as<T, Instant>) {
        readScalar(reader, value, {YAML_TIMESTAMP_TAG}, "a date", yaml::parseTimestamp);
    } else if constexpr (std::same_as<T, std::string>) {
        if (!reader.is(YamlEvent::Kind::scalar)) return reader.fail("a text was expected");
        value.assign(reader.current().text);
        reader.advance();
    } else if constexpr (HasRawNumbers<T>) {
        readScalar(reader, value, {YAML_INT_TAG}, "a known number", [](std::string_view text) {
            const auto number = narrowed<RawValueOf<T>>(yaml::parseInteger(text));
            return number ? fromRawValue<T>(*number) : std::nullopt;
        });
    } else if constexpr (HasRawValues<T>) {
        readText(reader, value, "a known word", fromRawValue<T>);
    } else if constexpr (isIdentifier<T>) {
        readText(reader, value, "an identifier", T::parse);
    } else if constexpr (isList<T>) {
        readList(reader, value);
    } else if constexpr (isMap<T>) {
        readMap(reader, value);
    } else {
        Reader(reader).readInto(value);
    }
}

template <class T>
void write(YamlWriter& writer, const T& value) {
    if constexpr (std::same_as<T, bool>) {
        writer.boolean(value);
    } else if constexpr (std::integral<T>) {
        writer.integer(value);
    } else if constexpr (std::same_as<T, double>) {
        writer.real(value);
    } else if constexpr (std::same_as<T, float>) {
        writer.real32(value);
    } else if constexpr (std::same_as<T, Instant>) {
        writer.timestamp(value);
    } else if constexpr (std::same_as<T, std::string>) {
        writer.string(value);
    } else if constexpr (HasRawValues<T>) {
        if constexpr (HasRawNumbers<T>) {
            writer.integer(rawValue(value));
        } else {
            writer.string(rawValue(value));
        }
    } else if constexpr (isIdentifier<T>) {
        writer.string(value.text());
    } else if constexpr (isList<T>) {
        writer.beginSequence();
        for (const auto& item : value) write(writer, item);
        writer.endSequence();
    } else if constexpr (isMap<T>) {
        writer.beginMapping();
        for (const auto& [key, item] : value) {
            writer.string(key);
            write(writer, item);
        }
        writer.endMapping();
    } else {
        writer.beginMapping();
        Writer visitor(writer);
        describeConst(visitor, value);
        writer.endMapping();
    }
}

}  // namespace record_yaml

/// The record as the text of a YAML document, or why it cannot be written.
template <class Record>
Result<std::string, std::string> encodedYaml(const Record& record) {
    YamlWriter writer;
    record_yaml::write(writer, record);
    return writer.finish();
}

/// The record that the YAML document holds, or why it holds none, with the line.
/// @param losses where a salvaging reading tells what it left out; null for a strict one.
template <class Record>
Result<Record, std::string> decodedYaml(std::string_view text, std::size_t firstLine = 1,
                                        std::vector<std::string>* losses = nullptr) {
    using Mode = YamlReader::Mode;
    YamlReader reader(text, firstLine, losses ? Mode::salvaging : Mode::strict);
    Record record;
    if (reader.ok()) record_yaml::read(reader, record);
    if (!reader.ok()) return Unexpected(reader.failure());
    if (losses) {
        *losses = reader.losses();
        const std::size_t untold = reader.lossCount() - losses->size();
        if (untold > 0) losses->push_back(fmt::format("and {} more", untold));
    }
    return record;
}

}  // namespace kelvaris
