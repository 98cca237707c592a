#include "library/roll_dates.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/text.h"
#include "library/roll_act.h"
#include "library/roll_loading.h"
#include "preferences/user_preferences.h"

namespace kelvaris {
namespace {

constexpr Spring assignmentSpring{.response = 0.25, .dampingFraction = 0.9, .blendDuration = 0.0};
constexpr double secondsPerHour = 3600.0;

/// Added in ticks, so that the base keeps its full precision; an absurd interval ends at the last date
/// there is.
Instant later(Instant base, double seconds) {
    const std::int64_t start = base.sinceEpoch().count();
    const std::int64_t added = Instant::fromSeconds(seconds).sinceEpoch().count();
    std::int64_t sum = 0;
    if (__builtin_add_overflow(start, added, &sum)) return Instant::fromSeconds(seconds);
    return Instant(Ticks(sum));
}

void writeDate(FilmRoll& roll, PhotoItem& photo, Instant date) {
    photo.setCaptureDate(date);
    photo.setDateSource(MetadataSource::roll);
    if (roll.locationService().records().empty()) return;
    const auto place = roll.locationService().location(date);
    if (!place) {
        // A place that an earlier assignment found belongs to another date.
        if (photo.locationSource() == MetadataSource::roll) photo.clearLocation();
        return;
    }
    photo.setLatitude(place->latitude);
    photo.setLongitude(place->longitude);
    photo.setLocationSource(MetadataSource::roll);
    photo.setPlaceName(std::nullopt);
}

std::string assignedMessage(const FilmRoll& roll, const PhotoList& photos) {
    std::string text =
        "Dates assigned starting " + roll.services().language.mediumDateShortTime(roll.baseDate());
    if (roll.locationService().records().empty()) return text;
    const auto located = std::count_if(photos.begin(), photos.end(), [](const PhotoPointer& photo) {
        return photo->locationSource() == MetadataSource::roll;
    });
    if (located == 0) return text + " (no photos in timeline range)";
    return text + " (" + std::to_string(located) + "/" + std::to_string(photos.size()) + " located)";
}

void finishAssignment(FilmRoll& roll, const PhotoList& photos) {
    roll.setStatusNotification(StatusNotification::assigned(assignedMessage(roll, photos)));
    roll.setWorkflowState(WorkflowState::metadataAssigned);
    roll.markExportDirty();
    roll.services().play(Sound::assignDates);
}

}  // namespace

MetadataOverwriteSummary dateOverwriteSummary(const FilmRoll& roll) {
    MetadataOverwriteSummary summary;
    for (const PhotoPointer& photo : roll.photos()) {
        if (!photo->captureDate()) continue;
        if (!photo->dateSource()) {
            ++summary.other;
            continue;
        }
        switch (*photo->dateSource()) {
            case MetadataSource::exif:
                ++summary.exif;
                break;
            case MetadataSource::photo:
                ++summary.photo;
                break;
            case MetadataSource::roll:
                ++summary.roll;
                break;
            case MetadataSource::autoDetect:
                ++summary.other;
                break;
        }
    }
    return summary;
}

std::string MetadataOverwriteSummary::warningMessage() const {
    const std::pair<int, const char*> rows[] = {
        {exif, " with original EXIF dates"},
        {photo, " with manually set dates"},
        {other, " with existing dates"},
    };
    std::vector<std::string> parts;
    for (const auto& [count, words] : rows) {
        if (count > 0) parts.push_back(countOf(count, "photo") + words);
    }
    if (parts.empty()) return {};
    if (parts.size() > 1) parts.back().insert(0, "and ");
    return "This will replace dates on " + joined(parts, parts.size() == 3 ? ", " : " ") + ".";
}

bool hasDatesAtRisk(const FilmRoll& roll) {
    return std::ranges::any_of(roll.photos(), [](const PhotoPointer& photo) {
        return photo->captureDate() && photo->dateSource() && photo->dateSource() != MetadataSource::roll;
    });
}

bool canAssignDates(const FilmRoll& roll, Instant start, double intervalSeconds) {
    if (!std::isfinite(intervalSeconds) || intervalSeconds < 0) return false;
    const std::size_t steps = roll.photos().empty() ? 0 : roll.photos().size() - 1;
    return isStorable(start) && isStorable(later(start, intervalSeconds * static_cast<double>(steps)));
}

bool assignDates(FilmRoll& roll, std::optional<double> intervalSeconds, std::function<void()> completion,
                 UndoStack* undoStack) {
    const LibraryServices& services = roll.services();
    const double interval = intervalSeconds.value_or(services.preferences.dateIntervalSeconds());
    if (!canAssignDates(roll, roll.baseDate(), interval)) {
        roll.setStatusNotification(StatusNotification::error("The dates would leave the years 0 to 9999"));
        return false;
    }
    roll.locationService().setMaxGap(services.preferences.locationMaxGapHours() * secondsPerHour);

    const auto act = std::make_shared<const RollAct>(roll);
    const std::weak_ptr<FilmRoll> weak = roll.weak_from_this();
    const PhotoList photos = roll.photos();
    const auto dateOf = [base = roll.baseDate(), interval](std::size_t i) {
        return later(base, interval * static_cast<double>(i));
    };
    const std::size_t staggered = std::min<std::size_t>(photos.size(), staggeredPhotoCount);
    for (std::size_t i = 0; i < staggered; ++i) {
        services.main.postAfter(i * staggerStep, [weak, photo = photos[i], date = dateOf(i)] {
            const RollPointer living = weak.lock();
            if (!living) return;
            living->services().animate(assignmentSpring, [&] { writeDate(*living, *photo, date); });
        });
    }
    for (std::size_t i = staggered; i < photos.size(); ++i) writeDate(roll, *photos[i], dateOf(i));

    services.main.postAfter(staggered * staggerStep,
                            [weak, photos, act, undoStack, completion = std::move(completion)] {
                                const RollPointer living = weak.lock();
                                if (!living) return;
                                finishAssignment(*living, photos);
                                act->end(undoStack, "Assign Dates");
                                if (completion) completion();
                            });
    return true;
}

}  // namespace kelvaris
