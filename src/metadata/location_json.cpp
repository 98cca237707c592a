#include "metadata/location_json.h"

#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "base/text.h"
#include "metadata/json_outline.h"

namespace kelvaris {

namespace {

namespace json = simdjson::ondemand;
using simdjson::error_code;
using Records = std::vector<LocationRecord>;

constexpr std::size_t usualWindow = 1024 * 1024;
constexpr std::size_t smallestWindow = 1024;
constexpr std::size_t maximumWindow = 512 * 1024 * 1024;
constexpr double degreesPerE7 = 1e7;

/// Walks the elements of an array that may be far larger than memory: windows of it are copied and given
/// to the parser one after another.
class ArrayReader {
public:
    ArrayReader(std::string_view text, Records& records) : text_(text), outline_(text), records_(records) {}

    /// @param at behind the opening bracket; on success behind the closing one.
    /// @param take (json::value, Records&) -> error_code: appends the records of one element.
    template <class Take>
    bool read(std::size_t& at, Take&& take) {
        at = outline_.skipBlanks(at);
        if (outline_.holds(at, ']')) return ++at, true;
        std::size_t window = usualWindow;
        std::size_t needed = 0;
        while (true) {
            const auto step = readWindow(at, window, needed, take);
            if (!step) return false;
            if (!step->isPastElement) {
                // The window cut an element: the next one begins with it and holds it whole, even where no
                // brace ends it.
                at = step->at;
                needed = step->needed;
                window = std::max(usualWindow, needed + 1);
                if (window > maximumWindow) return false;
                continue;
            }
            window = usualWindow;
            needed = 0;
            at = outline_.skipBlanks(step->at);
            if (outline_.holds(at, ']')) return ++at, true;
            if (!outline_.holds(at, ',')) return false;
            at = outline_.skipBlanks(at + 1);
            if (outline_.holds(at, ']')) return false;
        }
    }

private:
    struct Step {
        std::size_t at;  ///< behind the last element that was read, or before the one that was cut
        bool isPastElement;
        std::size_t needed;  ///< the size of the one that was cut
    };

    /// Behind the last closing brace within the window; where that is none, behind the first element.
    std::optional<std::size_t> cut(std::size_t at, std::size_t window) const {
        const std::string_view part = text_.substr(at, window);
        const std::size_t brace = part.rfind('}');
        if (brace != std::string_view::npos) return at + brace + 1;
        return outline_.skipValue(at);
    }

    /// The text as an array of its own. @return whether the parser took it.
    bool open(std::size_t at, std::size_t end, json::document& document, json::array& array) {
        const std::size_t size = end - at + 2;
        if (size + simdjson::SIMDJSON_PADDING > capacity_) {
            capacity_ = size + simdjson::SIMDJSON_PADDING;
            buffer_ = std::make_unique_for_overwrite<char[]>(capacity_);
        }
        buffer_[0] = '[';
        std::memcpy(buffer_.get() + 1, text_.data() + at, end - at);
        buffer_[size - 1] = ']';
        std::memset(buffer_.get() + size, ' ', simdjson::SIMDJSON_PADDING);
        return !parser_.iterate(buffer_.get(), size, capacity_).get(document) &&
               !document.get_array().get(array);
    }

    /// @param needed the size of the first element, where it is known.
    template <class Take>
    std::optional<Step> readWindow(std::size_t at, std::size_t window, std::size_t needed, Take& take) {
        json::document document;
        json::array array;
        std::optional<std::size_t> end;
        while (true) {
            end = window > smallestWindow ? cut(at, window) : outline_.skipValue(at);
            if (!end || *end - at > maximumWindow) return std::nullopt;
            end = std::max(*end, at + needed);
            if (open(at, *end, document, array)) break;
            // The last brace stood in a string, or something further on is no text: less of it, then.
            if (window <= smallestWindow) return std::nullopt;
            window /= 2;
        }
        std::size_t elementAt = at;
        std::size_t before = records_.size();
        bool failed = false;
        for (auto element : array) {
            json::value value;
            if (element.get(value)) break;  // an element that the window cuts, or a damaged one: see below
            elementAt = at + static_cast<std::size_t>(value.raw_json_token().data() - buffer_.get()) - 1;
            before = records_.size();
            if (take(value, records_)) {
                failed = true;
                break;
            }
        }
        const auto elementEnd = outline_.skipValue(elementAt);
        if (!elementEnd) return std::nullopt;
        if (*elementEnd <= *end) return failed ? std::nullopt : std::optional(Step{*elementEnd, true, 0});
        records_.resize(before);
        return Step{elementAt, false, *elementEnd - elementAt};
    }

