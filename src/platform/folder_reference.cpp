#include "platform/folder_reference.h"

#include <fmt/format.h>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::string_view tokenMark = "folder1";

struct Token {
    FolderIdentity identity;
    Path path;
};

/// "folder1:<number>:<inode>:<birth>:<path>"; the path comes last, since it may hold colons. The number
/// was the device once, and is passed over.
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
    return Token{{*inode, *birth}, Path(std::string(text))};
}

}  // namespace

std::optional<std::string> makeFolderReference(const Files& files, const Path& folder) {
    const auto info = files.info(folder);
    if (!info || !info->isDirectory || !folder.string().starts_with('/')) return std::nullopt;
    const FolderIdentity identity = FolderIdentity::of(*info);
    return fmt::format("{}:0:{}:{}:{}", tokenMark, identity.inode, identity.birth, folder.string());
}

std::optional<ResolvedFolder> resolveFolderReference(const Files& files, const std::string& reference,
                                                     SiblingFolders& siblings) {
    const auto token = parseToken(reference);
    if (!token) return std::nullopt;
    std::optional<FolderIdentity> here;
    if (const auto info = files.info(token->path); info && info->isDirectory)
        here = FolderIdentity::of(*info);
    if (here == token->identity) return ResolvedFolder{token->path, false};
    if (const auto beside = siblings.find(files, token->path.parent(), token->identity)) {
        return ResolvedFolder{*beside, true};
    }
    if (!here) return std::nullopt;
    // Cards number their inodes anew at each mount, yet keep the moment of a folder's birth.
    const bool isReborn = here->birth == 0 || here->birth != token->identity.birth;
    return ResolvedFolder{token->path, isReborn};
}

}  // namespace kelvaris
