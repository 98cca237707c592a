// Gear advice, the catalogs, and the palette.

#include <fmt/format.h>

#include "arguments.h"
#include "command.h"
#include "interaction/command_dispatcher.h"
#include "session.h"
#include "texts.h"
#include "vocabulary/json_record.h"

namespace kelvaris::cli {

namespace {

struct NoArguments {};
struct QueryArguments {
    std::string query;
};

void advise(Session& session, const NoArguments&) {
    GearAdvice& advice = session.system().gearAdvice();
    bool finished = false;
    advice.generate(session.app().rolls(), [&finished] { finished = true; });
    session.waitUntil([&finished] { return finished; });
    const GearRecommendationResult& result = *advice.gearRecommendationResult();
    std::string text;
    for (const auto& section : result.profileSections)
        text += fmt::format("{}\n  {}\n", section.title, section.body);
    for (const auto& camera : result.cameras) {
        text += fmt::format("{} {}\n  {}\n", camera.entry.make, camera.entry.model, camera.reasoning);
    }
    for (const auto& film : result.films) {
        text += fmt::format("{} {}\n  {}\n", film.entry.brand, film.entry.name, film.reasoning);
    }
    session.answer(encodedJson(result), text);
}

void catalogCameras(Session& session, const QueryArguments& arguments) {
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"MAKE", "MODEL", "TYPE", "FORMAT", "YEAR", "ID"}};
    for (const CameraRecord* camera : session.system().catalog().searchCameras(arguments.query)) {
        json.push_back(encodedJson(*camera));
        rows.push_back({camera->make, camera->model, camera->type.value_or(""), camera->format.value_or(""),
                        camera->yearIntroduced ? std::to_string(*camera->yearIntroduced) : "", camera->id});
    }
    session.answer(json, table(rows));
}

void catalogFilms(Session& session, const QueryArguments& arguments) {
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"BRAND", "NAME", "ISO", "TYPE", "", "ID"}};
    for (const FilmStockRecord* film : session.system().catalog().searchFilmStocks(arguments.query)) {
        json.push_back(encodedJson(*film));
        rows.push_back({film->brand, film->name, std::to_string(film->iso), std::string(film->typeLabel()),
                        film->discontinued ? "discontinued" : "", film->id});
    }
    session.answer(json, table(rows));
}

struct PaletteArguments {
    std::string query;
    std::string roll;
    std::optional<std::size_t> pick;
};

/// A terminal has nothing to zoom and no panels.
class NoScreen final : public ScreenCommands {
public:
    bool perform(const CommandAction&) override { return false; }
};

Json itemJson(const CommandItem& item) {
    Json json{{"title", item.title}};
    if (item.subtitle) json["subtitle"] = *item.subtitle;
    json["category"] = item.category;
    json["icon"] = item.icon;
    if (item.shortcut) json["shortcut"] = *item.shortcut;
    if (const auto* command = std::get_if<Command>(&item.action)) {
        json["action"] = rawValue(*command);
    } else if (const auto* roll = std::get_if<NavigateToRoll>(&item.action)) {
        json["action"] = "navigateToRoll";
        json["roll"] = roll->id.text();
    } else if (const auto* tab = std::get_if<OpenSettingsTab>(&item.action)) {
        json["action"] = "openSettingsTab";
        json["tab"] = tab->name;
    } else {
        json["action"] = "navigateToPhoto";
    }
    return json;
}

void listPalette(Session& session, const std::vector<CommandItem>& items) {
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows;
    std::size_t number = 0;
    for (const CommandItem& item : items) {
        json.push_back(itemJson(item));
        rows.push_back(
            {std::to_string(++number), std::string(item.category), item.title, item.subtitle.value_or("")});
    }
    session.answer(json, table(rows));
}

void pickFromPalette(Session& session, const CommandItem& item, const RollPointer& roll) {
    if (roll) session.app().navigateToRoll(roll);
    NoScreen screen;
    CommandDispatcher dispatcher(session.app(), session.system().shell(), screen);
    if (!dispatcher.perform(item.action)) {
        throw CommandFailure(fmt::format("\"{}\" needs the desktop, or something to work on", item.title));
    }
    session.waitUntil(
        [&session, roll] { return !session.app().isAnalysisPending() && !(roll && roll->isExporting()); });
    session.answer(itemJson(item), item.title);
}

void palette(Session& session, const PaletteArguments& arguments) {
    const RollPointer roll = arguments.roll.empty() ? nullptr : session.roll(arguments.roll);
    const auto items = filterCommandItems(buildCommandMenuItems(paletteState(session.app(), roll)),
                                          arguments.query, session.system().language());
    if (!arguments.pick) {
        listPalette(session, items);
    } else if (*arguments.pick >= 1 && *arguments.pick <= items.size()) {
        pickFromPalette(session, items[*arguments.pick - 1], roll);
    } else {
        throw CommandFailure(fmt::format("the list has {} entries", items.size()));
    }
}

}  // namespace

void addAdviceCommands(CommandTable& table) {
    table.add<NoArguments>(
        "advise", "Suggest cameras and film stocks from what you shoot", Access::write,
        [](CLI::App&, NoArguments&) {}, advise);

    CLI::App* catalog = table.app.add_subcommand("catalog", "Look up cameras and film stocks");
    catalog->require_subcommand(1);
    const auto needsNothing = [](const QueryArguments&) { return Access::none; };
    const auto declareQuery = [](CLI::App& command, QueryArguments& arguments) {
        command.add_option("QUERY", arguments.query)->required();
    };
    table.add<QueryArguments>(catalog, "cameras", "Cameras by make and model", needsNothing, declareQuery,
                              catalogCameras);
    table.add<QueryArguments>(catalog, "films", "Film stocks by brand and name", needsNothing, declareQuery,
                              catalogFilms);

    table.add<PaletteArguments>(
        nullptr, "palette", "Show what can be done, or do it",
        [](const PaletteArguments& arguments) { return arguments.pick ? Access::write : Access::read; },
        [](CLI::App& command, PaletteArguments& arguments) {
            command.add_option("QUERY", arguments.query, "Words that the entry contains");
            command.add_option("--roll", arguments.roll, "As if this roll were open");
            command.add_option("--pick", arguments.pick, "Do the entry of that number")
                ->check(decimalNumber());
        },
        palette);
}

}  // namespace kelvaris::cli
