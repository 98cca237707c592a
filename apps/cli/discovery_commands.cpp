// Searches over the library: words, near-duplicates, scenes, faces, people.

#include <fmt/format.h>

#include "assembly/discovery_parts.h"
#include "base/text.h"
#include "discovery_commands.h"
#include "references.h"
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
struct MergeArguments {
    std::string into;
    std::string from;
};
struct FaceArguments {
    std::string roll;
    std::string photo;
    std::size_t face = 0;
    std::string group;
};
struct NoArguments {};

void search(Session& session, const SearchArguments& arguments) {
    if (SearchQuery::from(arguments.query, session.system().language()).isEmpty()) {
        throw CommandFailure("there are no words to search for");
    }
    DiscoveryParts parts(session.system());
    RollListSearch& list = parts.discovery().rollListSearch();
    const RollPointer only = arguments.roll.empty() ? nullptr : session.roll(arguments.roll);
    list.setOrder(arguments.keywordsFirst ? SearchOrder::keywordFirst : SearchOrder::score);
    list.performSearch(arguments.query);
    session.waitUntil([&list] { return !list.isSearching(); });
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"ROLL", "PHOTO"}};
    for (const RollPointer& roll : session.app().rolls()) {
        const auto found = list.rollMatchPhotos().find(roll->id());
        if (found == list.rollMatchPhotos().end() || (only && roll != only)) continue;
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
    const Json json{{"matches", matches},
                    {"processed", state.progress.processed},
                    {"total", state.progress.total},
                    {"failed", state.progress.failed}};
    std::string text = rows.size() == 1 ? state.statusText() + "\n" : table(rows);
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

/// The people of the library, and what a command says of them. A group goes by its number in the list, by
/// its id, or by a beginning of that.
class People {
public:
    explicit People(Session& session) : session_(session), parts_(session.system()) {
        groups().refresh();
        waitForGroups();
    }

    FaceGroups& groups() { return parts_.discovery().faceGroups(); }
    const std::vector<SuggestedFaceGroup>& list() { return *groups().groups(); }
    void waitForGroups() {
        session_.waitUntil([this] { return !groups().isGrouping(); });
    }

    const SuggestedFaceGroup& group(const std::string& reference) {
        const auto number = parseInteger(reference);
        if (number && *number >= 1 && static_cast<std::size_t>(*number) <= list().size()) {
            return list()[static_cast<std::size_t>(*number) - 1];
        }
        std::vector<Named> things;
        for (const SuggestedFaceGroup& each : list()) things.push_back({each.id, ""});
        const auto found = resolveReference(reference, things, "group");
        if (!found) throw CommandFailure(found.error());
        return list()[*found];
    }

    /// The group that shows the face. One and the same face that was found twice shows once.
    std::pair<const SuggestedFaceGroup*, FaceAnchor> groupOf(const FaceAnchor& face) {
        const auto find = [&](auto matches) -> std::pair<const SuggestedFaceGroup*, FaceAnchor> {
            for (const SuggestedFaceGroup& group : list()) {
                for (const IndexedFace& each : group.faces) {
                    if (matches(each.anchor, face)) return {&group, each.anchor};
                }
            }
            return {nullptr, face};
        };
        const auto exact = find(std::equal_to<>());
        return exact.first != nullptr ? exact : find(FaceGroupingService::overlap);
    }

    /// A photo's face by its number, as the command for faces counts them.
    std::pair<const SuggestedFaceGroup*, FaceAnchor> chosen(const FaceArguments& arguments) {
        const RollPointer roll = session_.roll(arguments.roll);
        const PhotoPointer photo = session_.photo(*roll, arguments.photo);
        const std::size_t count = photo->faceRegions() ? photo->faceRegions()->size() : 0;
        if (count == 0) {
            throw CommandFailure(
                fmt::format("no faces of {} in {} are known", photo->filename(), roll->name()));
        }
        if (arguments.face < 1 || arguments.face > count) {
            throw CommandFailure(fmt::format("the photo's faces are numbered 1 to {}", count));
        }
        const NormalizedRect& box = (*photo->faceRegions())[arguments.face - 1].boundingBox;
        const auto found = groupOf({roll->id(), photo->filename(), box.x, box.y, box.width, box.height});
        if (found.first == nullptr) throw CommandFailure("this face is in no group");
        return found;
    }

    Json json(const SuggestedFaceGroup& group) {
        Json members = Json::array();
        for (const IndexedFace& face : group.faces) {
            members.push_back({{"roll", face.anchor.rollID.text()},
                               {"photo", face.anchor.filename},
                               {"x", face.anchor.x},
                               {"y", face.anchor.y},
                               {"width", face.anchor.width},
                               {"height", face.anchor.height}});
        }
        return {{"number", number(group)},
                {"id", group.id},
                {"manual", group.manual},
                {"faces", std::move(members)}};
    }

    /// After a correction: the group in which the face is now.
    void answerGroupOf(const FaceAnchor& face) {
        waitForGroups();
        const SuggestedFaceGroup* group = groupOf(face).first;
        if (group == nullptr) throw CommandFailure("this face is in no group");
        session_.answer(json(*group),
                        fmt::format("Group {} now has {} {}: {}", number(*group), group->faces.size(),
                                    group->faces.size() == 1 ? "face" : "faces", photosOf(*group)));
    }

    static std::string photosOf(const SuggestedFaceGroup& group) {
        std::vector<std::string> names;
        for (const IndexedFace& face : group.faces) names.push_back(face.anchor.filename);
        return joined(names, " ");
    }

private:
    std::size_t number(const SuggestedFaceGroup& group) {
        return static_cast<std::size_t>(&group - list().data()) + 1;
    }

    Session& session_;
    DiscoveryParts parts_;
};

void listPeople(Session& session, const NoArguments&) {
    People people(session);
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"GROUP", "FACES", "PHOTOS"}};
    for (const SuggestedFaceGroup& group : people.list()) {
        rows.push_back(
            {std::to_string(rows.size()), std::to_string(group.faces.size()), People::photosOf(group)});
        json.push_back(people.json(group));
    }
    session.answer(json, rows.size() == 1 ? "No faces are known." : table(rows));
}

