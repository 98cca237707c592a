#include "vault/restore.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "vault/mirror_documents.h"
#include "vault/mirror_report.h"

namespace kelvaris {

namespace {

using Act = RestoreDecision::Act;

bool isCopyOfRoll(const Path& file) {
    return file.extension() == "md" && file.filename().find(".bak") == std::string::npos;
}

/// The file; nothing in it when none stands there.
FileResult<std::optional<FileVersion>> readVersion(const Files& files, const Path& path) {
    auto bytes = readVaultFile(files, path);
    if (!bytes && bytes.error().code == FileError::Code::notFound) return std::optional<FileVersion>();
    if (!bytes) return Unexpected(bytes.error());
    const auto info = files.info(path);
    return std::optional(FileVersion{std::move(*bytes), info ? info->modified : std::nullopt});
}

/// One restore under way.
class Restore {
public:
    Restore(const RestoreTools& tools, const Path& folder, bool replacesNewer)
        : tools_(tools), mirror_(MirrorPaths::under(folder)), replacesNewer_(replacesNewer) {
        for (const Path& file : tools.store.rollFiles()) {
            if (const auto id = RollID::parse(file.stem())) local_.emplace(*id, file);
        }
        for (const AsideRoll& roll : tools.store.asideRolls()) removed_.insert(roll.id);
    }

    RestoreReport run() {
        restoreRolls();
        restorePreferences();
        return std::move(report_);
    }

private:
    void restoreRolls() {
        auto entries = tools_.files.list(mirror_.rolls);
        report_.foundRolls = entries.has_value();
        if (!entries) return;
        std::vector<Path> copies;
        for (const FolderEntry& entry : *entries) {
            if (isCopyOfRoll(entry.path)) copies.push_back(entry.path);
        }
        std::sort(copies.begin(), copies.end());  // the canonical upper case comes first
        for (const Path& copy : copies) {
            if (tools_.isEnding) return;
            restoreRoll(copy);
        }
    }

    void restoreRoll(const Path& copy) {
        const auto id = RollID::parse(copy.stem());
        if (!id) {
            report_.skipped.push_back({copy.filename(), "It is not named after a roll"});
            return;
        }
        if (done_.contains(*id)) {
            report_.skipped.push_back({copy.filename(), "It is a second file of one roll"});
            return;
        }
        const auto known = local_.find(*id);
        Path target = known == local_.end() ? tools_.store.paths().rollFile(*id) : known->second;
        auto decision = decided(copy, target);
        const bool wasRemoved = known == local_.end() && removed_.contains(*id);
        if (decision && decision->act == Act::take && wasRemoved) {
            if (const auto back = tools_.store.takeBack(*id)) {
                ++report_.takenBack;
                target = *back;
                decision = decided(copy, target);
            }
        }
        if (!decision) return;
        if (decision->act != Act::skip) done_.insert(*id);
        const std::string name = decision->name.empty() ? copy.filename() : decision->name;
        if (!perform(*decision, name, target)) return;
        ++report_.restored;
        report_.replaced += decision->act == Act::replace;
        report_.unchanged += decision->act == Act::leave && !wasRemoved;
    }

    std::optional<RestoreDecision> decided(const Path& copy, const Path& target) {
        const auto versions = readBoth(copy, target);
        if (!versions) return std::nullopt;
        return decidedRoll(copy.stem(), versions->mirrored, versions->local, replacesNewer_);
    }

    void restorePreferences() {
        if (tools_.isEnding || !tools_.files.exists(mirror_.preferencesFile)) return;
        const Path& target = tools_.store.paths().preferencesFile;
        const auto versions = readBoth(mirror_.preferencesFile, target);
        if (!versions) return;
        const auto& [mirrored, local] = *versions;
        const auto decision =
            decidedPreferences(mirrored, local, replacesNewer_, tools_.language, tools_.clock);
        if (perform(decision, target.filename(), target)) report_.preferences = decision.act;
    }

    struct Versions {
        FileVersion mirrored;
        std::optional<FileVersion> local;
    };

