#include "library/folder_verdict.h"

#include <optional>
#include <unordered_map>

namespace kelvaris {

namespace {

using Kind = FolderVerdict::Kind;

struct ReasonOfKind {
    Kind kind;
    std::string_view reason;
};
constexpr ReasonOfKind reasons[] = {
    {Kind::present, ""},
    {Kind::gone, "its folder is not there"},
    {Kind::unreadable, "its folder cannot be read"},
    {Kind::empty, "its folder is empty"},
    {Kind::otherFiles, "its folder holds other files"},
};

Kind kindOf(FileError::Code code) {
    const bool isGone = code == FileError::Code::notFound || code == FileError::Code::notADirectory;
    return isGone ? Kind::gone : Kind::unreadable;
}

std::string_view nameOf(const FolderEntry& entry) {
    const std::string_view path = entry.path.string();
    return path.substr(path.rfind('/') + 1);
}

/// What a listing has under the name of a known file.
struct Listed {
    bool isThere = false;
    std::optional<std::int64_t> size;  ///< absent when the file refuses to be looked at
};

}  // namespace

std::string_view FolderVerdict::awayReason() const {
    for (const ReasonOfKind& row : reasons) {
        if (row.kind == kind) return row.reason;
    }
    return {};
}

FolderVerdict judgeFolder(const FileResult<std::vector<FolderEntry>>& listing,
                          std::span<const FileFingerprint> known) {
    if (!listing) return {kindOf(listing.error().code), {}};
    if (known.empty()) return {};
    if (listing->empty()) return {Kind::empty, {}};

    std::unordered_map<std::string_view, Listed> byName;
    byName.reserve(known.size());
    for (const FileFingerprint& file : known) byName.try_emplace(file.filename);
    for (const FolderEntry& entry : *listing) {
        const auto found = byName.find(nameOf(entry));
        if (found == byName.end() || (entry.info && !entry.info->isRegularFile)) continue;
        found->second.isThere = true;
        if (entry.info) found->second.size = entry.info->size;
    }

    FolderVerdict verdict;
    bool isKnown = false;
    bool isRefused = false;
    for (const FileFingerprint& file : known) {
        const Listed& listed = byName.at(file.filename);
        if (!listed.isThere) {
            verdict.missing.push_back(file.filename);
        } else if (!listed.size) {
            isRefused = true;
        } else if (*listed.size == file.size) {
            isKnown = true;
        }
    }
    if (isKnown) return verdict;
    return {isRefused ? Kind::unreadable : Kind::otherFiles, {}};
}

FolderVerdict judgeFolder(const Files& files, const Path& folder, std::span<const FileFingerprint> known) {
    return judgeFolder(files.list(folder), known);
}

}  // namespace kelvaris
