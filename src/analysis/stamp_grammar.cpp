#include "analysis/stamp_grammar.h"

#include <algorithm>
#include <array>
#include <vector>

namespace kelvaris {

namespace {

constexpr std::array<std::string_view, 12> monthNames = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                         "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

struct Word {
    int value = 0;
    std::size_t digits = 0;  ///< 0 for the name of a month
    bool apostrophe = false;
    char before = 0;  ///< the mark between this word and the one before
};

bool isDigit(char character) { return character >= '0' && character <= '9'; }
bool isMark(char character) {
    return character == ' ' || character == '.' || character == '-' || character == '/';
}

/// The words of the line, or nothing when it holds anything else.
std::optional<std::vector<Word>> words(std::string_view text) {
    std::vector<Word> result;
    char mark = 0;
    while (!text.empty()) {
        if (isMark(text.front())) {
            // Blanks may surround another mark.
            if (mark == 0 || mark == ' ') {
                mark = text.front();
            } else if (text.front() != ' ') {
                return std::nullopt;
            }
            text.remove_prefix(1);
            continue;
        }
        Word word{.before = mark};
        mark = 0;
        if (text.front() == '\'') {
            word.apostrophe = true;
            text.remove_prefix(1);
        }
        const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
        word.digits = static_cast<std::size_t>(end - text.begin());
        if (word.digits > 0) {
            if (word.digits > 4) return std::nullopt;
            for (const char digit : text.substr(0, word.digits))
                word.value = (word.value * 10) + (digit - '0');
            text.remove_prefix(word.digits);
        } else {
            const auto month = std::find(monthNames.begin(), monthNames.end(), text.substr(0, 3));
            if (month == monthNames.end() || word.apostrophe) return std::nullopt;
            word.value = static_cast<int>(month - monthNames.begin()) + 1;
            text.remove_prefix(3);
        }
        if (!text.empty() && !isMark(text.front())) return std::nullopt;
        if (!result.empty() && word.before == 0) return std::nullopt;
        result.push_back(word);
    }
    return result;
}

std::optional<int> fullYear(const Word& word, int latestYear) {
    int year = word.value;
    if (word.digits == 2) {
        year += 1900;
        if (year + 100 <= latestYear) year += 100;
    } else if (word.digits != 4) {
        return std::nullopt;
    }
    if (year < earliestStampYear || year > latestYear) return std::nullopt;
    return year;
}

std::optional<CivilTime> date(const Word& year, int month, const Word* day, int latestYear) {
    const auto full = fullYear(year, latestYear);
    if (!full || (day != nullptr && day->digits > 2)) return std::nullopt;
    const CivilTime result{.year = *full, .month = month, .day = day != nullptr ? day->value : 1};
    return result.isValid() ? std::optional(result) : std::nullopt;
}

/// Month before day unless only the other order makes sense.
std::optional<CivilTime> dateWithYearLast(const Word& first, const Word& second, const Word& year,
                                          int latestYear) {
    if (first.digits > 2 || second.digits > 2) return std::nullopt;
    return first.value > 12 ? date(year, second.value, &first, latestYear)
                            : date(year, first.value, &second, latestYear);
}

}  // namespace

std::optional<CivilTime> parseStampDate(std::string_view text, int latestYear) {
    const auto parts = words(text);
    if (!parts || parts->size() < 2 || parts->size() > 3) return std::nullopt;
    const Word& first = parts->front();
    const Word& last = parts->back();
    if (parts->size() == 2) {
        const bool monthAndYear = first.digits == 0 && last.digits == 4 && last.before == ' ';
        return monthAndYear ? date(last, first.value, nullptr, latestYear) : std::nullopt;
    }
    const Word& middle = (*parts)[1];
    if (first.digits == 0 || middle.digits == 0) {
        const Word& name = first.digits == 0 ? first : middle;
        const Word& day = first.digits == 0 ? middle : first;
        if (day.digits == 0 || last.digits != 4 || middle.before != ' ' || last.before != ' ')
            return std::nullopt;
        return date(last, name.value, &day, latestYear);
    }
    if (last.digits == 0 || middle.before != last.before || middle.apostrophe) return std::nullopt;
    if (last.apostrophe) {
        return first.apostrophe ? std::nullopt : dateWithYearLast(first, middle, last, latestYear);
    }
    if (middle.digits > 2) return std::nullopt;
    if (first.digits == 4 || middle.before != '/') {
        return first.digits == 2 || first.digits == 4 ? date(first, middle.value, &last, latestYear)
                                                      : std::nullopt;
    }
    return dateWithYearLast(first, middle, last, latestYear);
}

std::string withDigitsPutRight(std::string_view text) {
    constexpr std::string_view taken = "OoQDIl|iZSGB";
    constexpr std::string_view meant = "000011112568";
    static_assert(taken.size() == meant.size());
    std::string result(text);
    for (std::size_t begin = 0; begin < result.size();) {
        const std::size_t end = std::min(result.find_first_of(" .-/", begin), result.size());
        const auto word = std::string_view(result).substr(begin, end - begin);
        if (std::any_of(word.begin(), word.end(), isDigit)) {
            for (std::size_t index = begin; index < end; ++index) {
                if (const auto found = taken.find(result[index]); found != std::string_view::npos) {
                    result[index] = meant[found];
                }
            }
        }
        begin = end + 1;
    }
    return result;
}

}  // namespace kelvaris
