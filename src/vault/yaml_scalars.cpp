#include "vault/yaml_scalars.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

namespace kelvaris::yaml {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Walks a text of digits and marks. Every take moves on only when it succeeds.
class Cursor {
public:
    explicit Cursor(std::string_view text) : rest_(text) {}

    bool atEnd() const { return rest_.empty(); }
    char front() const { return rest_.empty() ? '\0' : rest_.front(); }
    std::string_view rest() const { return rest_; }

    bool take(char c) {
        if (front() != c || rest_.empty()) return false;
        rest_.remove_prefix(1);
        return true;
    }
    bool takeAny(std::string_view choices) {
        if (rest_.empty() || choices.find(rest_.front()) == std::string_view::npos) return false;
        rest_.remove_prefix(1);
        return true;
    }
    template <class Accepts>
    std::size_t takeWhile(Accepts accepts, std::size_t most = std::string_view::npos) {
        std::size_t count = 0;
        while (count < rest_.size() && count < most && accepts(rest_[count])) ++count;
        rest_.remove_prefix(count);
        return count;
    }
    bool takeDigits(std::size_t least, std::size_t most) {
        const Cursor before = *this;
        if (takeWhile(isDigit, most) >= least) return true;
        *this = before;
        return false;
    }

private:
    std::string_view rest_;
};

std::string withoutUnderscores(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    std::copy_if(text.begin(), text.end(), std::back_inserter(plain), [](char c) { return c != '_'; });
    return plain;
}

std::optional<std::uint64_t> magnitude(std::string_view digits, int base) {
    const std::string plain = withoutUnderscores(digits);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value, base);
    if (error != std::errc() || end != plain.data() + plain.size()) return std::nullopt;
    return value;
}

std::optional<std::int64_t> withSign(std::optional<std::uint64_t> size, bool negative) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!size || *size > most + (negative ? 1 : 0)) return std::nullopt;
    return negative ? static_cast<std::int64_t>(~*size + 1) : static_cast<std::int64_t>(*size);
}

/// The places of a base-60 number behind the first: each ":" and one or two digits below 60.
std::optional<std::uint64_t> sexagesimal(std::uint64_t value, Cursor& cursor) {
    bool any = false;
    while (cursor.take(':')) {
        const std::string_view rest = cursor.rest();
        const std::size_t width = cursor.takeWhile(isDigit, 2);
        if (width == 0 || (width == 2 && rest[0] > '5')) return std::nullopt;
        const std::uint64_t place = *magnitude(rest.substr(0, width), 10);
        if (value > (std::numeric_limits<std::uint64_t>::max() - place) / 60) return std::nullopt;
        value = value * 60 + place;
        any = true;
    }
    if (!any) return std::nullopt;
    return value;
}

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), text) != words.end();
}

/// The shape of an integer, told apart from its value, which may be too large.
bool hasIntegerShape(std::string_view text) {
    Cursor cursor(text);
    cursor.takeAny("+-");
    const auto digitsOf = [&](std::string_view digits) {
        return cursor.takeWhile(
                   [&](char c) { return c == '_' || digits.find(c) != std::string_view::npos; }) > 0 &&
               cursor.atEnd();
    };
    if (cursor.take('0')) {
        if (cursor.atEnd()) return true;
        if (cursor.take('b')) return digitsOf("01");
        if (cursor.take('x')) return digitsOf("0123456789abcdefABCDEF");
        return digitsOf("01234567");
    }
    if (!isDigit(cursor.front())) return false;
    cursor.takeWhile([](char c) { return isDigit(c) || c == '_'; });
    while (cursor.take(':')) {
        const bool high = cursor.front() >= '6';
        const std::size_t width = cursor.takeWhile(isDigit, 2);
        if (width == 0 || (width == 2 && high)) return false;
    }
    return cursor.atEnd();
}

bool isInfinityOrNan(std::string_view text) {
    if (isOneOf(text, {".nan", ".NaN", ".NAN"})) return true;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) text.remove_prefix(1);
    return isOneOf(text, {".inf", ".Inf", ".INF"});
}

bool isDigitOrUnderscore(char c) { return isDigit(c) || c == '_'; }

