// What a photographer says about a roll, and the copies that carry it.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "arguments.h"
#include "base/text.h"
#include "command.h"
#include "library/roll_act.h"
#include "library/roll_dates.h"
#include "library/roll_editing.h"
#include "library/roll_export.h"
#include "library/roll_selection.h"
#include "library/roll_timeline.h"
#include "live_json.h"
#include "questions.h"
#include "references.h"
#include "session.h"
#include "texts.h"

namespace kelvaris::cli {

namespace {

struct SetArguments {
    std::string roll;
    std::vector<std::string> values;
};

/// Makes one change that was found to be possible. @throws CommandFailure
using Change = std::function<void()>;
/// Reads the value without changing anything. @throws CommandFailure when it is none for the key
using Setter = Change (*)(Session&, const RollPointer&, const std::string& value);

template <class E>
E parsedWord(const std::string& value) {
    const auto parsed = fromRawValue<E>(value);
    if (parsed) return *parsed;
    std::vector<std::string> words;
    for (const auto& [each, word] : RawValues<E>::rows) words.emplace_back(word);
    throw CommandFailure(fmt::format("\"{}\" is not one of {}", value, joined(words, ", ")));
}

template <void (FilmRoll::*set)(std::string)>
Change textChange(Session&, const RollPointer& roll, const std::string& value) {
    return [roll, value] { ((*roll).*set)(value); };
}

Change formatChange(Session&, const RollPointer& roll, const std::string& value) {
    return [roll, format = parsedWord<FilmFormat>(value)] { roll->setCameraFormat(format); };
}

Change speedChange(Session&, const RollPointer& roll, const std::string& value) {
    if (value.empty()) return [roll] { roll->setFilmISO(std::nullopt); };
    const auto speed = parseInteger(value);
    if (!speed || *speed < 1 || *speed > 1'000'000)
        throw CommandFailure(fmt::format("\"{}\" is no film speed", value));
    return [roll, speed = static_cast<int>(*speed)] { roll->setFilmISO(speed); };
}

Change nameChange(Session& session, const RollPointer& roll, const std::string& value) {
    const std::string name(trimmed(value));
    if (const auto error = session.app().validateRollName(name, *roll)) throw CommandFailure(error->text());
    return [&session, roll, name] {
        if (const auto error = session.app().renameRoll(roll, name)) throw CommandFailure(error->text());
    };
}

Change sortChange(Session&, const RollPointer& roll, const std::string& value) {
    const bool ascending = !value.starts_with('-');
    const auto option = parsedWord<SortOption>(ascending ? value : value.substr(1));
    return [roll, option, ascending] {
        roll->setSortOption(option);
        roll->setSortAscending(ascending);
        sortPhotos(*roll);
    };
}

/// In the order of making: the name first, since the disk may refuse it.
const std::vector<std::pair<std::string, Setter>>& setters() {
    static const std::vector<std::pair<std::string, Setter>> table = {
        {"name", nameChange},
        {"cameraMake", textChange<&FilmRoll::setCameraMake>},
        {"cameraModel", textChange<&FilmRoll::setCameraModel>},
        {"cameraFormat", formatChange},
        {"filmName", textChange<&FilmRoll::setFilmName>},
        {"filmISO", speedChange},
        {"notes", textChange<&FilmRoll::setNotes>},
        {"sort", sortChange},
    };
    return table;
}

void set(Session& session, const SetArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    std::multimap<std::size_t, Change> changes;
    for (const std::string& text : arguments.values) {
        const auto equals = text.find('=');
        const auto setter =
            std::ranges::find(setters(), text.substr(0, equals), [](const auto& row) { return row.first; });
        if (equals == std::string::npos || setter == setters().end()) {
            std::vector<std::string> keys;
            for (const auto& [key, each] : setters()) keys.push_back(key);
            throw CommandFailure(
                fmt::format("\"{}\" is not KEY=VALUE with KEY one of {}", text, joined(keys, ", ")));
        }
        const auto rank = static_cast<std::size_t>(setter - setters().begin());
        changes.emplace(rank, setter->second(session, roll, text.substr(equals + 1)));
    }
    const RollAct act(*roll);
    for (const auto& [rank, change] : changes) change();
    roll->markExportDirty();
    act.end(&session.app().undoStack(), "Edit Roll");
    session.app().scheduleSave(roll);
    session.answer(liveJson(*roll, false), table({rollHead(), rollRow(*roll)}));
}

struct DatesArguments {
    std::string roll;
    std::string start;
    std::string interval;
    std::string timeline;
    bool yes = false;
};

double parsedInterval(const std::string& text) {
    const auto seconds = parseDouble(text);
    if (!seconds || !std::isfinite(*seconds) || *seconds < 0)
        throw CommandFailure(fmt::format("\"{}\" is no number of seconds", text));
    return *seconds;
}

Instant parsedStart(Session& session, const std::string& text) {
    const auto reading = parseCivilTime(text);
    const auto start = reading ? session.system().language().fromLocalTime(*reading) : std::nullopt;
    if (!start) throw CommandFailure(fmt::format("\"{}\" is no date like 2026-03-14T09:30", text));
    return *start;
}

void dates(Session& session, const DatesArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    if (roll->photos().empty()) throw CommandFailure("the roll has no photos");
    const Instant start = arguments.start.empty() ? roll->baseDate() : parsedStart(session, arguments.start);
    const double interval = arguments.interval.empty() ? session.app().preferences().dateIntervalSeconds()
                                                       : parsedInterval(arguments.interval);
    if (!arguments.timeline.empty()) {
        std::optional<bool> isLoaded;
        loadTimeline(*roll, session.system().absolutePath(Path(arguments.timeline)),
                     [&isLoaded](bool taken) { isLoaded = taken; });
        session.waitUntil([&isLoaded] { return isLoaded.has_value(); });
        if (!*isLoaded) throw CommandFailure(roll->statusNotification()->message());
    }
    if (!canAssignDates(*roll, start, interval))
        throw CommandFailure("the dates would leave the years 0 to 9999");
    const std::string warning = dateOverwriteSummary(*roll).warningMessage();
    if (hasDatesAtRisk(*roll)) {
        confirm(session, warning, arguments.yes);
    } else if (!warning.empty()) {
        session.tell(warning);
    }
    const RollAct act(*roll);  // one step with the start, which assignDates does not know as a change
    roll->setBaseDate(start);
    bool done = false;
    if (!assignDates(*roll, interval, [&done] { done = true; }))
        throw CommandFailure(roll->statusNotification()->message());
    session.waitUntil([&done] { return done; });
    act.end(&session.app().undoStack(), "Assign Dates");
    session.app().scheduleSave(roll);
    session.answer(liveJson(*roll, true),
                   roll->statusNotification() ? roll->statusNotification()->message() : "");
}

struct PhotoArguments {
    std::string roll;
    std::string photo;
};
const auto declarePhoto = [](CLI::App& command, auto& arguments) {
    command.add_option("ROLL", arguments.roll, "Name, id, or the beginning of either")->required();
    command.add_option("PHOTO", arguments.photo, "File name, or the number in the list")->required();
};

struct LabelArguments {
    std::string roll;
    std::string photo;
    std::vector<std::string> changes;
};

void answerPhoto(Session& session, const RollPointer& roll, const PhotoPointer& photo,
                 const std::string& text) {
    session.app().scheduleSave(roll);
    session.answer(liveJson(*photo), text);
}

void label(Session& session, const LabelArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    const PhotoPointer photo = session.photo(*roll, arguments.photo);
    std::vector<std::pair<PhotoLabel, bool>> changes;
    for (const std::string& change : arguments.changes) {
        if (change.size() < 2 || (change.front() != '+' && change.front() != '-')) {
            throw CommandFailure(fmt::format("\"{}\" is not +LABEL or -LABEL", change));
        }
        changes.emplace_back(parsedWord<PhotoLabel>(change.substr(1)), change.front() == '+');
    }
    for (const auto& [each, present] : changes) {
        photo->setManualLabel(each, present, &session.app().undoStack(), [weak = std::weak_ptr(roll), photo] {
            if (const auto owner = weak.lock()) showPhoto(*owner, photo);
        });
    }
    std::vector<std::string> words;
    for (const PhotoLabel each : photo->sortedLabels()) words.emplace_back(rawValue(each));
    answerPhoto(session, roll, photo, fmt::format("{}: {}", photo->filename(), joined(words, ", ")));
}

struct RotateArguments {
    std::string roll;
    std::string photo;
    std::string direction;
};

void rotate(Session& session, const RotateArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    const PhotoPointer photo = session.photo(*roll, arguments.photo);
    UndoStack* undo = &session.app().undoStack();
    selectPhoto(*roll, photo);
    if (arguments.direction == "cw") rotateSelectedClockwise(*roll, undo);
    if (arguments.direction == "ccw") rotateSelectedCounterClockwise(*roll, undo);
    if (arguments.direction == "confirm") {
        const bool hasHint = photo->orientationDecision() && photo->orientationDecision()->reviewRotation();
        if (!hasHint) throw CommandFailure("there is no suggested rotation to confirm");
        confirmSuggestedRotation(*roll, photo, undo);
    }
    answerPhoto(session, roll, photo,
                fmt::format("{} is turned by {}°", photo->filename(), rawValue(photo->rotation())));
}

struct RemoveArguments : PhotoArguments {
    bool back = false;
};

void bringBack(Session& session, const RollPointer& roll, const std::string& reference) {
    const PhotoPointer photo = session.removedPhoto(*roll, reference);
    bringBackPhoto(*roll, photo, &session.app().undoStack());
    answerPhoto(session, roll, photo, fmt::format("{} is back in the roll", photo->filename()));
}

void remove(Session& session, const RemoveArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    if (arguments.back) return bringBack(session, roll, arguments.photo);
    const PhotoPointer photo = session.photo(*roll, arguments.photo);
    removePhoto(*roll, photo, &session.app().undoStack());
    session.app().scheduleSave(roll);
    session.answer(Json{{"removed", photo->filename()}},
                   fmt::format("Took {} out of the roll. The file stays.", photo->filename()));
}

struct ReorderArguments {
    std::string roll;
    std::string photo;
    int position = 0;
};

void reorder(Session& session, const ReorderArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    const PhotoPointer photo = session.photo(*roll, arguments.photo);
    const int last = static_cast<int>(roll->photos().size());
    if (arguments.position < 1 || arguments.position > last) {
        throw CommandFailure(fmt::format("the position must be 1 to {}", last));
    }
    const auto before = photoOrder(*roll);
    dragPhotoOver(*roll, photo->id(), roll->photos()[static_cast<std::size_t>(arguments.position - 1)]->id(),
                  false);
    finishDrag(*roll, before, &session.app().undoStack());
    answerPhoto(session, roll, photo, fmt::format("{} is number {}", photo->filename(), arguments.position));
}

struct RollArguments {
    std::string roll;
};

void exportRoll(Session& session, const RollArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    std::vector<std::string> missing;
    for (const PhotoPointer& photo : roll->photos()) {
        if (photo->captureDate() && photo->isMissing()) missing.push_back(photo->filename());
    }
    exportAll(*roll);
    session.waitUntil([&] {
        if (roll->isExporting())
            session.progress(fmt::format("Exporting {:.0f}%", roll->exportProgress() * 100));
        return !roll->isExporting();
    });
    const StatusNotification status = roll->statusNotification().value_or(StatusNotification::info(""));
    const bool isExported = status.kind() == StatusNotification::Kind::exported;
    if (isExported) session.app().scheduleSave(roll);
    if (!isExported || status.errors() > 0) throw CommandFailure(status.message());
    Json json{{"exported", status.count()},
              {"errors", status.errors()},
              {"folder", (roll->sourceFolder() / "Kelvaris_Export").string()}};
    std::string text = status.message() + '\n';
    if (!missing.empty()) {
        json["missing"] = missing;
        text += fmt::format("Left out, since their files are missing: {}\n", joined(missing, ", "));
    }
    session.answer(json, text);
}

struct NoArguments {};

void undo(Session& session, const NoArguments&) {
    const auto label = session.app().undo();
    if (!label) throw CommandFailure("nothing to undo");
    session.answer(Json{{"undone", *label}}, "Undid " + *label);
}

void redo(Session& session, const NoArguments&) {
    const auto label = session.app().redo();
    if (!label) throw CommandFailure("nothing to redo");
    session.answer(Json{{"redone", *label}}, "Redid " + *label);
}

}  // namespace

void addEditingCommands(CommandTable& table) {
    table.add<SetArguments>(
        "set", "Set camera, film, notes, name or sort of a roll", Access::write,
        [](CLI::App& command, SetArguments& arguments) {
            command.add_option("ROLL", arguments.roll, "Name, id, or the beginning of either")->required();
            command
                .add_option("KEY=VALUE", arguments.values, "For example filmName=\"Portra 400\" filmISO=400")
                ->required();
        },
        set);
    table.add<DatesArguments>(
        "dates", "Give the photos of a roll dates and places", Access::write,
        [](CLI::App& command, DatesArguments& arguments) {
            command.add_option("ROLL", arguments.roll, "Name, id, or the beginning of either")->required();
            command.add_option("--start", arguments.start, "Date of the first photo, as 2026-03-14T09:30");
            command.add_option("--interval", arguments.interval, "Seconds from photo to photo");
            command.add_option("--timeline", arguments.timeline,
                               "A location history: Records.json, Timeline.json, GPX or KML");
            command.add_flag("--yes", arguments.yes, "Replace the dates that the photos have");
        },
        dates);
    table.add<LabelArguments>(
        "label", "Put labels on a photo or take them off", Access::write,
        [](CLI::App& command, LabelArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_option("CHANGES", arguments.changes, "+gem -blur …")->required();
        },
        label);
    table.add<RotateArguments>(
        "rotate", "Turn a photo", Access::write,
        [](CLI::App& command, RotateArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_option("DIRECTION", arguments.direction, "cw, ccw or confirm")
                ->required()
                ->check(CLI::IsMember({"cw", "ccw", "confirm"}));
        },
        rotate);
    table.add<RemoveArguments>(
        "remove", "Take a photo out of a roll, or bring it back; the file stays", Access::write,
        [](CLI::App& command, RemoveArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_flag("--back", arguments.back, "Bring back a photo that was taken out");
        },
        remove);
    table.add<ReorderArguments>(
        "reorder", "Move a photo to another place in its roll", Access::write,
        [](CLI::App& command, ReorderArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_option("POSITION", arguments.position, "Its new number in the list")
                ->required()
                ->check(decimalNumber());
        },
        reorder);
    table.add<RollArguments>(
        "export", "Write tagged, upright JPEG copies of the dated photos", Access::write,
        [](CLI::App& command, RollArguments& arguments) {
            command.add_option("ROLL", arguments.roll, "Name, id, or the beginning of either")->required();
        },
        exportRoll);
    table.add<NoArguments>(
        "undo", "Take back the last edit of this session", Access::write, [](CLI::App&, NoArguments&) {},
        undo);
    table.add<NoArguments>(
        "redo", "Make the edit again that was taken back", Access::write, [](CLI::App&, NoArguments&) {},
        redo);
}

}  // namespace kelvaris::cli
