#include "platform/folder_reference.h"

#include <fmt/format.h>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::string_view tokenMark = "folder1";

struct FolderIdentity {
    std::int64_t device = 0;
    std::int64_t inode = 0;
    std::int64_t birth = 0;  ///< inodes are used again: the birth tells a new folder from the old one
    bool operator==(const FolderIdentity&) const = default;
};

FolderIdentity identityOf(const FileInfo& info) {
    return {static_cast<std::int64_t>(info.device), static_cast<std::int64_t>(info.inode),
            info.created ? info.created->sinceEpoch().count() : 0};
}

struct Token {
    FolderIdentity identity;
    Path path;
};

/// "folder1:<device>:<inode>:<birth>:<path>"; the path comes last, since it may hold colons.
std::optional<Token> parseToken(std::string_view text) {
    std::string_view fields[4];
    for (std::string_view& field : fields) {
        const auto colon = text.find(':');
        if (colon == std::string_view::npos) return std::nullopt;
        field = text.substr(0, colon);
        text.remove_prefix(colon + 1);
    }
    const auto device = parseInteger(fields[1]);
    const auto inode = parseInteger(fields[2]);
    const auto birth = parseInteger(fields[3]);
    if (fields[0] != tokenMark || !device || !inode || !birth || !text.starts_with('/')) return std::nullopt;
    return Token{{*device, *inode, *birth}, Path(std::string(text))};
}

}  // namespace

std::optional<std::string> makeFolderReference(const Files& files, const Path& folder) {
    const auto info = files.info(folder);
    if (!info || !info->isDirectory || !folder.string().starts_with('/')) return std::nullopt;
    const FolderIdentity identity = identityOf(*info);
    return fmt::format("{}:{}:{}:{}:{}", tokenMark, identity.device, identity.inode, identity.birth,
                       folder.string());
}

std::optional<ResolvedFolder> resolveFolderReference(const Files& files, const std::string& reference) {
    const auto token = parseToken(reference);
    if (!token) return std::nullopt;
    const auto here = files.info(token->path);
    if (here && here->isDirectory && identityOf(*here) == token->identity) {
        return ResolvedFolder{token->path, false};
    }
    if (const auto beside = files.list(token->path.parent())) {
        for (const FolderEntry& entry : *beside) {
            if (entry.info && entry.info->isDirectory && identityOf(*entry.info) == token->identity) {
                return ResolvedFolder{entry.path, true};
            }
        }
    }
    if (here && here->isDirectory) return ResolvedFolder{token->path, true};
    return std::nullopt;
}

}  // namespace kelvaris
