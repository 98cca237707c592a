#include "vault/roll_listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <tuple>

namespace kelvaris {

namespace {

using Kind = VaultProblem::Kind;

VaultProblem problem(Kind kind, const Path& file, std::string_view text) {
    return {kind, file, fmt::format("{}: {}", file.string(), text)};
}

/// The first name wins.
bool isPreferred(const FolderEntry* a, const FolderEntry* b) {
    const auto rank = [](const FolderEntry& entry) {
        const auto id = RollID::parse(entry.path.stem());
        const bool isCanonical = id && id->text() == entry.path.stem();
        const Instant modified = entry.info ? entry.info->modified.value_or(Instant()) : Instant();
        return std::tuple(!isCanonical, Instant() - modified, entry.path.filename());
    };
    return rank(*a) < rank(*b);
}

}  // namespace

RollListing RollListing::of(const std::vector<FolderEntry>& entries) {
    RollListing listing;
    std::vector<RollID> order;
    std::map<RollID, std::vector<const FolderEntry*>> found;
    std::map<RollID, Path> backups;
    for (const FolderEntry& entry : entries) {
        if (entry.info && entry.info->isDirectory) continue;
        const std::string name = entry.path.filename();
        if (const auto mark = name.find(".md.bak"); mark != std::string::npos) {
            if (const auto id = RollID::parse(name.substr(0, mark))) backups.try_emplace(*id, entry.path);
        }
        if (entry.path.extension() != "md") continue;
        const auto id = RollID::parse(entry.path.stem());
        if (!id) {
            listing.problems.push_back(
                problem(Kind::foreign, entry.path, "is not named after a roll; it is left alone"));
            continue;
        }
        auto& files = found[*id];
        if (files.empty()) order.push_back(*id);
        files.push_back(&entry);
    }
    for (const RollID& id : order) {
        auto& files = found[id];
        std::sort(files.begin(), files.end(), isPreferred);
        Roll& roll = listing.rolls.emplace_back(Roll{id, {}});
        for (const FolderEntry* entry : files) roll.files.push_back(entry->path);
        for (std::size_t i = 1; i < roll.files.size(); ++i) {
            const std::string text =
                fmt::format("is a second file of the roll in {}; it is left alone", roll.files[0].filename());
            listing.problems.push_back(problem(Kind::duplicate, roll.files[i], text));
        }
    }
    for (const auto& [id, backup] : backups) {
        if (found.contains(id)) continue;
        listing.problems.push_back(
            problem(Kind::backupsOnly, backup, "only backups of this roll survive; its file is gone"));
    }
    return listing;
}

}  // namespace kelvaris
