// The operations of the machine in memory that change something. Each counts its steps.

#include <fmt/format.h>

#include <algorithm>

#include "platform_fake/fake_files_tree.h"

namespace kelvaris {

using namespace fake_files;

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