/// digits[.digits][e[+-]digits] with a digit before or behind the full stop.
bool hasDecimalShape(std::string_view text) {
    Cursor cursor(text);
    cursor.takeAny("+-");
    const bool whole = isDigit(cursor.front()) && cursor.takeWhile(isDigitOrUnderscore) > 0;
    bool fraction = false;
    if (cursor.take('.')) {
        const bool digitFollows = isDigit(cursor.front());
        fraction = cursor.takeWhile(isDigitOrUnderscore) > 0 && digitFollows;
    }
    if (!whole && !fraction) return false;
    if (cursor.takeAny("eE")) {
        cursor.takeAny("+-");
        if (!cursor.takeDigits(1, std::string_view::npos)) return false;
    }
    return cursor.atEnd();
}

bool hasSexagesimalFractionShape(std::string_view text) {
    Cursor cursor(text);
    cursor.takeAny("+-");
    if (!isDigit(cursor.front())) return false;
    cursor.takeWhile(isDigitOrUnderscore);
    if (cursor.front() != ':') return false;
    while (cursor.take(':')) {
        const bool high = cursor.front() >= '6';
        const std::size_t width = cursor.takeWhile(isDigit, 2);
        if (width == 0 || (width == 2 && high)) return false;
    }
    if (!cursor.take('.')) return false;
    cursor.takeWhile(isDigitOrUnderscore);
    return cursor.atEnd();
}

template <class Number>
std::optional<Number> decimal(std::string_view text) {
    std::string shortened;
    if (text.find('_') != std::string_view::npos) text = shortened = withoutUnderscores(text);
    if (text.starts_with('+')) text.remove_prefix(1);
    const char* const end = text.data() + text.size();
    Number value{};
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (stop != end) return std::nullopt;
    if (error == std::errc()) return value;
    // Out of range at either end: a vanishing value is a zero, one that is too large is no value.
    const auto mark = text.find_first_of("eE");
    const auto firstPlace = text.find_first_not_of("-0");
    const bool vanishes = mark != std::string_view::npos ? text[mark + 1] == '-' : text[firstPlace] == '.';
    if (!vanishes) return std::nullopt;
    return Number{0};
}

template <class Number>
std::optional<Number> parseReal(std::string_view text) {
    if (isInfinityOrNan(text)) {
        if (text.back() == 'n' || text.back() == 'N') return std::numeric_limits<Number>::quiet_NaN();
        const Number infinity = std::numeric_limits<Number>::infinity();
        return text.front() == '-' ? -infinity : infinity;
    }
    if (hasIntegerShape(text)) {
        if (const auto integer = parseInteger(text)) return static_cast<Number>(*integer);
    }
    if (hasDecimalShape(text)) return decimal<Number>(text);
    if (!hasSexagesimalFractionShape(text)) return std::nullopt;
    const bool negative = text.front() == '-';
    if (text.front() == '-' || text.front() == '+') text.remove_prefix(1);
    const auto point = text.find('.');
    double value = 0;
    std::string_view places = text.substr(0, point);
    while (true) {
        const auto colon = places.find(':');
        const auto place = decimal<double>(places.substr(0, colon));
        if (!place) return std::nullopt;
        value = value * 60 + *place;
        if (colon == std::string_view::npos) break;
        places.remove_prefix(colon + 1);
    }
    std::string fraction = "0" + withoutUnderscores(text.substr(point));
    if (fraction.back() == '.') fraction += '0';
    value += decimal<double>(fraction).value_or(0);
    return static_cast<Number>(negative ? -value : value);
}

/// Only the shape; whether the calendar knows the day is another question.
bool hasTimestampShape(std::string_view text) {
    Cursor cursor(text);
    if (!cursor.takeDigits(4, 4) || !cursor.take('-')) return false;
    if (text.size() == 10) {
        Cursor date = cursor;
        if (date.takeDigits(2, 2) && date.take('-') && date.takeDigits(2, 2) && date.atEnd()) return true;
    }
    if (!cursor.takeDigits(1, 2) || !cursor.take('-') || !cursor.takeDigits(1, 2)) return false;
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    if (!cursor.takeAny("Tt") && cursor.takeWhile(isBlank) == 0) return false;
    if (!cursor.takeDigits(1, 2) || !cursor.take(':') || !cursor.takeDigits(2, 2) || !cursor.take(':') ||
        !cursor.takeDigits(2, 2)) {
        return false;
    }
    if (cursor.take('.')) cursor.takeWhile(isDigit);
    if (cursor.atEnd()) return true;
    cursor.takeWhile(isBlank);
    if (cursor.take('Z')) return cursor.atEnd();
    if (!cursor.takeAny("+-") || !cursor.takeDigits(1, 2)) return false;
    if (cursor.atEnd()) return true;
    return cursor.take(':') && cursor.takeDigits(2, 2) && cursor.atEnd();
}

