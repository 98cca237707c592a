// What a user does to a roll and its photos.

#include <algorithm>
#include <array>

#include "library/roll_act.h"
#include "library/roll_dates.h"
#include "library/roll_editing.h"
#include "library/roll_selection.h"
#include "random_life.h"

namespace kelvaris::testing {

using namespace std::chrono_literals;

namespace {

constexpr auto staggerTime = 1s;                      // long enough for the dates of one roll to be dealt
constexpr auto locationGap = std::chrono::hours(24);  // as preferences have it from the start

PhotoPointer photoOf(const FilmRoll& roll, std::size_t number) {
    return roll.photos().empty() ? nullptr : roll.photos()[number % roll.photos().size()];
}

std::vector<std::string> shownNames(const FilmRoll& roll) {
    std::vector<std::string> names;
    for (const PhotoPointer& photo : roll.photos()) names.push_back(photo->filename());
    return names;
}

}  // namespace

// --- Photos --------------------------------------------------------------------------------------------

void RandomLife::label() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    const PhotoPointer photo = roll ? photoOf(*roll, random_()) : nullptr;
    if (!photo) return;
    constexpr std::array labels{PhotoLabel::gem, PhotoLabel::street, PhotoLabel::water, PhotoLabel::blur};
    const PhotoLabel label = labels[below(labels.size())];
    const bool isOn = chance(70);
    say("{}, {}: label {}{}", nameOf(*known), photo->filename(), isOn ? '+' : '-', rawValue(label));
    edit(*known, [&] {
        photo->setManualLabel(label, isOn, &app().undoStack(), [weak = std::weak_ptr(roll), photo] {
            if (const auto owner = weak.lock()) showPhoto(*owner, photo);
        });
        known->now.photos[photo->filename()].labels[std::string(rawValue(label))] = isOn;
    });
}

void RandomLife::turn() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    const PhotoPointer photo = roll ? photoOf(*roll, random_()) : nullptr;
    if (!photo) return;
    const bool isClockwise = chance(60);
    say("{}, {}: turn {}", nameOf(*known), photo->filename(),
        isClockwise ? "clockwise" : "counter-clockwise");
    edit(*known, [&] {
        selectPhoto(*roll, photo);
        (isClockwise ? rotateSelectedClockwise : rotateSelectedCounterClockwise)(*roll, &app().undoStack());
        PhotoRecord& record = known->now.photos[photo->filename()];
        record.turn = isClockwise ? rotatedClockwise(record.turn) : rotatedCounterClockwise(record.turn);
        record.turnSource = MetadataSource::photo;
    });
}

void RandomLife::takeOut() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    const PhotoPointer photo = roll ? photoOf(*roll, random_()) : nullptr;
    if (!photo) return;
    say("{}: take {} out", nameOf(*known), photo->filename());
    edit(*known, [&] {
        removePhoto(*roll, photo, &app().undoStack());
        known->now.photos[photo->filename()].isOut = true;
        std::erase(known->now.order, photo->filename());
    });
}

void RandomLife::bringBack() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll || roll->removedPhotos().empty()) return;
    const PhotoPointer photo = roll->removedPhotos()[below(roll->removedPhotos().size())];
    say("{}: bring {} back", nameOf(*known), photo->filename());
    edit(*known, [&] {
        const std::vector<std::string> others = known->now.order;
        bringBackPhoto(*roll, photo, &app().undoStack());
        known->now.photos[photo->filename()].isOut = false;
        settleOrder(*known, *roll);
        // Where it goes in an order made by hand is the program's affair; the others stay.
        std::vector<std::string> left = known->now.order;
        std::erase(left, photo->filename());
        if (known->now.tellsOrder() && left != others)
            fail("bringing a photo back changed the order of the others");
    });
}

void RandomLife::analyze() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    auto& runs = world_.pipeline().runs;
    if (!roll) return;
    for (std::size_t number = runs.size(); number-- > 0;) {
        const ScriptedPipeline::Run run = runs[number];
        const bool isOfRoll =
            !run.photos.empty() && std::ranges::find(roll->photos(), run.photos[0]) != roll->photos().end();
        if (!isOfRoll || endedRuns_.contains(number)) continue;
        const Disk& disk = disks_[known->disk];
        std::string words;
        for (const PhotoPointer& photo : run.photos) {
            const std::string name = photo->filename();
            if (!disk.isThere() || disk.hidden.contains(name) || chance(40)) continue;
            AnalysisResult result;
            result.peopleCount = static_cast<int>(below(5));
            result.labels = {PhotoLabel::street};
            if (chance(20)) result.suggestedRotation = RotationAngle::clockwise180;
            if (chance(20))
                result.detectedTimestamp = Instant::fromSeconds(1e9 + static_cast<double>(below(1000)));
            run.callbacks.onPhotoAnalyzed(photo, result);
            PhotoRecord& record = known->now.photos[name];
            record.isAnalyzed = true;
            record.people = result.peopleCount;
            if (result.suggestedRotation && record.turnSource != MetadataSource::photo) {
                record.turn = *result.suggestedRotation;
                record.turnSource = MetadataSource::autoDetect;
            }
            if (result.detectedTimestamp && !record.date && !record.dateSource) {
                record.date = result.detectedTimestamp;
                record.dateSource = MetadataSource::autoDetect;
            }
            words += ' ' + name;
        }
        const bool ends = chance(60);
        say("{}: analysis has results for{}{}", nameOf(*known), words.empty() ? " nothing" : words,
            ends ? " and ends" : "");
        if (ends) {
            endedRuns_.insert(number);
            run.end();
        }
        world_.machine.settle();
        return noteVersion(*known);
    }
}