    std::string_view text_;
    JsonOutline outline_;
    Records& records_;
    json::parser parser_;
    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_ = 0;
};

/// A whole number or null; 12.0 is whole.
error_code readInteger(json::value value, std::optional<std::int64_t>& number) {
    // What begins like null and is not is an error, which the plain question throws.
    bool isNull = false;
    if (const auto error = value.is_null().get(isNull); error || isNull) return error;
    std::int64_t whole = 0;
    if (const auto error = value.get_int64().get(whole)) {
        double real = 0;
        if (value.get_double().get(real) || real != std::trunc(real) || std::abs(real) > 1e15) return error;
        whole = static_cast<std::int64_t>(real);
    }
    number = whole;
    return simdjson::SUCCESS;
}

/// A text or null.
error_code readText(json::value value, std::string_view& text) {
    // Nearly every text has no escapes and needs no copy.
    const std::string_view token = value.raw_json_token();
    if (token.starts_with('"') && token.find('\\') == std::string_view::npos) {
        text = token.substr(1, token.find('"', 1) - 1);
        return simdjson::SUCCESS;
    }
    bool isNull = false;
    if (const auto error = value.is_null().get(isNull); error || isNull) return error;
    return value.get_string().get(text);
}

error_code takeLocation(json::value value, Records& records) {
    json::object location;
    if (const auto error = value.get_object().get(location)) return error;
    std::optional<std::int64_t> latitude, longitude, accuracy;
    std::string_view milliseconds, timestamp;
    for (auto each : location) {
        json::field field;
        if (const auto error = std::move(each).get(field)) return error;
        const json::raw_json_string key = field.key();
        error_code error = simdjson::SUCCESS;
        if (key == "latitudeE7") {
            error = readInteger(field.value(), latitude);
        } else if (key == "longitudeE7") {
            error = readInteger(field.value(), longitude);
        } else if (key == "accuracy") {
            error = readInteger(field.value(), accuracy);
        } else if (key == "timestampMs") {
            error = readText(field.value(), milliseconds);
        } else if (key == "timestamp") {
            error = readText(field.value(), timestamp);
        }
        if (error) return error;
    }
    if (!latitude || !longitude) return simdjson::SUCCESS;
    std::optional<Instant> date;
    if (const auto number = parseInteger(milliseconds)) {
        date = Instant::fromSeconds(static_cast<double>(*number) / 1000.0);
    } else {
        date = parseInternetDate(timestamp);
    }
    if (date) {
        records.push_back({*date, static_cast<double>(*latitude) / degreesPerE7,
                           static_cast<double>(*longitude) / degreesPerE7});
    }
    return simdjson::SUCCESS;
}

/// One stretch of a phone's own timeline: a path of points, or a stay at a place.
struct Segment {
    struct Point {
        std::string_view place, time, minutes;
    };
    std::string_view start, end, visitedPlace;
    std::vector<Point> path;