std::string numberText(double value, int fullDigits, int writtenDigits) {
    if (std::isnan(value)) return ".nan";
    if (std::isinf(value)) return value < 0 ? "-.inf" : ".inf";
    std::array<char, 64> buffer;
    const auto text = [&](std::chars_format format, int precision) {
        const auto [end, error] =
            std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format, precision);
        return std::string_view(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    };
    const std::string_view full = text(std::chars_format::general, fullDigits);
    const std::string_view lastFive = full.substr(full.size() - std::min<std::size_t>(full.size(), 5));
    if (lastFive.find('e') != std::string_view::npos) return std::string(full);

    const std::string_view scientific = text(std::chars_format::scientific, writtenDigits - 1);
    const auto mark = scientific.find('e');
    std::string_view mantissa = scientific.substr(0, mark);
    mantissa = mantissa.substr(0, mantissa.find_last_not_of('0') + 1);
    if (mantissa.back() == '.') mantissa.remove_suffix(1);
    std::string_view exponent = scientific.substr(mark + 2);
    exponent.remove_prefix(std::min(exponent.find_first_not_of('0'), exponent.size() - 1));
    std::string written(mantissa);
    written += 'e';
    written += scientific[mark + 1];
    written += exponent;
    return written;
}

}  // namespace

bool isNullWord(std::string_view text) { return isOneOf(text, {"", "~", "null", "Null", "NULL"}); }

std::optional<bool> parseBoolean(std::string_view text) {
    if (isOneOf(text, {"true", "True", "TRUE", "yes", "Yes", "YES", "on", "On", "ON"})) return true;
    if (isOneOf(text, {"false", "False", "FALSE", "no", "No", "NO", "off", "Off", "OFF"})) return false;
    return std::nullopt;
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    if (!hasIntegerShape(text)) return std::nullopt;
    const bool negative = text.front() == '-';
    if (text.front() == '-' || text.front() == '+') text.remove_prefix(1);
    if (text.size() > 1 && text[0] == '0') {
        if (text[1] == 'b') return withSign(magnitude(text.substr(2), 2), negative);
        if (text[1] == 'x') return withSign(magnitude(text.substr(2), 16), negative);
        return withSign(magnitude(text, 8), negative);
    }
    const auto colon = text.find(':');
    const auto first = magnitude(text.substr(0, colon), 10);
    if (!first || colon == std::string_view::npos) return withSign(first, negative);
    Cursor places(text.substr(colon));
    return withSign(sexagesimal(*first, places), negative);
}

std::optional<double> parseDouble(std::string_view text) { return parseReal<double>(text); }

std::optional<float> parseFloat(std::string_view text) { return parseReal<float>(text); }

std::optional<Instant> parseTimestamp(std::string_view text) {
    const auto instant = hasTimestampShape(text) ? kelvaris::parseTimestamp(text) : std::nullopt;
    // A zone may lead out of the years that can be written again.
    if (!instant || !isStorable(*instant)) return std::nullopt;
    return instant;
}

bool resolvesAsOtherThanString(std::string_view text) {
    if (text.empty()) return true;
    const char first = text.front();
    if (isDigit(first) || first == '.' || first == '+' || first == '-') {
        return hasIntegerShape(text) || hasDecimalShape(text) || isInfinityOrNan(text) ||
               hasSexagesimalFractionShape(text) || hasTimestampShape(text);
    }
    // "<<" and "=" are the merge and value keys.
    return isNullWord(text) || parseBoolean(text) || text == "<<" || text == "=";
}

std::string doubleText(double value) { return numberText(value, 17, 15); }

std::string floatText(float value) { return numberText(value, 9, 7); }

}  // namespace kelvaris::yaml
