#include "metadata/takeout_service.h"

#include <algorithm>

#include "metadata/location_json.h"
#include "metadata/location_tracks.h"

namespace kelvaris {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

}  // namespace

Result<LocationRecords, TakeoutError> parseLocationHistory(ByteView bytes) {
    std::string_view text = asText(bytes);
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    const bool isMarkup = first != std::string_view::npos && text[first] == '<';
    auto records = isMarkup ? readLocationTracks(text) : readLocationJson(text);
    if (!records) {
        return Unexpected(TakeoutError{TakeoutError::Code::invalidFormat,
                                       "Not a valid Google Takeout location history file"});
    }
    if (records->empty()) {
        return Unexpected(TakeoutError{TakeoutError::Code::noLocationData, "No location data found"});
    }
    const auto isEarlier = [](const LocationRecord& a, const LocationRecord& b) {
        return a.timestamp < b.timestamp;
    };
    // Exports are nearly always in order already, and a stable sort takes half the memory again.
    if (!std::ranges::is_sorted(*records, isEarlier)) std::ranges::stable_sort(*records, isEarlier);
    return std::move(*records);
}

Result<LocationRecords, TakeoutError> TakeoutService::parse(const Path& path) const {
    const auto file = files_.map(path);
    if (!file) return Unexpected(TakeoutError{TakeoutError::Code::unreadable, file.error().message});
    return parseLocationHistory((*file)->bytes());
}

}  // namespace kelvaris
