#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <vector>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// What a photo can be labelled with, in declared order. Compares in label order (see operator<),
/// which is not the declared one.
enum class PhotoLabel : std::uint8_t {
    blur,
    dark,
    blowout,
    blank,
    artifact,
    face,
    person,
    landscape,
    street,
    architecture,
    animal,
    flora,
    food,
    night,
    action,
    text,
    vehicle,
    water,
    gem,
};

/// Quality labels flag a photo as defective; subject labels say what it shows; the gem is neither.
enum class PhotoLabelClass : std::uint8_t { subject, quality, neither };

struct PhotoLabelRow {
    PhotoLabel label;
    std::string_view rawValue;
    std::string_view displayName;
    PhotoLabelClass labelClass;
    std::string_view iconName;     ///< a symbol of the interface
    std::string_view explanation;  ///< help text shown beside the label
};

inline constexpr std::array photoLabelRows{
    PhotoLabelRow{PhotoLabel::blur, "blur", "Blur", PhotoLabelClass::quality, "drop.halffull",
                  "Image appears out of focus or has motion blur"},
    PhotoLabelRow{PhotoLabel::dark, "dark", "Dark", PhotoLabelClass::quality, "circle.bottomhalf.filled",
                  "Image is underexposed or mostly black"},
    PhotoLabelRow{PhotoLabel::blowout, "blowout", "Blowout", PhotoLabelClass::quality, "sun.max.fill",
                  "Image is overexposed with blown-out highlights"},
    PhotoLabelRow{PhotoLabel::blank, "blank", "Blank", PhotoLabelClass::quality, "rectangle.dashed",
                  "Unexposed or blank frame, such as film leader or trailer"},
    PhotoLabelRow{PhotoLabel::artifact, "artifact", "Artifact", PhotoLabelClass::quality, "scribble",
                  "Visible film defect such as scratches, light leaks, Newton's rings, or creases"},
    PhotoLabelRow{PhotoLabel::face, "face", "Face", PhotoLabelClass::subject, "face.smiling",
                  "Photo contains a recognizable face"},
    PhotoLabelRow{PhotoLabel::person, "person", "Person", PhotoLabelClass::subject, "person.fill",
                  "Photo contains a person or figure"},
    PhotoLabelRow{PhotoLabel::landscape, "landscape", "Landscape", PhotoLabelClass::subject,
                  "mountain.2.fill", "Landscape, nature, or scenic view"},
    PhotoLabelRow{PhotoLabel::street, "street", "Street", PhotoLabelClass::subject, "road.lanes",
                  "Street, city, or urban scene"},
    PhotoLabelRow{PhotoLabel::architecture, "architecture", "Architecture", PhotoLabelClass::subject,
                  "building.2.fill", "Buildings, structures, or architectural details"},
    PhotoLabelRow{PhotoLabel::animal, "animal", "Animal", PhotoLabelClass::subject, "pawprint.fill",
                  "Photo contains an animal"},
    PhotoLabelRow{PhotoLabel::flora, "flora", "Flora", PhotoLabelClass::subject, "leaf.fill",
                  "Flowers, plants, or botanical subjects"},
    PhotoLabelRow{PhotoLabel::food, "food", "Food", PhotoLabelClass::subject, "fork.knife",
                  "Photo contains food or a meal"},
    PhotoLabelRow{PhotoLabel::night, "night", "Night", PhotoLabelClass::subject, "moon.stars.fill",
                  "Taken at night or in low-light conditions"},
    PhotoLabelRow{PhotoLabel::action, "action", "Action", PhotoLabelClass::subject, "figure.run",
                  "Captures motion, sports, or dynamic activity"},
    PhotoLabelRow{PhotoLabel::text, "text", "Text", PhotoLabelClass::subject, "doc.text.fill",
                  "Photo contains visible text, signs, or writing"},
    PhotoLabelRow{PhotoLabel::vehicle, "vehicle", "Vehicle", PhotoLabelClass::subject, "car.fill",
                  "Photo contains a vehicle such as a car, train, or boat"},
    PhotoLabelRow{PhotoLabel::water, "water", "Water", PhotoLabelClass::subject, "water.waves",
                  "Ocean, lake, river, or other body of water"},
    PhotoLabelRow{PhotoLabel::gem, "gem", "Gem", PhotoLabelClass::neither, "star.hexagon.fill",
                  "A standout photo with great quality and subject matter"},
};

inline constexpr std::size_t photoLabelCount = photoLabelRows.size();

constexpr const PhotoLabelRow& row(PhotoLabel label) {
    return photoLabelRows[static_cast<std::size_t>(label)];
}

template <>
struct RawValues<PhotoLabel> {
    static constexpr std::array rows = [] {
        std::array<std::pair<PhotoLabel, std::string_view>, photoLabelCount> words{};
        for (std::size_t i = 0; i < photoLabelCount; ++i) {
            words[i] = {photoLabelRows[i].label, photoLabelRows[i].rawValue};
        }
        return words;
    }();
};

constexpr std::string_view displayName(PhotoLabel label) { return row(label).displayName; }
constexpr std::string_view iconName(PhotoLabel label) { return row(label).iconName; }
constexpr std::string_view explanation(PhotoLabel label) { return row(label).explanation; }
constexpr bool isQualityLabel(PhotoLabel label) { return row(label).labelClass == PhotoLabelClass::quality; }
constexpr bool isSubjectLabel(PhotoLabel label) { return row(label).labelClass == PhotoLabelClass::subject; }