// --- The roll ------------------------------------------------------------------------------------------

void RandomLife::setData() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll) return;
    const std::string text = chance(15) ? std::string() : fmt::format("text {}", below(1000));
    RollRecord& now = known->now;
    edit(*known, [&] {
        const RollAct act(*roll);
        switch (below(6)) {
            case 0:
                roll->setCameraMake(now.cameraMake = text);
                break;
            case 1:
                roll->setCameraModel(now.cameraModel = text);
                break;
            case 2:
                roll->setFilmName(now.filmName = text);
                break;
            case 3:
                roll->setFilmISO(now.filmISO = text.empty()
                                                   ? std::nullopt
                                                   : std::optional(static_cast<int>(25 + below(800))));
                break;
            case 4:
                roll->setCameraFormat(now.format = chance(50) ? FilmFormat::oneTwenty : FilmFormat::sixBySix);
                break;
            default:
                roll->setNotes(now.notes = text);
        }
        roll->markExportDirty();
        act.end(&app().undoStack(), "Edit Roll");
    });
    say("{}: set {}", nameOf(*known),
        difference(known->versions.size() > 1 ? known->versions[known->versions.size() - 2] : now, now));
}

void RandomLife::assign() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll || roll->photos().empty()) return;
    const Instant start = Instant::fromSeconds(1.7e9 + static_cast<double>(below(1000000)));
    const auto interval = std::chrono::hours(below(20));
    std::vector<LocationRecord> history;
    if (chance(60)) history = {{start + std::chrono::hours(below(40)), static_cast<double>(below(80)), -5.5}};
    say("{}: assign dates from {} every {} h, {}", nameOf(*known), timestampText(start), interval.count(),
        history.empty() ? "no places" : "places around " + timestampText(history[0].timestamp));
    edit(*known, [&] {
        const RollAct act(*roll);
        roll->locationService().setRecords(history);
        roll->setBaseDate(start);
        assignDates(*roll, std::chrono::duration<double>(interval).count(), nullptr);
        RollRecord& now = known->now;
        now.baseDate = start;
        now.state = WorkflowState::metadataAssigned;
        Instant date = start;
        for (const std::string& name : shownNames(*roll)) {
            PhotoRecord& photo = now.photos[name];
            photo.date = date;
            photo.dateSource = MetadataSource::roll;
            const bool isCovered = !history.empty() && date <= history[0].timestamp + locationGap &&
                                   date >= history[0].timestamp - locationGap;
            if (isCovered) {
                photo.latitude = history[0].latitude;
                photo.longitude = history[0].longitude;
                photo.placeSource = MetadataSource::roll;
            } else if (!history.empty() && photo.placeSource == MetadataSource::roll) {
                photo.latitude = photo.longitude = std::nullopt;
                photo.placeSource.reset();
            }
            date = date + interval;
        }
        world_.machine.advance(staggerTime);
        act.end(&app().undoStack(), "Assign Dates");
    });
}

void RandomLife::sort() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll) return;
    constexpr std::array options{SortOption::filename, SortOption::filename, SortOption::captureDate,
                                 SortOption::peopleCount, SortOption::custom};
    const SortOption option = options[below(options.size())];
    const bool isAscending = chance(50);
    say("{}: sort by {}, {}", nameOf(*known), rawValue(option), isAscending ? "ascending" : "descending");
    edit(*known, [&] {
        const RollAct act(*roll);
        roll->setSortOption(option);
        roll->setSortAscending(isAscending);
        sortPhotos(*roll);
        roll->markExportDirty();
        act.end(&app().undoStack(), "Edit Roll");
        known->now.sort = option;
        known->now.ascending = isAscending;
        settleOrder(*known, *roll);
    });
}

void RandomLife::drag() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll || roll->photos().size() < 2) return;
    std::vector<std::string> names = shownNames(*roll);
    const std::size_t from = below(names.size());
    const std::size_t to = below(names.size());
    if (from == to) return;
    say("{}: drag {} to place {}", nameOf(*known), names[from], to + 1);
    edit(*known, [&] {
        const auto before = photoOrder(*roll);
        dragPhotoOver(*roll, before[from], before[to], false);
        finishDrag(*roll, before, &app().undoStack());
        const std::string name = names[from];
        names.erase(names.begin() + static_cast<std::ptrdiff_t>(from));
        names.insert(names.begin() + static_cast<std::ptrdiff_t>(to), name);
        known->now.sort = SortOption::custom;
        known->now.order = names;
    });
}

void RandomLife::rename() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll) return;
    Disk& disk = disks_[known->disk];
    const std::string name = fmt::format("{} {}", chance(20) ? "scans" : "renamed", below(8));
    const std::size_t steps = app().undoStack().undoStack().size();
    const bool isSame = name == roll->name();
    const auto error = app().renameRoll(roll, name);
    say("{}: rename to \"{}\"{}", nameOf(*known), name, error ? " (refused)" : "");
    if (error || isSame) return;
    if (!disk.isMounted) return fail(nameOf(*known) + " renamed a folder that is not its own");
    disk.path = disk.path.parent() / name;
    if (!files().exists(disk.path)) fail("the renamed folder is not there");
    noteStep({Step::Kind::renaming, known->id, known->now, known->now}, steps);
}

}  // namespace kelvaris::testing
