#pragma once

#include <cmath>
#include <concepts>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/describe.h"
#include "base/instant.h"
#include "base/uuid.h"
#include "vocabulary/raw_value.h"

/// Described records in JSON. Reading is strict: a required key that is missing, a value of another type
/// and an unknown word of an enumeration fail the whole text; unknown keys are ignored; null counts as
/// absent for an optional key. Any thread.
namespace kelvaris {

namespace json_record {

class Reader;
class Writer;

template <class T>
concept DescribedRecord = requires(Reader& reader, T& record) {
    describe(reader, record);
};

template <class T>
bool read(const nlohmann::json& json, T& value);
template <class T>
nlohmann::ordered_json written(const T& value);

class Reader {
public:
    explicit Reader(const nlohmann::json& object) : object_(object), valid_(object.is_object()) {}

    template <class T>
    void required(const char* key, T& member, const char*) {
        if (!valid_) return;
        const auto found = object_.find(key);
        valid_ = found != object_.end() && read(*found, member);
    }

    template <class T>
    void optional(const char* key, std::optional<T>& member, const char*) {
        member.reset();
        if (!valid_) return;
        const auto found = object_.find(key);
        if (found == object_.end() || found->is_null()) return;
        valid_ = read(*found, member.emplace());
    }

    bool isValid() const { return valid_; }

private:
    const nlohmann::json& object_;
    bool valid_;
};

class Writer {
public:
    template <class T>
    void required(const char* key, T& member, const char*) {
        object[key] = written(member);
    }

    template <class T>
    void optional(const char* key, std::optional<T>& member, const char*) {
        if (member) object[key] = written(*member);
    }

    nlohmann::ordered_json object = nlohmann::ordered_json::object();
};

template <std::integral T>
bool readInteger(const nlohmann::json& json, T& value) {
    if (json.is_number_unsigned()) {
        const auto number = json.get<std::uint64_t>();
        if (!std::in_range<T>(number)) return false;
        value = static_cast<T>(number);
        return true;
    }
    if (!json.is_number_integer()) return false;
    const auto number = json.get<std::int64_t>();
    if (!std::in_range<T>(number)) return false;
    value = static_cast<T>(number);
    return true;
}

template <class T>
inline constexpr bool isIdentifier = std::same_as<T, Uuid>;
template <class Tag>
inline constexpr bool isIdentifier<Identifier<Tag>> = true;

template <class T>
struct Shape {
    static constexpr bool isList = false;
    static constexpr bool isMap = false;
};
template <class T>
struct Shape<std::vector<T>> {
    static constexpr bool isList = true;
    static constexpr bool isMap = false;
};
template <class T>
struct Shape<std::map<std::string, T>> {
    static constexpr bool isList = false;
    static constexpr bool isMap = true;
};

template <class T>
bool read(const nlohmann::json& json, T& value) {
    if constexpr (std::same_as<T, bool>) {
        if (!json.is_boolean()) return false;
        value = json.get<bool>();
        return true;
    } else if constexpr (std::integral<T>) {
        return readInteger(json, value);
    } else if constexpr (std::floating_point<T>) {
        if (!json.is_number()) return false;
        value = json.get<T>();
        return true;
    } else if constexpr (std::same_as<T, std::string>) {
        if (!json.is_string()) return false;
        value = json.get_ref<const std::string&>();
        return true;
    } else if constexpr (std::same_as<T, Instant>) {
        if (!json.is_string()) return false;
        const auto instant = parseTimestamp(json.get_ref<const std::string&>());
        if (instant) value = *instant;
        return instant.has_value();
    } else if constexpr (isIdentifier<T>) {
        if (!json.is_string()) return false;
        const auto id = T::parse(json.get_ref<const std::string&>());
        if (id) value = *id;
        return id.has_value();
    } else if constexpr (HasRawValues<T>) {
        RawValueOf<T> raw{};
        std::string text;
        if constexpr (std::integral<RawValueOf<T>>) {
            if (!readInteger(json, raw)) return false;
        } else {
            if (!read(json, text)) return false;
            raw = text;
        }
        const auto known = fromRawValue<T>(raw);
        if (known) value = *known;
        return known.has_value();
    } else if constexpr (Shape<T>::isList) {
        value.clear();
        if (!json.is_array()) return false;
        value.reserve(json.size());
        for (const auto& element : json) {
            typename T::value_type item{};
            if (!read(element, item)) return false;
            value.push_back(std::move(item));
        }
        return true;
    } else if constexpr (Shape<T>::isMap) {
        value.clear();
        if (!json.is_object()) return false;
        for (const auto& [key, element] : json.items()) {
            if (!read(element, value[key])) return false;
        }
        return true;
    } else {
        static_assert(DescribedRecord<T>, "a stored member needs a description");
        Reader reader(json);
        describe(reader, value);
        return reader.isValid();
    }
}

template <class T>
nlohmann::ordered_json written(const T& value) {
    if constexpr (std::same_as<T, Instant>) {
        return timestampText(value);
    } else if constexpr (isIdentifier<T>) {
        return value.text();
    } else if constexpr (HasRawValues<T>) {
        return rawValue(value);
    } else if constexpr (Shape<T>::isList) {
        auto list = nlohmann::ordered_json::array();
        for (const auto& item : value) list.push_back(written(static_cast<typename T::value_type>(item)));
        return list;
    } else if constexpr (Shape<T>::isMap) {
        auto object = nlohmann::ordered_json::object();
        for (const auto& [key, item] : value) object[key] = written(item);
        return object;
    } else if constexpr (DescribedRecord<T>) {
        Writer writer;
        describeConst(writer, value);
        return std::move(writer.object);
    } else {
        return value;
    }
}

}  // namespace json_record

/// The value that the JSON text holds: a described record, a list, a map or a plain value.
/// @return nothing when the text is no JSON, is not UTF-8, or does not decode.
template <class T>
std::optional<T> decodedJson(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    T value{};
    if (json.is_discarded() || !json_record::read(json, value)) return std::nullopt;
    return value;
}

/// The value as JSON with its keys in declared order; dump() gives the text.
template <class T>
nlohmann::ordered_json encodedJson(const T& value) {
    return json_record::written(value);
}

}  // namespace kelvaris