void mergePeople(Session& session, const MergeArguments& arguments) {
    People people(session);
    const SuggestedFaceGroup& into = people.group(arguments.into);
    const SuggestedFaceGroup& from = people.group(arguments.from);
    if (&into == &from) throw CommandFailure("a group cannot be merged with itself");
    const FaceAnchor face = into.faces.front().anchor;
    people.groups().merge(into.id, from.id);
    people.answerGroupOf(face);
}

void moveFace(Session& session, const FaceArguments& arguments) {
    People people(session);
    const auto [from, face] = people.chosen(arguments);
    const SuggestedFaceGroup& to = people.group(arguments.group);
    if (from == &to) throw CommandFailure("the face is in this group already");
    people.groups().move(face, from->id, to.id);
    people.answerGroupOf(face);
}

void splitFace(Session& session, const FaceArguments& arguments) {
    People people(session);
    const auto [from, face] = people.chosen(arguments);
    if (from->faces.size() == 1) throw CommandFailure("the face stands alone already");
    people.groups().takeOut(face, from->id);
    people.answerGroupOf(face);
}

void declarePhoto(CLI::App& command, PhotoArguments& arguments) {
    command.add_option("ROLL", arguments.roll)->required();
    command.add_option("PHOTO", arguments.photo, "File name or number")->required();
}

void declareFace(CLI::App& command, FaceArguments& arguments) {
    command.add_option("ROLL", arguments.roll)->required();
    command.add_option("PHOTO", arguments.photo, "File name or number")->required();
    command.add_option("FACE", arguments.face, "Which of the photo's faces, from 1")->required();
}

void addPeopleCommands(CommandTable& table) {
    const auto writes = [](const auto&) { return Access::write; };
    CLI::App* people = table.add<NoArguments>(
        "people", "Group the faces of all rolls by person", Access::read, [](CLI::App&, NoArguments&) {},
        listPeople);
    table.add<MergeArguments>(
        people, "merge", "Say that two groups are one person", writes,
        [](CLI::App& command, MergeArguments& arguments) {
            command.add_option("GROUP", arguments.into, "The group that stays: number or id")->required();
            command.add_option("OTHER", arguments.from, "The group that joins it")->required();
        },
        mergePeople);
    table.add<FaceArguments>(
        people, "move", "Put a face into another group", writes,
        [](CLI::App& command, FaceArguments& arguments) {
            declareFace(command, arguments);
            command.add_option("GROUP", arguments.group, "Number or id")->required();
        },
        moveFace);
    table.add<FaceArguments>(people, "split", "Take a face out of its group", writes, declareFace, splitFace);
}

}  // namespace

void addDiscoveryCommands(CommandTable& table) {
    table.add<SearchArguments>(
        "search", "Find photos by words", Access::read,
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
        "scenes", "Find photos of similar scenes", Access::write,
        [](CLI::App& command, PhotoArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_flag("--all", arguments.all, "Also all weaker matches");
        },
        scenes);
    table.add<PhotoArguments>(
        "faces", "Find photos of the same person", Access::write,
        [](CLI::App& command, PhotoArguments& arguments) {
            declarePhoto(command, arguments);
            command.add_option("--face", arguments.face, "Which of the photo's faces, from 1");
            command.add_flag("--all", arguments.all, "Also all weaker matches");
        },
        faces);
    addPeopleCommands(table);
}

}  // namespace kelvaris::cli