    void appendTo(Records& records) const {
        const auto add = [&](std::optional<Instant> when, std::string_view place) {
            const auto where = parsePlace(place);
            if (when && where) records.push_back({*when, where->latitude, where->longitude});
        };
        const auto begin = parseInternetDate(start);
        for (const Point& point : path) {
            if (!point.time.empty()) {
                add(parseInternetDate(point.time), point.place);
            } else if (const auto minutes = parseDouble(point.minutes);
                       begin && minutes && std::isfinite(*minutes)) {
                add(Instant::fromSeconds(begin->seconds() + *minutes * 60), point.place);
            }
        }
        add(begin, visitedPlace);
        add(parseInternetDate(end), visitedPlace);
    }
};

/// Walks the fields of an object; whatever is of another kind than expected is passed over.
template <class Take>
void forEachField(json::value value, Take&& take) {
    json::object object;
    if (value.get_object().get(object)) return;
    for (auto each : object) {
        json::field field;
        if (std::move(each).get(field)) return;
        take(field.key(), field.value());
    }
}

std::string_view textOrNone(json::value value) {
    std::string_view text;
    if (value.get_string().get(text)) return {};
    return text;
}

void takePath(json::value value, std::vector<Segment::Point>& path) {
    json::array array;
    if (value.get_array().get(array)) return;
    for (auto element : array) {
        json::value point;
        if (element.get(point)) return;
        Segment::Point& taken = path.emplace_back();
        forEachField(point, [&](json::raw_json_string key, json::value field) {
            if (key == "point") taken.place = textOrNone(field);
            if (key == "time") taken.time = textOrNone(field);
            if (key == "durationMinutesOffsetFromStartTime") taken.minutes = textOrNone(field);
        });
    }
}

/// "placeLocation" is a text on one kind of phone and {"latLng": text} on the other.
void takeVisit(json::value visit, std::string_view& place) {
    forEachField(visit, [&](json::raw_json_string key, json::value candidate) {
        if (!(key == "topCandidate")) return;
        forEachField(candidate, [&](json::raw_json_string name, json::value location) {
            if (!(name == "placeLocation")) return;
            json::json_type type{};
            if (location.type().get(type)) return;
            if (type == json::json_type::string) {
                place = textOrNone(location);
            } else {
                forEachField(location, [&](json::raw_json_string inner, json::value text) {
                    if (inner == "latLng") place = textOrNone(text);
                });
            }
        });
    });
}

error_code takeSegment(json::value value, Records& records) {
    Segment segment;
    forEachField(value, [&](json::raw_json_string key, json::value field) {
        if (key == "startTime") segment.start = textOrNone(field);
        if (key == "endTime") segment.end = textOrNone(field);
        if (key == "timelinePath") takePath(field, segment.path);
        if (key == "visit") takeVisit(field, segment.visitedPlace);
    });
    segment.appendTo(records);
    return simdjson::SUCCESS;
}

/// The root object, to its closing brace. @return nothing unless it holds one of the known arrays.
std::optional<std::size_t> readRootObject(std::string_view text, std::size_t at, Records& records) {
    const JsonOutline outline(text);
    bool isKnown = false;
    for (bool isFirst = true;; isFirst = false) {
        at = outline.skipBlanks(at);
        if (isFirst && outline.holds(at, '}')) break;
        if (!outline.holds(at, '"')) return std::nullopt;
        const auto keyEnd = outline.skipValue(at);
        if (!keyEnd) return std::nullopt;
        const std::string_view key = text.substr(at + 1, *keyEnd - at - 2);
        at = outline.skipBlanks(*keyEnd);
        if (!outline.holds(at, ':')) return std::nullopt;
        at = outline.skipBlanks(at + 1);

        const bool isLocations = key == "locations", isSegments = key == "semanticSegments";
        if ((isLocations || isSegments) && outline.holds(at, '[')) {
            ArrayReader reader(text, records);
            if (!(isLocations ? reader.read(++at, takeLocation) : reader.read(++at, takeSegment))) {
                return std::nullopt;
            }
            isKnown = true;
        } else {
            const auto end = outline.skipValue(at);
            const bool isWrong = isLocations && end && text.substr(at, *end - at) != "null";
            if (!end || isWrong) return std::nullopt;
            at = *end;
        }
        at = outline.skipBlanks(at);
        if (outline.holds(at, '}')) break;
        if (!outline.holds(at, ',')) return std::nullopt;
        ++at;
    }
    return isKnown ? std::optional(at + 1) : std::nullopt;
}

}  // namespace

std::optional<Instant> parseInternetDate(std::string_view text) {
    constexpr std::size_t secondsEnd = 19;
    if (text.size() <= secondsEnd || text[10] != 'T') return std::nullopt;
    const std::size_t zone = text.find_first_not_of(".0123456789", secondsEnd);
    return zone == std::string_view::npos ? std::nullopt : parseTimestamp(text);
}

std::optional<Coordinate> parsePlace(std::string_view text) {
    constexpr std::string_view scheme = "geo:", degreeSign = "\u00B0";
    if (text.starts_with(scheme)) {
        text.remove_prefix(scheme.size());
        text = text.substr(0, text.find_first_of(";?"));
    }
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    const auto degrees = [&](std::string_view part) {
        part = trimmed(part);
        if (part.ends_with(degreeSign)) part.remove_suffix(degreeSign.size());
        return parseDouble(trimmed(part));
    };
    const auto latitude = degrees(text.substr(0, comma));
    // What follows a second comma is the altitude.
    const std::string_view rest = text.substr(comma + 1);
    const auto longitude = degrees(rest.substr(0, rest.find(',')));
    if (!latitude || !longitude) return std::nullopt;
    const bool isOnGlobe = std::abs(*latitude) <= 90 && std::abs(*longitude) <= 180;
    if (!isOnGlobe) return std::nullopt;
    return Coordinate{*latitude, *longitude};
}

std::optional<std::vector<LocationRecord>> readLocationJson(std::string_view text) {
    const JsonOutline outline(text);
    Records records;
    std::size_t at = outline.skipBlanks(0);
    if (outline.holds(at, '{')) {
        const auto end = readRootObject(text, at + 1, records);
        if (!end) return std::nullopt;
        at = *end;
    } else if (outline.holds(at, '[')) {
        if (!ArrayReader(text, records).read(++at, takeSegment)) return std::nullopt;
    } else {
        return std::nullopt;
    }
    if (outline.skipBlanks(at) != text.size()) return std::nullopt;
    return records;
}

}  // namespace kelvaris
