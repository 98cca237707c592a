// The people of the library, and the user's corrections of them.

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <span>
#include <unordered_map>
#include <utility>

#include "arguments.h"
#include "assembly/discovery_parts.h"
#include "base/text.h"
#include "discovery_commands.h"
#include "references.h"
#include "session.h"
#include "texts.h"

namespace kelvaris::cli {

namespace {

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

/// The people of the library, and what a command says of them. A group goes by its number in the list, by
/// its id, or by a beginning of that.
class People {
public:
    explicit People(Session& session) : session_(session), parts_(session.system()) {
        for (const RollPointer& roll : session.app().rolls()) rolls_.emplace(roll->id(), roll);
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
            const FaceAnchor& anchor = face.anchor;
            members.push_back({{"roll", anchor.rollID.text()},
                               {"name", rollName(anchor.rollID)},
                               {"photo", anchor.filename},
                               {"face", faceNumber(anchor)},
                               {"x", anchor.x},
                               {"y", anchor.y},
                               {"width", anchor.width},
                               {"height", anchor.height}});
        }
        return {{"number", number(group)},
                {"id", group.id},
                {"manual", group.manual},
                {"faces", std::move(members)}};
    }

    /// "kyoto/scan_02.jpg", and with "#2" the second of its faces where it shows several.
    std::string photosOf(const SuggestedFaceGroup& group) {
        std::vector<std::string> names;
        for (const IndexedFace& face : group.faces) {
            const FaceAnchor& anchor = face.anchor;
            const bool isOnly = facesOf(anchor).size() < 2;
            names.push_back(fmt::format("{}/{}{}", rollName(anchor.rollID), anchor.filename,
                                        isOnly ? "" : fmt::format("#{}", faceNumber(anchor))));
        }
        return joined(names, " ");
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

private:
    std::size_t number(const SuggestedFaceGroup& group) {
        return static_cast<std::size_t>(&group - list().data()) + 1;
    }

    std::string rollName(RollID id) {
        const auto roll = rolls_.find(id);
        return roll == rolls_.end() ? id.text() : roll->second->name();
    }

    /// All faces of the photo that the anchor names.
    std::span<const FaceRegion> facesOf(const FaceAnchor& anchor) {
        const auto roll = rolls_.find(anchor.rollID);
        if (roll == rolls_.end()) return {};
        for (const PhotoPointer& photo : roll->second->photos()) {
            if (photo->filename() == anchor.filename && photo->faceRegions()) return *photo->faceRegions();
        }
        return {};
    }

    /// The face's number within its photo, from 1.
    std::size_t faceNumber(const FaceAnchor& anchor) {
        const NormalizedRect box{anchor.x, anchor.y, anchor.width, anchor.height};
        const std::span<const FaceRegion> faces = facesOf(anchor);
        const auto found = std::find_if(faces.begin(), faces.end(),
                                        [&](const FaceRegion& face) { return face.boundingBox == box; });
        return static_cast<std::size_t>(found - faces.begin()) + 1;
    }

    Session& session_;
    DiscoveryParts parts_;
    std::unordered_map<RollID, RollPointer> rolls_;
};

void listPeople(Session& session, const NoArguments&) {
    People people(session);
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"GROUP", "FACES", "PHOTOS"}};
    for (const SuggestedFaceGroup& group : people.list()) {
        rows.push_back(
            {std::to_string(rows.size()), std::to_string(group.faces.size()), people.photosOf(group)});
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

void declareFace(CLI::App& command, FaceArguments& arguments) {
    command.add_option("ROLL", arguments.roll)->required();
    command.add_option("PHOTO", arguments.photo, "File name or number")->required();
    command.add_option("FACE", arguments.face, "Which of the photo's faces, from 1")
        ->required()
        ->check(decimalNumber());
}

}  // namespace

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

}  // namespace kelvaris::cli
