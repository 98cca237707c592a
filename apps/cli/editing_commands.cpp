// What a photographer says about a roll, and the copies that carry it.

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "base/text.h"
#include "command.h"
#include "library/roll_act.h"
#include "library/roll_dates.h"
#include "library/roll_editing.h"
#include "library/roll_export.h"
#include "library/roll_selection.h"
#include "library/roll_timeline.h"
#include "live_json.h"
#include "references.h"
#include "session.h"
#include "texts.h"

namespace kelvaris::cli {

namespace {

struct SetArguments {
    std::string roll;
    std::vector<std::string> values;
};

using Setter = void (*)(Session&, const RollPointer&, const std::string& value);

template <class E>
E parsedWord(const std::string& value) {
    const auto parsed = fromRawValue<E>(value);
    if (parsed) return *parsed;
    std::vector<std::string> words;
    for (const auto& [each, word] : RawValues<E>::rows) words.emplace_back(word);
    throw CommandFailure(fmt::format("\"{}\" is not one of {}", value, joined(words, ", ")));
}

void setISO(Session&, const RollPointer& roll, const std::string& value) {
    if (value.empty()) {
        roll->setFilmISO(std::nullopt);
        return;
    }
    const auto iso = parseInteger(value);
    if (!iso || *iso < 1 || *iso > 1'000'000)
        throw CommandFailure(fmt::format("\"{}\" is no film speed", value));
    roll->setFilmISO(static_cast<int>(*iso));
}

void setName(Session& session, const RollPointer& roll, const std::string& value) {
    if (const auto error = session.app().renameRoll(roll, value)) throw CommandFailure(error->text());
}

void setSort(Session&, const RollPointer& roll, const std::string& value) {
    std::string word = value;
    bool ascending = true;
    if (word.starts_with('-')) {
        word.erase(0, 1);
        ascending = false;
    }
    roll->setSortOption(parsedWord<SortOption>(word));
    roll->setSortAscending(ascending);
    sortPhotos(*roll);
}

const std::map<std::string, Setter>& setters() {
    static const std::map<std::string, Setter> table = {
        {"cameraMake",
         [](Session&, const RollPointer& roll, const std::string& value) { roll->setCameraMake(value); }},
        {"cameraModel",
         [](Session&, const RollPointer& roll, const std::string& value) { roll->setCameraModel(value); }},
        {"cameraFormat",
         [](Session&, const RollPointer& roll, const std::string& value) {
             roll->setCameraFormat(parsedWord<FilmFormat>(value));
         }},
        {"filmName",
         [](Session&, const RollPointer& roll, const std::string& value) { roll->setFilmName(value); }},
        {"filmISO", setISO},
        {"notes", [](Session&, const RollPointer& roll, const std::string& value) { roll->setNotes(value); }},
        {"name", setName},
        {"sort", setSort},
    };
    return table;
}

void set(Session& session, const SetArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    struct Change {
        Setter setter;
        std::string value;
    };
    std::vector<Change> changes;
    for (const std::string& text : arguments.values) {
        const auto equals = text.find('=');
        const auto setter = setters().find(text.substr(0, equals));
        if (equals == std::string::npos || setter == setters().end()) {
            std::vector<std::string> keys;
            for (const auto& [key, each] : setters()) keys.push_back(key);
            throw CommandFailure(
                fmt::format("\"{}\" is not KEY=VALUE with KEY one of {}", text, joined(keys, ", ")));
        }
        if (!isValidUtf8(text)) throw CommandFailure("the value is not UTF-8");
        changes.push_back({setter->second, text.substr(equals + 1)});
    }
    const RollAct act(*roll);
    for (const Change& change : changes) change.setter(session, roll, change.value);
    roll->markExportDirty();
    act.end(&session.app().undoStack(), "Edit Roll");
    session.app().scheduleSave(roll);
    session.answer(liveJson(*roll, false), table({rollHead(), rollRow(*roll)}));
}

struct DatesArguments {
    std::string roll;
    std::string start;
    double interval = -1;
    std::string timeline;
};

void dates(Session& session, const DatesArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    if (roll->photos().empty()) throw CommandFailure("the roll has no photos");
    if (!arguments.start.empty()) {
        const auto reading = parseCivilTime(arguments.start);
        const auto start = reading ? session.system().language().fromLocalTime(*reading) : std::nullopt;
        if (!start)
            throw CommandFailure(fmt::format("\"{}\" is no date like 2026-03-14T09:30", arguments.start));
        roll->setBaseDate(*start);
    }
    if (!arguments.timeline.empty()) {
        std::optional<bool> isLoaded;
        loadTimeline(*roll, session.system().absolutePath(Path(arguments.timeline)),
                     [&isLoaded](bool taken) { isLoaded = taken; });
        session.waitUntil([&isLoaded] { return isLoaded.has_value(); });
        if (!*isLoaded) throw CommandFailure(roll->statusNotification()->message());
    }
    std::optional<double> interval;
    if (arguments.interval >= 0) interval = arguments.interval;
    bool done = false;
    if (!assignDates(
            *roll, interval, [&done] { done = true; }, &session.app().undoStack())) {
        throw CommandFailure(roll->statusNotification()->message());
    }
    session.waitUntil([&done] { return done; });
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

void remove(Session& session, const PhotoArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
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
    if (roll->isDisconnected()) throw CommandFailure("the roll's folder cannot be reached");
    exportAll(*roll);
    session.waitUntil([&] {
        if (roll->isExporting())
            session.progress(fmt::format("Exporting {:.0f}%", roll->exportProgress() * 100));
        return !roll->isExporting();
    });
    session.app().scheduleSave(roll);
    const StatusNotification status = roll->statusNotification().value_or(StatusNotification::info(""));
    const bool isExported = status.kind() == StatusNotification::Kind::exported;
    if (!isExported || status.errors() > 0) throw CommandFailure(status.message());
    session.answer(Json{{"exported", status.count()},
                        {"errors", status.errors()},
                        {"folder", (roll->sourceFolder() / "Kelvaris_Export").string()}},
                   status.message());
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
            command.add_option("--interval", arguments.interval, "Seconds from photo to photo")
                ->check(CLI::NonNegativeNumber);
            command.add_option("--timeline", arguments.timeline,
                               "A location history: Records.json, Timeline.json, GPX or KML");
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
    table.add<PhotoArguments>("remove", "Take a photo out of a roll; the file stays", Access::write,
                              declarePhoto, remove);
    table.add<ReorderArguments>(
        "reorder", "Move a photo to another place in its roll", Access::write,
        [](CLI::App& command, ReorderArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_option("POSITION", arguments.position, "Its new number in the list")->required();
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
