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
};

std::string_view word(FileCheck::State state) {
    switch (state) {
        case FileCheck::State::intact:
            return "intact";
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
    return object;
}

/// A sentence for everything that is not as it should be.
std::string text(const VaultReport& report) {
    std::string lines;
    const auto addFile = [&lines](const FileCheck& check) {
        if (check.state == FileCheck::State::fromBackup) {
            lines += fmt::format("{}: only backup {} decodes ({})\n", check.file.string(), check.backup,
                                 check.reason);
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
    return fmt::format("{}{} rolls checked: {}\n", lines, report.rolls.size(),
                       report.isClean() ? "all is well" : "see above");
}

void verify(Session& session, const VerifyArguments& arguments) {
    std::optional<Path> mirror;
    if (!arguments.mirror.empty()) {
        mirror = session.system().absolutePath(Path(arguments.mirror));
    } else if (const auto folder = session.system().preferences().mirrorFolderPath();
               folder && session.system().preferences().isMirrorEnabled()) {
        mirror = Path(*folder);
    }
    const VaultReport report =
        verifyVault(session.system().files(), session.system().vault().paths(), mirror);
    session.answer(json(report), text(report));
    if (!report.isClean()) throw CommandFailure("the vault is not as it should be");
}

}  // namespace

void addVerifyCommand(CommandTable& table) {
    table.add<VerifyArguments>(
        "verify", "Read the whole vault and its mirror, say what is wrong, and change nothing", Access::none,
        [](CLI::App& command, VerifyArguments& arguments) {
            command.add_option("--mirror", arguments.mirror,
                               "A mirror's folder; left out: the one that is on");
        },
        verify);
}

}  // namespace kelvaris::cli
