// Searches over the library: words, near-duplicates, scenes, faces.

#include <fmt/format.h>

#include "arguments.h"
#include "assembly/discovery_parts.h"
#include "discovery_commands.h"
#include "session.h"
#include "texts.h"

namespace kelvaris::cli {

namespace {

struct SearchArguments {
    std::string query;
    std::string roll;
    bool keywordsFirst = false;
};
struct PhotoArguments {
    std::string roll;
    std::string photo;
    std::optional<std::size_t> face;
    bool all = false;
};

/// A search has photos looked at that no model has seen yet. A screen shows what is found meanwhile; here
/// there is one answer, and it must not depend on when the question was asked.
/// @return whether any became known since there were `before` vectors.
bool waitForVectors(Session& session, const ClipEmbeddingFiller& vectors, std::size_t before) {
    session.waitUntil([&] {
        if (vectors.inFlightCount() == 0) return true;
        session.progress(
            fmt::format("Looking at photos for the first time: {} left", vectors.inFlightCount()));
        return false;
    });
    return vectors.storedCount() != before;
}

void search(Session& session, const SearchArguments& arguments) {
    if (SearchQuery::from(arguments.query, session.system().language()).isEmpty()) {
        throw CommandFailure("there are no words to search for");
    }
    DiscoveryParts parts(session.system());
    RollListSearch& list = parts.discovery().rollListSearch();
    const RollPointer only = arguments.roll.empty() ? nullptr : session.roll(arguments.roll);
    list.setOrder(arguments.keywordsFirst ? SearchOrder::keywordFirst : SearchOrder::score);
    const auto perform = [&] {
        list.performSearch(arguments.query, only ? std::optional(only->id()) : std::nullopt);
        session.waitUntil([&list] { return !list.isSearching(); });
    };
    const ClipEmbeddingFiller& vectors = parts.discovery().vectors();
    const std::size_t before = vectors.storedCount();
    perform();
    if (waitForVectors(session, vectors, before)) perform();
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"ROLL", "PHOTO"}};
    for (const RollPointer& roll : session.app().rolls()) {
        const auto found = list.rollMatchPhotos().find(roll->id());
        if (found == list.rollMatchPhotos().end()) continue;
        Json photos = Json::array();
        for (const PhotoPointer& photo : found->second) {
            photos.push_back(photo->filename());
            rows.push_back({roll->name(), photo->filename()});
        }
        json.push_back({{"roll", roll->id().text()}, {"name", roll->name()}, {"photos", std::move(photos)}});
    }
    session.answer(json, rows.size() == 1 ? "No photos found." : table(rows));
}

/// An empty answer would say that the photo was compared.
void requireHash(const FilmRoll& roll, const PhotoItem& photo) {
    if (SimilarityService::parseHash(photo.perceptualHash().value_or(""))) return;
    if (!photo.labelsAnalyzed()) {
        throw CommandFailure(fmt::format("{} of {} is not analyzed yet", photo.filename(), roll.name()));
    }
    throw CommandFailure(fmt::format("{} of {} shows nothing to compare", photo.filename(), roll.name()));
}

void similar(Session& session, const PhotoArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    const PhotoPointer photo = session.photo(*roll, arguments.photo);
    requireHash(*roll, *photo);
    DiscoveryParts parts(session.system());
    SimilarPhotos& search = parts.discovery().similarPhotos();
    search.findSimilarPhotos(photo);
    session.waitUntil([&search] { return !search.isSearching(); });
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"ROLL", "PHOTO", "BITS"}};
    for (const SimilarPhoto& each : *search.similarPhotosResult()) {
        json.push_back({{"roll", each.rollID.text()},
                        {"name", each.rollName},
                        {"photo", each.filename},
                        {"distance", each.distance}});
        rows.push_back({each.rollName, each.filename, std::to_string(each.distance)});
    }
    session.answer(json, rows.size() == 1 ? std::string(SimilarPhotos::emptyText) : table(rows));
}

template <class Match>
void addMatch(const Match& match, Json& json, std::vector<std::vector<std::string>>& rows) {
    json.push_back({{"roll", match.rollID.text()},
                    {"name", match.rollName},
                    {"photo", match.filename},
                    {"similarity", match.similarity}});
    rows.push_back({match.rollName, match.filename, fmt::format("{:.3f}", match.similarity)});
}

