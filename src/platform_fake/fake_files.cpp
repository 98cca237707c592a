#include <algorithm>

#include "platform_fake/fake_files_tree.h"

namespace kelvaris {

using namespace fake_files;

namespace {

struct CodeText {
    Code code;
    const char* text;
};
constexpr CodeText codeTexts[] = {
    {Code::notFound, "No such file or directory"},
    {Code::permissionDenied, "Permission denied"},
    {Code::noSpace, "No space left on device"},
    {Code::alreadyExists, "File exists"},
    {Code::notADirectory, "Not a directory"},
    {Code::isADirectory, "Is a directory"},
    {Code::crossesDevices, "Invalid cross-device link"},
    {Code::readOnly, "Read-only file system"},
    {Code::tooLarge, "File too large"},
    {Code::inUse, "Resource temporarily unavailable"},
    {Code::other, "Input/output error"},
};

/// An order that no caller can mistake for a sorted one, the same in every run.
std::uint32_t listingRank(std::string_view name) {
    std::uint32_t hash = 2166136261u;
    for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    return hash;
}

}  // namespace

namespace fake_files {

Unexpected<FileError> failure(Code code) {
    for (const CodeText& row : codeTexts) {
        if (row.code == code) return Unexpected(FileError{code, row.text});
    }
    return Unexpected(FileError{code, "Input/output error"});
}

std::vector<std::string> components(const Path& path) {
    std::vector<std::string> result;
    std::string_view rest = path.string();
    while (!rest.empty()) {
        const auto slash = rest.find('/');
        const std::string_view part = rest.substr(0, slash);
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
        if (part.empty() || part == ".") continue;
        if (part == "..") {
            if (!result.empty()) result.pop_back();
        } else {
            result.emplace_back(part);
        }
    }
    return result;
}

}  // namespace fake_files

FakeFiles::FakeFiles(const Clock& clock)
    : clock_(clock), locked_(std::make_shared<std::set<std::uint64_t>>()) {
    root_ = std::make_shared<Node>();
    root_->kind = Node::Kind::folder;
    root_->inode = 1;
    root_->created = root_->modified = clock.now();
}

FakeFiles::~FakeFiles() = default;

FakeFiles::NodePointer FakeFiles::makeNode(const NodePointer& parent) {
    auto node = std::make_shared<Node>();
    node->inode = nextInode_++;
    node->device = parent->device;
    node->created = node->modified = clock_.now();
    return node;
}

FileResult<FakeFiles::NodePointer> FakeFiles::find(const Path& path, bool followLast, int depth) const {
    if (depth > 40) return failure(Code::other);
    if (!path.string().starts_with('/')) return failure(Code::notFound);
    NodePointer node = root_;
    Path at("/");
    const auto parts = components(path);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (node->kind != Node::Kind::folder) return failure(Code::notADirectory);
        const auto child = node->children.find(parts[i]);
        if (child == node->children.end()) return failure(Code::notFound);
        node = child->second;
        if (node->kind == Node::Kind::link && (followLast || i + 1 < parts.size())) {
            const Path target =
                node->target.string().starts_with('/') ? node->target : at / node->target.string();
            auto led = find(target, true, depth + 1);
            if (!led) return led;
            node = *led;
        }
        at = at / parts[i];
    }
    return node;
}

FileResult<FakeFiles::Spot> FakeFiles::spot(const Path& path) const {
    const auto folder = find(path.parent());
    if (!folder) return Unexpected(folder.error());
    if ((*folder)->kind != Node::Kind::folder) return failure(Code::notADirectory);
    return Spot{*folder, path.filename()};
}

FakeFiles::NodePointer FakeFiles::ensureFolder(const Path& path) {
    NodePointer node = root_;
    for (const std::string& part : components(path)) {
        NodePointer& child = node->children[part];
        if (!child) {
            child = makeNode(node);
            child->kind = Node::Kind::folder;
        }
        node = child;
    }
    return node;
}