    std::optional<Versions> readBoth(const Path& copy, const Path& target) {
        auto mirrored = readVersion(tools_.files, copy);
        if (!mirrored || !*mirrored) {
            report_.skipped.push_back({copy.filename(), mirrored ? "It is gone" : mirrored.error().message});
            return std::nullopt;
        }
        auto local = readVersion(tools_.files, target);
        if (!local) {  // unreadable is not absent: what stands there may be the only copy of its work
            report_.failures.push_back({copy.filename(), local.error().message});
            return std::nullopt;
        }
        return Versions{std::move(**mirrored), std::move(*local)};
    }

    /// @return whether the file says now what the mirror says; if not, the report tells.
    bool perform(const RestoreDecision& decision, const std::string& name, const Path& target) {
        switch (decision.act) {
            case Act::leave:
                return true;
            case Act::keepNewer:
                report_.kept.push_back({name, ""});
                return false;
            case Act::skip:
                report_.skipped.push_back({name, decision.reason});
                return false;
            case Act::take:
            case Act::replace:
                break;
        }
        const Replacement written = tools_.store.replaceWithBackups(target, decision.bytes, std::nullopt);
        if (written.isSaved()) return true;
        report_.failures.push_back({name, written.error});
        log::error("Vault", "Restore failed for {}: {}", target.filename(), written.error);
        return false;
    }

    const RestoreTools& tools_;
    const MirrorPaths mirror_;
    const bool replacesNewer_;
    std::map<RollID, Path> local_;  ///< the vault's roll files
    std::set<RollID> removed_;      ///< rolls that were put aside
    std::set<RollID> done_;         ///< of which the mirror's file was good
    RestoreReport report_;
};

std::string namesOf(const std::vector<RestoreNote>& notes) {
    std::vector<std::string> names;
    for (const RestoreNote& note : notes) names.push_back(note.name);
    return namesText(names);
}

std::string reasonsOf(const std::vector<RestoreNote>& notes) {
    std::vector<MirrorFailure> failures;
    for (const RestoreNote& note : notes) failures.push_back({"", note.name, note.reason});
    return failureText(failures);
}

/// ": 3 differed (...), 2 said the same": nothing where every roll was new here.
std::string differencesText(const RestoreReport& report) {
    std::vector<std::string> parts;
    if (report.replaced > 0) {
        parts.push_back(fmt::format("{} differed, and what stood here is kept as a backup", report.replaced));
    }
    if (report.unchanged > 0) parts.push_back(fmt::format("{} said the same already", report.unchanged));
    return parts.empty() ? "" : ": " + joined(parts, "; ");
}

}  // namespace

bool RestoreReport::hasChangedAnything() const {
    return restored > unchanged || takenBack > 0 || preferences == Act::take || preferences == Act::replace;
}

bool RestoreReport::hasFailed() const {
    return !refusal.empty() || !foundRolls || !failures.empty() || (restored == 0 && !skipped.empty());
}

std::string restoreText(const RestoreReport& report) {
    if (!report.refusal.empty()) return report.refusal;
    std::vector<std::string> lines{
        fmt::format("Restored {} rolls from backup folder{}", report.restored, differencesText(report))};
    if (!report.kept.empty()) {
        lines.push_back(
            fmt::format("Kept {} that changed here after the mirror did: {} (say --replace to "
                        "take the mirror's)",
                        report.kept.size(), namesOf(report.kept)));
    }
    if (!report.skipped.empty()) {
        lines.push_back(
            fmt::format("Skipped {} of the mirror: {}", report.skipped.size(), reasonsOf(report.skipped)));
    }
    if (!report.failures.empty()) {
        lines.push_back(
            fmt::format("Failed to restore {}: {}", report.failures.size(), reasonsOf(report.failures)));
    }
    if (!report.foundRolls) lines.push_back("The folder holds no backup of rolls");
    return joined(lines, "\n");
}

RestoreReport restoreFromMirror(const RestoreTools& tools, const Path& folder, bool replacesNewer) {
    RestoreReport report = Restore(tools, folder, replacesNewer).run();
    if (report.foundRolls) log::info("Vault", "Restored {} rolls from backup folder", report.restored);
    return report;
}

}  // namespace kelvaris