namespace photo_label_detail {

constexpr bool sortsBefore(PhotoLabel a, PhotoLabel b) {
    const PhotoLabelRow& left = row(a);
    const PhotoLabelRow& right = row(b);
    if (left.labelClass != right.labelClass) return left.labelClass < right.labelClass;
    return left.rawValue < right.rawValue;
}

/// The place of each label, by declared order, in label order.
inline constexpr std::array ranks = [] {
    std::array<std::uint8_t, photoLabelCount> places{};
    for (const PhotoLabelRow& each : photoLabelRows) {
        for (const PhotoLabelRow& other : photoLabelRows) {
            if (sortsBefore(other.label, each.label)) ++places[static_cast<std::size_t>(each.label)];
        }
    }
    return places;
}();

/// The labels in label order.
inline constexpr std::array sorted = [] {
    std::array<PhotoLabel, photoLabelCount> labels{};
    for (const PhotoLabelRow& each : photoLabelRows) {
        labels[ranks[static_cast<std::size_t>(each.label)]] = each.label;
    }
    return labels;
}();

}  // namespace photo_label_detail

/// The place of the label in label order, from 0.
constexpr int sortRank(PhotoLabel label) {
    return photo_label_detail::ranks[static_cast<std::size_t>(label)];
}

/// Label order: subjects, then qualities, then the gem; within one class by the stored word.
constexpr bool operator<(PhotoLabel a, PhotoLabel b) { return sortRank(a) < sortRank(b); }
constexpr bool operator>(PhotoLabel a, PhotoLabel b) { return b < a; }
constexpr bool operator<=(PhotoLabel a, PhotoLabel b) { return !(b < a); }
constexpr bool operator>=(PhotoLabel a, PhotoLabel b) { return !(a < b); }

/// A set of labels that is walked in label order. Four bytes: the sorted lists that every cell of the
/// strip reads are masks of it, so there is nothing to sort and nothing to keep in step.
class PhotoLabelSet {
public:
    class Iterator {
    public:
        using value_type = PhotoLabel;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::forward_iterator_tag;
        using pointer = const PhotoLabel*;
        using reference = PhotoLabel;

        constexpr Iterator() = default;
        constexpr explicit Iterator(std::uint32_t rest) : rest_(rest) {}
        constexpr PhotoLabel operator*() const { return photo_label_detail::sorted[std::countr_zero(rest_)]; }
        constexpr Iterator& operator++() {
            rest_ &= rest_ - 1;
            return *this;
        }
        constexpr Iterator operator++(int) {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        constexpr bool operator==(const Iterator&) const = default;

    private:
        std::uint32_t rest_ = 0;
    };
    using value_type = PhotoLabel;
    using const_iterator = Iterator;

    constexpr PhotoLabelSet() = default;
    constexpr PhotoLabelSet(std::initializer_list<PhotoLabel> labels) {
        for (const PhotoLabel label : labels) insert(label);
    }

    constexpr void insert(PhotoLabel label) { bits_ |= bit(label); }
    constexpr void erase(PhotoLabel label) { bits_ &= ~bit(label); }
    constexpr bool contains(PhotoLabel label) const { return (bits_ & bit(label)) != 0; }
    constexpr bool empty() const { return bits_ == 0; }
    constexpr std::size_t size() const { return static_cast<std::size_t>(std::popcount(bits_)); }

    constexpr Iterator begin() const { return Iterator(bits_); }
    constexpr Iterator end() const { return Iterator(); }

    constexpr PhotoLabelSet operator&(PhotoLabelSet other) const { return fromBits(bits_ & other.bits_); }
    constexpr PhotoLabelSet operator|(PhotoLabelSet other) const { return fromBits(bits_ | other.bits_); }
    constexpr PhotoLabelSet operator-(PhotoLabelSet other) const { return fromBits(bits_ & ~other.bits_); }
    constexpr bool operator==(const PhotoLabelSet&) const = default;

    std::vector<PhotoLabel> toVector() const { return {begin(), end()}; }

private:
    static constexpr std::uint32_t bit(PhotoLabel label) { return std::uint32_t{1} << sortRank(label); }
    static constexpr PhotoLabelSet fromBits(std::uint32_t bits) {
        PhotoLabelSet set;
        set.bits_ = bits;
        return set;
    }

    std::uint32_t bits_ = 0;
};

namespace photo_label_detail {

constexpr std::size_t countOf(PhotoLabelClass labelClass) {
    std::size_t count = 0;
    for (const PhotoLabelRow& each : photoLabelRows) count += each.labelClass == labelClass ? 1 : 0;
    return count;
}

template <PhotoLabelClass labelClass>
constexpr auto declared() {
    std::array<PhotoLabel, countOf(labelClass)> labels{};
    std::size_t next = 0;
    for (const PhotoLabelRow& each : photoLabelRows) {
        if (each.labelClass == labelClass) labels[next++] = each.label;
    }
    return labels;
}

template <PhotoLabelClass labelClass>
constexpr PhotoLabelSet setOf() {
    PhotoLabelSet set;
    for (const PhotoLabel label : declared<labelClass>()) set.insert(label);
    return set;
}

}  // namespace photo_label_detail

/// In declared order.
inline constexpr auto qualityLabels = photo_label_detail::declared<PhotoLabelClass::quality>();
inline constexpr auto subjectLabels = photo_label_detail::declared<PhotoLabelClass::subject>();

inline constexpr PhotoLabelSet qualityLabelSet = photo_label_detail::setOf<PhotoLabelClass::quality>();
inline constexpr PhotoLabelSet subjectLabelSet = photo_label_detail::setOf<PhotoLabelClass::subject>();

}  // namespace kelvaris