FakeFiles::Spot FakeFiles::ensureSpot(const Path& path) {
    return {ensureFolder(path.parent()), path.filename()};
}

// --- The world

void FakeFiles::addFolder(const Path& path) {
    const std::lock_guard guard(mutex_);
    ensureFolder(path);
}

void FakeFiles::addFile(const Path& path, ByteView bytes) {
    const std::lock_guard guard(mutex_);
    const Spot spot = ensureSpot(path);
    NodePointer node = makeNode(spot.folder);
    node->bytes = node->flushed = std::make_shared<Bytes>(bytes.begin(), bytes.end());
    spot.folder->children[spot.name] = std::move(node);
}

void FakeFiles::addLink(const Path& path, const Path& target) {
    const std::lock_guard guard(mutex_);
    const Spot spot = ensureSpot(path);
    NodePointer node = makeNode(spot.folder);
    node->kind = Node::Kind::link;
    node->target = target;
    spot.folder->children[spot.name] = std::move(node);
}

void FakeFiles::addDevice(const Path& path) {
    const std::lock_guard guard(mutex_);
    ensureFolder(path)->device = nextDevice_++;
}

void FakeFiles::setTimes(const Path& path, std::optional<Instant> created, std::optional<Instant> modified) {
    const std::lock_guard guard(mutex_);
    if (const auto node = find(path)) {
        (*node)->created = created;
        (*node)->modified = modified;
    }
}

void FakeFiles::setReadOnly(const Path& folder, bool readOnly) {
    const std::lock_guard guard(mutex_);
    if (const auto node = find(folder)) (*node)->readOnly = readOnly;
}

void FakeFiles::setUnreadable(const Path& path, bool unreadable) {
    const std::lock_guard guard(mutex_);
    if (const auto node = find(path)) (*node)->unreadable = unreadable;
}

void FakeFiles::vanishAfterListing(const Path& path) {
    const std::lock_guard guard(mutex_);
    vanishing_.insert(path);
}

void FakeFiles::erase(const Path& path) {
    const std::lock_guard guard(mutex_);
    if (const auto at = spot(path)) at->folder->children.erase(at->name);
}

void FakeFiles::rename(const Path& from, const Path& to) {
    const std::lock_guard guard(mutex_);
    const auto at = spot(from);
    if (!at) return;
    const NodePointer node = at->node();
    if (!node) return;
    at->folder->children.erase(at->name);
    const Spot target = ensureSpot(to);
    target.folder->children[target.name] = node;
}

void FakeFiles::setFreeSpace(std::int64_t bytes) {
    const std::lock_guard guard(mutex_);
    freeSpace_ = bytes;
}

// --- Looking

std::optional<std::string> FakeFiles::contents(const Path& path) const {
    const std::lock_guard guard(mutex_);
    const auto node = find(path);
    if (!node || (*node)->kind != Node::Kind::file) return std::nullopt;
    return std::string(asText(*(*node)->bytes));
}

std::vector<Path> FakeFiles::allFiles(const Path& below) const {
    const std::lock_guard guard(mutex_);
    std::vector<Path> result;
    const auto walk = [&](const auto& self, const Path& path, const Node& node) -> void {
        if (node.kind != Node::Kind::folder) {
            result.push_back(path);
            return;
        }
        for (const auto& [name, child] : node.children) self(self, path / name, *child);
    };
    if (const auto node = find(below)) walk(walk, below, **node);
    return result;
}

// --- Reading

FileInfo FakeFiles::infoOf(const Node& node) const {
    return {.isRegularFile = node.kind == Node::Kind::file,
            .isDirectory = node.kind == Node::Kind::folder,
            .size = static_cast<std::int64_t>(node.bytes->size()),
            .created = node.created,
            .modified = node.modified,
            .device = node.device,
            .inode = node.inode};
}

