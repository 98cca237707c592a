// The whole vault and its mirror, read and compared.

#include <fmt/format.h>

#include "base/text.h"
#include "command.h"
#include "session.h"
#include "vault/verification.h"

namespace kelvaris::cli {

namespace {

struct VerifyArguments {
    std::string mirror;
    bool clean = false;
};

std::string_view word(FileCheck::State state) {
    switch (state) {
        case FileCheck::State::intact:
            return "intact";
        case FileCheck::State::salvaged:
            return "salvaged";
        case FileCheck::State::fromBackup:
            return "fromBackup";
        case FileCheck::State::unreadable:
            return "unreadable";
        case FileCheck::State::absent:
            return "absent";
    }
    return {};
}

std::string_view word(RollCheck::Sidecar sidecar) {
    switch (sidecar) {
        case RollCheck::Sidecar::none:
            return "none";
        case RollCheck::Sidecar::agrees:
            return "agrees";
        case RollCheck::Sidecar::disagrees:
            return "disagrees";
        case RollCheck::Sidecar::unusable:
            return "unusable";
    }
    return {};
}

std::string_view word(RollCheck::Folder folder) {
    switch (folder) {
        case RollCheck::Folder::agrees:
            return "agrees";
        case RollCheck::Folder::disagrees:
            return "disagrees";
        case RollCheck::Folder::unreadable:
            return "unreadable";
    }
    return {};
}

std::string_view word(RollCheck::Mirror mirror) {
    switch (mirror) {
        case RollCheck::Mirror::off:
            return "off";
        case RollCheck::Mirror::agrees:
            return "agrees";
        case RollCheck::Mirror::differs:
            return "differs";
        case RollCheck::Mirror::absent:
            return "absent";
        case RollCheck::Mirror::unreadable:
            return "unreadable";
    }
    return {};
}

std::string_view word(VaultProblem::Kind kind) {
    switch (kind) {
        case VaultProblem::Kind::damaged:
            return "damaged";
        case VaultProblem::Kind::salvaged:
            return "salvaged";
        case VaultProblem::Kind::fromBackup:
            return "fromBackup";
        case VaultProblem::Kind::unreadable:
            return "unreadable";
        case VaultProblem::Kind::library:
            return "library";
        case VaultProblem::Kind::foreign:
            return "foreign";
        case VaultProblem::Kind::duplicate:
            return "duplicate";
        case VaultProblem::Kind::backupsOnly:
            return "backupsOnly";
        case VaultProblem::Kind::theirs:
            return "theirs";
        case VaultProblem::Kind::refused:
            return "refused";
        case VaultProblem::Kind::unusableVectors:
            return "unusableVectors";
    }
    return {};
}

Json json(const FileCheck& check) {
    Json object{{"file", check.file.string()}, {"state", word(check.state)}};
    if (check.backup != 0) object["backup"] = check.backup;
    if (!check.reason.empty()) object["reason"] = check.reason;
    return object;
}

Json json(const std::vector<Path>& paths) {
    Json list = Json::array();
    for (const Path& path : paths) list.push_back(path.string());
    return list;
}

Json json(const VaultReport& report) {
    Json object{{"isClean", report.isClean()}, {"rolls", Json::array()}};
    for (const RollCheck& check : report.rolls) {
        Json roll = json(check.file);
        roll["id"] = check.id;
        roll["folderPath"] = check.folderPath;
        roll["photoCount"] = check.photoCount;
        roll["sidecar"] = word(check.sidecar);
        roll["sidecarDifferences"] = check.sidecarDifferences;
        roll["folder"] = word(check.folder);
        roll["fingerprintDifferences"] = check.fingerprintDifferences;
        roll["mirror"] = word(check.mirror);
        object["rolls"].push_back(std::move(roll));
    }
    object["preferences"] = json(report.preferences);
    object["preferencesMirror"] = word(report.preferencesMirror);
    object["sidecarsWithoutRoll"] = json(report.sidecarsWithoutRoll);
    object["backupsWithoutRoll"] = json(report.backupsWithoutRoll);
    object["mirrorOnly"] = json(report.mirrorOnly);
    object["mirrorUnreadable"] = json(report.mirrorUnreadable);
    object["problems"] = Json::array();
    for (const VaultProblem& problem : report.problems) {
        object["problems"].push_back(
            {{"kind", word(problem.kind)}, {"file", problem.file.string()}, {"text", problem.text}});
    }
    object["keptBeside"] = json(report.keptBeside);
    object["removed"] = Json::array();
    for (const AsideRoll& roll : report.removed) {
        object["removed"].push_back({{"id", roll.id.text()},
                                     {"file", roll.file.string()},
                                     {"folderPath", roll.folderPath},
                                     {"photoCount", roll.photoCount},
                                     {"when", timestampText(roll.when)}});
    }
    return object;
}

/// A sentence for everything that is not as it should be.
/// @param isCleaning whether what lies about is about to be removed.
std::string text(const VaultReport& report, bool isCleaning) {
    std::string lines;
    const auto addFile = [&lines](const FileCheck& check) {
        if (check.state == FileCheck::State::fromBackup) {
            lines += fmt::format("{}: only backup {} decodes ({})\n", check.file.string(), check.backup,
                                 check.reason);
        }
        if (check.state == FileCheck::State::salvaged) {
            lines += fmt::format("{}: some of it does not decode ({})\n", check.file.string(), check.reason);
        }
        if (check.state == FileCheck::State::unreadable) {
            lines += fmt::format("{}: does not decode ({})\n", check.file.string(), check.reason);
        }
    };
    const auto addPaths = [&lines](const std::vector<Path>& paths, std::string_view what) {
        for (const Path& path : paths) lines += fmt::format("{}: {}\n", path.string(), what);
    };
    for (const RollCheck& check : report.rolls) {
        addFile(check.file);
        const std::string name = Path(check.folderPath).filename();
        if (check.sidecar == RollCheck::Sidecar::unusable)
            lines += fmt::format("{}: its vectors are unusable\n", name);
        if (check.sidecar == RollCheck::Sidecar::disagrees) {
            lines +=
                fmt::format("{}: vectors disagree for {}\n", name, joined(check.sidecarDifferences, ", "));
        }
        if (check.folder == RollCheck::Folder::unreadable && !check.id.empty()) {
            lines += fmt::format("{}: its folder {} is away\n", name, check.folderPath);
        }
        if (check.folder == RollCheck::Folder::disagrees) {
            lines += fmt::format("{}: files changed: {}\n", name, joined(check.fingerprintDifferences, ", "));
        }
        if (check.mirror != RollCheck::Mirror::off && check.mirror != RollCheck::Mirror::agrees) {
            lines += fmt::format("{}: its mirror is {}\n", name,
                                 check.mirror == RollCheck::Mirror::differs ? "behind" : word(check.mirror));
        }
    }
    addFile(report.preferences);
    addPaths(report.sidecarsWithoutRoll, "vectors of no roll");
    addPaths(report.backupsWithoutRoll, "only backups of this roll survive");
    addPaths(report.mirrorOnly, "only the mirror holds this roll");
    addPaths(report.mirrorUnreadable, "does not decode in the mirror");
    for (const VaultProblem& problem : report.problems) lines += problem.text + "\n";
    addPaths(report.keptBeside, isCleaning ? "removed" : "set aside; \"verify --clean\" removes it");
    for (const AsideRoll& roll : report.removed) {
        lines += fmt::format("{}: the roll {} was removed on {}; {}\n", roll.file.string(),
                             Path(roll.folderPath).filename(), timestampText(roll.when).substr(0, 10),
                             isCleaning ? "forgotten" : "opening its folder brings it back");
    }
    return fmt::format("{}{} rolls checked: {}\n", lines, report.rolls.size(),
                       report.isClean() ? "all is well" : "see above");
}

/// Removes what the report told, and takes it out of the report.
void clean(Session& session, VaultReport& report) {
    std::erase_if(report.keptBeside,
                  [&](const Path& path) { return session.system().files().removeFile(path).has_value(); });
    session.app().forgetRemovedRolls({});
    report.removed = session.system().vault().store().asideRolls();
    if (report.keptBeside.empty() && report.removed.empty()) return;
    const Path& left = report.keptBeside.empty() ? report.removed[0].file : report.keptBeside[0];
    throw CommandFailure(fmt::format("could not remove {}", left.string()));
}

void verify(Session& session, const VerifyArguments& arguments) {
    std::optional<Path> mirror;
    if (!arguments.mirror.empty()) {
        mirror = session.system().absolutePath(Path(arguments.mirror));
    } else if (const auto folder = session.system().preferences().mirrorFolderPath();
               folder && session.system().preferences().isMirrorEnabled()) {
        mirror = Path(*folder);
    }
    VaultReport report = verifyVault(session.system().files(), session.system().vault().paths(), mirror);
    session.answer(json(report), text(report, arguments.clean));
    if (arguments.clean) clean(session, report);
    if (!report.isClean()) throw CommandFailure("the vault is not as it should be");
}

}  // namespace

void addVerifyCommand(CommandTable& table) {
    table.add<VerifyArguments>(
        nullptr, "verify", "Read the whole vault and its mirror, say what is wrong, and change nothing",
        [](const VerifyArguments& arguments) { return arguments.clean ? Access::write : Access::none; },
        [](CLI::App& command, VerifyArguments& arguments) {
            command.add_option("--mirror", arguments.mirror,
                               "A mirror's folder; left out: the one that is on");
            command.add_flag("--clean", arguments.clean,
                             "Afterwards remove what was set aside, and forget removed rolls for good");
        },
        verify);
}

}  // namespace kelvaris::cli