/// The matches, or what is to be said in their place, and how many photos failed.
template <class State>
void answerMatches(Session& session, const State& state, const Json& matches,
                   const std::vector<std::vector<std::string>>& rows) {
    const std::size_t hidden = state.matches.size() - matches.size();
    const Json json{{"matches", matches},
                    {"hidden", hidden},
                    {"processed", state.progress.processed},
                    {"total", state.progress.total},
                    {"failed", state.progress.failed}};
    std::string text = rows.size() == 1 ? state.statusText() + "\n" : table(rows);
    if (hidden > 0) text += fmt::format("{} weaker ones more with --all\n", hidden);
    if (!state.failureText().empty()) text += state.failureText() + "\n";
    session.answer(json, text);
}

void scenes(Session& session, const PhotoArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    DiscoveryParts parts(session.system());
    SceneSearch& search = parts.discovery().sceneSearch();
    std::string failure;
    search.findSimilarScenes(session.photo(*roll, arguments.photo),
                             [&failure](std::string_view text) { failure = text; });
    session.waitUntil([&] {
        return !failure.empty() || (search.sceneSearchResult() && !search.sceneSearchResult()->isSearching);
    });
    if (!failure.empty()) throw CommandFailure(failure);
    const SceneSearchState& state = *search.sceneSearchResult();
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"ROLL", "PHOTO", "SIMILARITY"}};
    for (const SceneMatch& match : SceneSimilarityService::visibleMatches(state.matches, arguments.all)) {
        addMatch(match, json, rows);
    }
    answerMatches(session, state, json, rows);
}

void faces(Session& session, const PhotoArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    DiscoveryParts parts(session.system());
    FaceSearch& search = parts.discovery().faceSearch();
    const PhotoPointer photo = session.photo(*roll, arguments.photo);
    search.findSimilarFaces(photo, std::nullopt);
    const auto isFound = [&search] {
        const auto& message = search.faceSearchMessage();
        return search.pendingFacePick() || search.faceSearchResult() ||
               (message && *message != FaceSearch::findingFacesText);
    };
    session.waitUntil(isFound);
    const auto& pick = search.pendingFacePick();
    // A search that began by itself took the only face that can be compared; a chosen face replaces it.
    if (pick || (arguments.face && search.faceSearchResult())) {
        std::vector<FaceRegion> regions;
        if (pick) {
            regions = pick->regions;
        } else if (photo->faceRegions()) {
            regions = *photo->faceRegions();
        }
        if (!arguments.face || *arguments.face < 1 || *arguments.face > regions.size()) {
            throw CommandFailure(fmt::format("the photo's faces are numbered 1 to {}: choose one with --face",
                                             regions.size()));
        }
        search.findSimilarFaces(photo, regions[*arguments.face - 1]);
        if (search.faceSearchMessage()) throw CommandFailure(*search.faceSearchMessage());
    }
    if (!search.faceSearchResult()) throw CommandFailure(search.faceSearchMessage().value_or("no face"));
    session.waitUntil(
        [&search] { return !search.faceSearchResult() || !search.faceSearchResult()->isSearching; });
    if (!search.faceSearchResult()) throw CommandFailure(search.faceSearchMessage().value_or("no face"));
    const FaceSearchState& state = *search.faceSearchResult();
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"ROLL", "PHOTO", "SIMILARITY"}};
    for (const FaceMatchSection& section : FaceSimilarityService::grouped(state.matches, arguments.all)) {
        for (const FaceMatch& match : section.matches) addMatch(match, json, rows);
    }
    answerMatches(session, state, json, rows);
}

void declarePhoto(CLI::App& command, PhotoArguments& arguments) {
    command.add_option("ROLL", arguments.roll)->required();
    command.add_option("PHOTO", arguments.photo, "File name or number")->required();
}

}  // namespace

void addDiscoveryCommands(CommandTable& table) {
    table.add<SearchArguments>(
        "search", "Find photos by words", Access::keep,
        [](CLI::App& command, SearchArguments& arguments) {
            command.add_option("QUERY", arguments.query)->required();
            command.add_option("--roll", arguments.roll, "In this roll alone");
            command.add_flag("--keywords-first", arguments.keywordsFirst,
                             "Photos that a whole word hits before those that only look alike");
        },
        search);
    table.add<PhotoArguments>("similar", "Find near-duplicates of a photo", Access::read, declarePhoto,
                              similar);
    table.add<PhotoArguments>(
        "scenes", "Find photos of similar scenes", Access::keep,
        [](CLI::App& command, PhotoArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_flag("--all", arguments.all, "Also all weaker matches");
        },
        scenes);
    table.add<PhotoArguments>(
        "faces", "Find photos of the same person", Access::keep,
        [](CLI::App& command, PhotoArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_option("--face", arguments.face, "Which of the photo's faces, from 1")
                ->check(decimalNumber());
            command.add_flag("--all", arguments.all, "Also all weaker matches");
        },
        faces);
}

}  // namespace kelvaris::cli
