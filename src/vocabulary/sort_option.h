#pragma once

#include <cstdint>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// The sort of photos inside a roll.
enum class SortOption : std::uint8_t { filename, captureDate, fileModificationDate, peopleCount, custom };

template <>
struct RawValues<SortOption> {
    static constexpr std::array rows{
        std::pair{SortOption::filename, std::string_view("filename")},
        std::pair{SortOption::captureDate, std::string_view("captureDate")},
        std::pair{SortOption::fileModificationDate, std::string_view("fileModificationDate")},
        std::pair{SortOption::peopleCount, std::string_view("peopleCount")},
        std::pair{SortOption::custom, std::string_view("custom")},
    };
};

/// The sort of rolls in the sidebar.
enum class RollSortOption : std::uint8_t { name, dateRange, photoCount, camera, filmStock, dateOpened };

template <>
struct RawValues<RollSortOption> {
    static constexpr std::array rows{
        std::pair{RollSortOption::name, std::string_view("name")},
        std::pair{RollSortOption::dateRange, std::string_view("dateRange")},
        std::pair{RollSortOption::photoCount, std::string_view("photoCount")},
        std::pair{RollSortOption::camera, std::string_view("camera")},
        std::pair{RollSortOption::filmStock, std::string_view("filmStock")},
        std::pair{RollSortOption::dateOpened, std::string_view("dateImported")},  // the word of old settings
    };
};

/// What both sort vocabularies offer to the one control that shows them.
constexpr std::string_view displayName(SortOption option) {
    switch (option) {
        case SortOption::filename:
            return "Filename";
        case SortOption::captureDate:
            return "Created";
        case SortOption::fileModificationDate:
            return "Updated";
        case SortOption::peopleCount:
            return "People";
        case SortOption::custom:
            return "Manual";
    }
    return {};
}

constexpr std::string_view displayName(RollSortOption option) {
    switch (option) {
        case RollSortOption::name:
            return "Name";
        case RollSortOption::dateRange:
            return "Dates";
        case RollSortOption::photoCount:
            return "Count";
        case RollSortOption::camera:
            return "Camera";
        case RollSortOption::filmStock:
            return "Film";
        case RollSortOption::dateOpened:
            return "Opened";
    }
    return {};
}

/// Whether the order is made by hand, so that a direction means nothing.
constexpr bool isManual(SortOption option) { return option == SortOption::custom; }
constexpr bool isManual(RollSortOption) { return false; }

}  // namespace kelvaris