FileResult<FakeFiles::NodePointer> FakeFiles::readable(const Path& path) const {
    if (auto living = alive(); !living) return Unexpected(living.error());
    auto node = find(path);
    if (!node) return node;
    if ((*node)->unreadable) return failure(Code::permissionDenied);
    return node;
}

FileResult<Bytes> FakeFiles::read(const Path& path, std::int64_t limit) const {
    const std::lock_guard guard(mutex_);
    const auto node = readable(path);
    if (!node) return Unexpected(node.error());
    if ((*node)->kind == Node::Kind::folder) return failure(Code::isADirectory);
    if (static_cast<std::int64_t>((*node)->bytes->size()) > limit) return failure(Code::tooLarge);
    ++readCounts_[path];
    return *(*node)->bytes;
}

FileResult<std::unique_ptr<MappedFile>> FakeFiles::map(const Path& path) const {
    struct Mapping final : MappedFile {
        explicit Mapping(std::shared_ptr<const Bytes> bytes) : held(std::move(bytes)) {}
        ByteView bytes() const override { return *held; }
        std::shared_ptr<const Bytes> held;
    };
    const std::lock_guard guard(mutex_);
    const auto node = readable(path);
    if (!node) return Unexpected(node.error());
    if ((*node)->kind == Node::Kind::folder) return failure(Code::isADirectory);
    ++readCounts_[path];
    return std::unique_ptr<MappedFile>(std::make_unique<Mapping>((*node)->bytes));
}

FileResult<FileInfo> FakeFiles::info(const Path& path) const {
    const std::lock_guard guard(mutex_);
    if (auto living = alive(); !living) return Unexpected(living.error());
    const auto node = find(path);
    if (!node) return Unexpected(node.error());
    return infoOf(**node);
}

FileResult<Path> FakeFiles::withoutLinks(const Path& path, int depth) const {
    if (depth > 40) return failure(Code::other);
    Path at("/");
    for (const std::string& part : components(path)) {
        const auto node = find(at / part, false);
        if (!node) return Unexpected(node.error());
        if ((*node)->kind != Node::Kind::link) {
            at = at / part;
            continue;
        }
        const Path& target = (*node)->target;
        const auto led =
            withoutLinks(target.string().starts_with('/') ? target : at / target.string(), depth + 1);
        if (!led) return led;
        at = *led;
    }
    return at;
}

FileResult<Path> FakeFiles::canonical(const Path& path) const {
    const std::lock_guard guard(mutex_);
    if (auto living = alive(); !living) return Unexpected(living.error());
    if (const auto node = find(path); !node) return Unexpected(node.error());
    return withoutLinks(path, 0);
}

FileResult<std::vector<FolderEntry>> FakeFiles::list(const Path& folder, bool skipHidden) const {
    const std::lock_guard guard(mutex_);
    const auto node = readable(folder);
    if (!node) return Unexpected(node.error());
    if ((*node)->kind != Node::Kind::folder) return failure(Code::notADirectory);
    ++listCounts_[folder];
    std::vector<FolderEntry> entries;
    for (const auto& [name, child] : (*node)->children) {
        if (skipHidden && name.starts_with('.')) continue;
        const Path path = folder / name;
        const auto led = find(path);
        entries.push_back({path, led ? std::optional(infoOf(**led)) : std::nullopt});
    }
    std::sort(entries.begin(), entries.end(), [](const FolderEntry& a, const FolderEntry& b) {
        return listingRank(a.path.filename()) < listingRank(b.path.filename());
    });
    for (const FolderEntry& entry : entries) {
        if (vanishing_.erase(entry.path) > 0) (*node)->children.erase(entry.path.filename());
    }
    return entries;
}

FileResult<std::int64_t> FakeFiles::freeSpace(const Path& folder) const {
    const std::lock_guard guard(mutex_);
    const auto node = readable(folder);
    if (!node) return Unexpected(node.error());
    return freeSpace_;
}

}  // namespace kelvaris
