#include "platform_fake/fake_files.h"

#include <fmt/format.h>

#include <algorithm>

namespace kelvaris {

namespace {

using Code = FileError::Code;

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

/// An order that no caller can mistake for a sorted one, the same in every run.
std::uint32_t listingRank(std::string_view name) {
    std::uint32_t hash = 2166136261u;
    for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    return hash;
}

}  // namespace

struct FakeFiles::Node {
    enum class Kind { file, folder, link };
    Kind kind = Kind::file;
    std::shared_ptr<const Bytes> bytes = std::make_shared<Bytes>();
    std::shared_ptr<const Bytes> flushed = bytes;  ///< what a power cut leaves
    Path target;
    std::map<std::string, NodePointer> children;
    std::optional<Instant> created;
    std::optional<Instant> modified;
    std::uint64_t device = 1;
    std::uint64_t inode = 0;
    bool readOnly = false;
    bool unreadable = false;
};

/// A name in an existing folder, with or without something under it.
struct FakeFiles::Spot {
    NodePointer folder;
    std::string name;

    NodePointer node() const {
        const auto found = folder->children.find(name);
        return found == folder->children.end() ? nullptr : found->second;
    }
};

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

// --- Faults

void FakeFiles::failAtStep(std::size_t number, Code code) {
    const std::lock_guard guard(mutex_);
    steps_.clear();
    failAt_ = number;
    failCode_ = code;
    crashAt_ = 0;
}

void FakeFiles::crashAtStep(std::size_t number) {
    const std::lock_guard guard(mutex_);
    steps_.clear();
    crashAt_ = number;
    failAt_ = 0;
}

void FakeFiles::restart() {
    const std::lock_guard guard(mutex_);
    for (auto undo = unflushedNames_.rbegin(); undo != unflushedNames_.rend(); ++undo) undo->second();
    unflushedNames_.clear();
    const auto lose = [](const auto& self, const NodePointer& node) -> void {
        node->bytes = node->flushed;
        for (const auto& [name, child] : node->children) self(self, child);
    };
    lose(lose, root_);
    locked_->clear();
    clearFaults();
}

void FakeFiles::clearFaults() {
    const std::lock_guard guard(mutex_);
    failAt_ = crashAt_ = 0;
    crashed_ = false;
    steps_.clear();
}

std::size_t FakeFiles::stepCount() const {
    const std::lock_guard guard(mutex_);
    return steps_.size();
}

std::vector<FakeFiles::Step> FakeFiles::steps() const {
    const std::lock_guard guard(mutex_);
    return steps_;
}

void FakeFiles::resetSteps() {
    const std::lock_guard guard(mutex_);
    steps_.clear();
}

std::size_t FakeFiles::readCount(const Path& path) const {
    const std::lock_guard guard(mutex_);
    const auto found = readCounts_.find(path);
    return found == readCounts_.end() ? 0 : found->second;
}

FileResult<void> FakeFiles::step(Step step) {
    if (auto living = alive(); !living) return living;
    steps_.push_back(step);
    if (steps_.size() == crashAt_) {
        crashed_ = true;
        return failure(Code::other);
    }
    if (steps_.size() == failAt_) return failure(failCode_);
    return {};
}

FileResult<void> FakeFiles::alive() const {
    if (crashed_) return failure(Code::other);
    return {};
}

FileResult<void> FakeFiles::reserve(std::int64_t growth) {
    if (growth > freeSpace_) return failure(Code::noSpace);
    freeSpace_ -= growth;
    return {};
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

FileResult<std::vector<FolderEntry>> FakeFiles::list(const Path& folder, bool skipHidden) const {
    const std::lock_guard guard(mutex_);
    const auto node = readable(folder);
    if (!node) return Unexpected(node.error());
    if ((*node)->kind != Node::Kind::folder) return failure(Code::notADirectory);
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

// --- Writing

/// Puts the node under the name. Until the folder is flushed a power cut takes it back.
void FakeFiles::put(const Spot& spot, NodePointer node, bool untilFlushed) {
    NodePointer& child = spot.folder->children[spot.name];
    if (untilFlushed) {
        unflushedNames_.emplace_back(spot.folder.get(), [spot, before = child] {
            if (before) {
                spot.folder->children[spot.name] = before;
            } else {
                spot.folder->children.erase(spot.name);
            }
        });
    }
    child = std::move(node);
    spot.folder->modified = clock_.now();
}

class FakeFiles::Pending final : public PendingFile {
public:
    Pending(FakeFiles& files, Spot target, Spot temporary, Durability durability)
        : files_(files),
          target_(std::move(target)),
          temporary_(std::move(temporary)),
          durability_(durability),
          node_(temporary_.node()) {}

    ~Pending() override { discard(); }

    FileResult<void> write(ByteView bytes) override {
        const std::lock_guard guard(files_.mutex_);
        auto passed = files_.step(Step::write);
        if (passed) passed = files_.reserve(static_cast<std::int64_t>(bytes.size()));
        if (!passed) {
            discard();
            return passed;
        }
        buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
        node_->bytes = std::make_shared<Bytes>(buffer_);
        return {};
    }

    FileResult<void> commit() override {
        const std::lock_guard guard(files_.mutex_);
        const bool durable = durability_ == Durability::durable;
        if (auto flushed = durable ? files_.step(Step::flush) : FileResult<void>(); !flushed) {
            discard();
            return flushed;
        }
        if (durable) node_->flushed = node_->bytes;
        auto renamed = files_.step(Step::rename);
        const NodePointer old = target_.node();
        if (renamed && old && old->kind == Node::Kind::folder) renamed = failure(Code::isADirectory);
        if (!renamed) {
            discard();
            return renamed;
        }
        if (old) files_.freeSpace_ += static_cast<std::int64_t>(old->bytes->size());
        temporary_.folder->children.erase(temporary_.name);
        files_.put(target_, node_, true);
        node_->modified = files_.clock_.now();
        done_ = true;
        if (!durable) return {};
        auto folderFlushed = files_.step(Step::flushFolder);
        if (folderFlushed) {
            std::erase_if(files_.unflushedNames_,
                          [&](const auto& undo) { return undo.first == target_.folder.get(); });
        } else if (!files_.crashed_) {
            takeBack(old);
        }
        return folderFlushed;
    }

private:
    /// The bytes could not be promised to last, so the old file stands again.
    void takeBack(const NodePointer& old) {
        files_.unflushedNames_.back().second();
        files_.unflushedNames_.pop_back();
        if (old) files_.freeSpace_ -= static_cast<std::int64_t>(old->bytes->size());
        files_.freeSpace_ += static_cast<std::int64_t>(buffer_.size());
    }

    void discard() {
        const std::lock_guard guard(files_.mutex_);
        if (done_ || files_.crashed_) return;
        done_ = true;
        files_.freeSpace_ += static_cast<std::int64_t>(buffer_.size());
        temporary_.folder->children.erase(temporary_.name);
    }

    FakeFiles& files_;
    Spot target_;
    Spot temporary_;
    Durability durability_;
    NodePointer node_;
    Bytes buffer_;
    bool done_ = false;
};

FileResult<std::unique_ptr<PendingFile>> FakeFiles::beginWrite(const Path& path, Durability durability) {
    const std::lock_guard guard(mutex_);
    if (auto passed = step(Step::begin); !passed) return Unexpected(passed.error());
    const auto target = spot(path);
    if (!target) return Unexpected(target.error());
    if (target->folder->readOnly) return failure(Code::permissionDenied);
    if (const auto old = target->node(); old && old->kind == Node::Kind::folder) {
        return failure(Code::isADirectory);
    }
    const Spot temporary{target->folder, fmt::format(".{}.{}.tmp", target->name, nextPending_++)};
    put(temporary, makeNode(target->folder), false);
    return std::unique_ptr<PendingFile>(std::make_unique<Pending>(*this, *target, temporary, durability));
}

FileResult<void> FakeFiles::createDirectories(const Path& path) {
    const std::lock_guard guard(mutex_);
    Path at("/");
    for (const std::string& part : components(path)) {
        const Path next = at / part;
        if (const auto found = find(next)) {
            if ((*found)->kind != Node::Kind::folder) return failure(Code::notADirectory);
        } else {
            if (auto passed = step(Step::createFolder); !passed) return passed;
            const auto where = spot(next);
            if (!where) return Unexpected(where.error());
            if (where->folder->readOnly) return failure(Code::permissionDenied);
            if (where->node()) return failure(Code::alreadyExists);  // a link that leads nowhere
            NodePointer folder = makeNode(where->folder);
            folder->kind = Node::Kind::folder;
            put(*where, std::move(folder), false);
        }
        at = next;
    }
    return alive();
}

FileResult<void> FakeFiles::removeFile(const Path& path) {
    const std::lock_guard guard(mutex_);
    if (auto passed = step(Step::remove); !passed) return passed;
    const auto where = spot(path);
    if (!where) return Unexpected(where.error());
    const NodePointer node = where->node();
    if (!node) return failure(Code::notFound);
    if (node->kind == Node::Kind::folder) return failure(Code::isADirectory);
    if (where->folder->readOnly) return failure(Code::permissionDenied);
    freeSpace_ += static_cast<std::int64_t>(node->bytes->size());
    where->folder->children.erase(where->name);
    return {};
}

FileResult<void> FakeFiles::removeTree(const Path& path) {
    const std::lock_guard guard(mutex_);
    const auto where = spot(path);
    if (!where) return Unexpected(where.error());
    const NodePointer node = where->node();
    if (!node) return failure(Code::notFound);
    if (node->kind == Node::Kind::folder) {
        std::vector<std::string> names;
        for (const auto& child : node->children) names.push_back(child.first);
        for (const std::string& name : names) {
            if (auto removed = removeTree(path / name); !removed) return removed;
        }
    }
    if (auto passed = step(Step::remove); !passed) return passed;
    if (where->folder->readOnly) return failure(Code::permissionDenied);
    freeSpace_ += static_cast<std::int64_t>(node->bytes->size());
    where->folder->children.erase(where->name);
    return {};
}

FileResult<void> FakeFiles::relocate(const Path& from, const Path& to, bool overExisting) {
    if (auto passed = step(Step::move); !passed) return passed;
    const auto source = spot(from);
    if (!source) return Unexpected(source.error());
    const auto target = spot(to);
    if (!target) return Unexpected(target.error());
    const NodePointer node = source->node();
    if (!node) return failure(Code::notFound);
    if (source->folder->readOnly || target->folder->readOnly) return failure(Code::permissionDenied);
    if (source->folder->device != target->folder->device) return failure(Code::crossesDevices);
    const NodePointer old = target->node();
    if (old && !overExisting) return failure(Code::alreadyExists);
    if (old && old != node && old->kind == Node::Kind::folder) {
        if (node->kind != Node::Kind::folder) return failure(Code::isADirectory);
        if (!old->children.empty()) return failure(Code::alreadyExists);
    }
    source->folder->children.erase(source->name);
    target->folder->children[target->name] = node;
    target->folder->modified = source->folder->modified = clock_.now();
    return {};
}

FileResult<void> FakeFiles::move(const Path& from, const Path& to) {
    const std::lock_guard guard(mutex_);
    return relocate(from, to, false);
}

FileResult<void> FakeFiles::replace(const Path& from, const Path& to) {
    const std::lock_guard guard(mutex_);
    return relocate(from, to, true);
}

FileResult<void> FakeFiles::exchange(const Path& a, const Path& b) {
    const std::lock_guard guard(mutex_);
    if (auto passed = step(Step::move); !passed) return passed;
    const auto first = spot(a);
    if (!first) return Unexpected(first.error());
    const auto second = spot(b);
    if (!second) return Unexpected(second.error());
    if (!first->node() || !second->node()) return failure(Code::notFound);
    if (first->folder->readOnly || second->folder->readOnly) return failure(Code::permissionDenied);
    if (first->folder->device != second->folder->device) return failure(Code::crossesDevices);
    std::swap(first->folder->children[first->name], second->folder->children[second->name]);
    return {};
}

FileResult<void> FakeFiles::copyFile(const Path& from, const Path& to) {
    const std::lock_guard guard(mutex_);
    const auto source = readable(from);
    if (!source) return Unexpected(source.error());
    if ((*source)->kind != Node::Kind::file) return failure(Code::isADirectory);
    const auto bytes = (*source)->bytes;
    return writeAtomically(to, *bytes);
}

class FakeFiles::Held final : public FileLock {
public:
    Held(std::shared_ptr<std::set<std::uint64_t>> locked, std::uint64_t inode)
        : locked_(std::move(locked)), inode_(inode) {}
    ~Held() override { locked_->erase(inode_); }

private:
    std::shared_ptr<std::set<std::uint64_t>> locked_;
    std::uint64_t inode_;
};

FileResult<std::unique_ptr<FileLock>> FakeFiles::lock(const Path& path) {
    const std::lock_guard guard(mutex_);
    if (auto passed = step(Step::lock); !passed) return Unexpected(passed.error());
    const auto where = spot(path);
    if (!where) return Unexpected(where.error());
    if (!where->node()) {
        if (where->folder->readOnly) return failure(Code::permissionDenied);
        put(*where, makeNode(where->folder), false);
    }
    const std::uint64_t inode = where->node()->inode;
    if (!locked_->insert(inode).second) return failure(Code::inUse);
    return std::unique_ptr<FileLock>(std::make_unique<Held>(locked_, inode));
}

}  // namespace kelvaris
