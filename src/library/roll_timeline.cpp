#include "library/roll_timeline.h"

#include "metadata/takeout_service.h"

namespace kelvaris {
namespace {

using Outcome = Result<LocationRecords, TakeoutError>;

bool takeRecords(FilmRoll& roll, Outcome& outcome) {
    if (!outcome) {
        roll.setStatusNotification(StatusNotification::error("Takeout error: " + outcome.error().message));
        return false;
    }
    LocationService& service = roll.locationService();
    service.setRecords(std::move(outcome).value());
    roll.setStatusNotification(StatusNotification::locationsLoaded(
        static_cast<int>(service.records().size()),
        service.dateRangeDescription(roll.services().language).value_or("unknown range")));
    return true;
}

}  // namespace

void loadTimeline(FilmRoll& roll) {
    const PickerRequest request{.message = "Select Google Takeout Records.json",
                                .choosesFiles = true,
                                .extensions = {"json", "gpx", "kml"}};
    roll.services().shell.choose(request, [weak = roll.weak_from_this()](const std::vector<Path>& chosen) {
        const RollPointer living = weak.lock();
        if (living && !chosen.empty()) loadTimeline(*living, chosen.front(), nullptr);
    });
}

void loadTimeline(FilmRoll& roll, const Path& file, std::function<void(bool)> completion) {
    roll.setStatusNotification(StatusNotification::locationsLoading());
    const LibraryServices& services = roll.services();
    services.userQueue.add([weak = roll.weak_from_this(), file, completion, &services] {
        // Shared, since a task is copied and millions of records are not.
        const auto outcome = std::make_shared<Outcome>(TakeoutService(services.files).parse(file));
        services.main.post([weak, outcome, completion] {
            const RollPointer living = weak.lock();
            if (!living) return;
            const bool taken = takeRecords(*living, *outcome);
            if (completion) completion(taken);
        });
    });
}

}  // namespace kelvaris
