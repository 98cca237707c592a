#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"

namespace kelvaris {

/// A file system in memory that fails on demand. Any thread.
///
/// Every step of a writing operation is counted; a test lets step 1, 2, 3 … fail until the operation
/// passes, and looks each time whether the old or the new state stands.
class FakeFiles final : public Files {
public:
    enum class Step { begin, write, flush, rename, flushFolder, createFolder, remove, move, lock };

    explicit FakeFiles(const Clock& clock);
    ~FakeFiles() override;

    // --- The world, arranged by the test: never counted, never failing. Missing folders are made.

    void addFolder(const Path& path);
    void addFile(const Path& path, ByteView bytes);
    void addFile(const Path& path, std::string_view text) { addFile(path, asBytes(text)); }
    /// @param target absolute, or relative to the link's folder; need not exist.
    void addLink(const Path& path, const Path& target);
    /// A folder on another device: moves across its border are Code::crossesDevices.
    void addDevice(const Path& path);
    void setTimes(const Path& path, std::optional<Instant> created, std::optional<Instant> modified);
    void setReadOnly(const Path& folder, bool readOnly = true);
    void setUnreadable(const Path& path, bool unreadable = true);
    /// The entry is listed once more and is gone right after.
    void vanishAfterListing(const Path& path);
    /// Removes whatever is there, as another program would.
    void erase(const Path& path);
    /// Renames a file or folder, as another program would; its inode stays.
    void rename(const Path& from, const Path& to);
    /// What all files together may still grow by.
    void setFreeSpace(std::int64_t bytes);

    // --- Faults

    /// Lets the number-th writing step from now on (1 is the next one) fail, that one alone.
    void failAtStep(std::size_t number, FileError::Code code = FileError::Code::other);
    /// The number-th writing step from now on fails, and with it everything later, reading too, until
    /// restart(): the process is dead. Pending files stay where they are.
    void crashAtStep(std::size_t number);
    /// Brings the world back after a crash as a power cut leaves it: bytes that were not flushed are
    /// gone, and so are renames whose folder was not flushed. Locks are free, faults are cleared.
    void restart();
    /// Without a power cut: what was written stays.
    void clearFaults();
    /// Writing steps since the last resetSteps() or fault setting.
    std::size_t stepCount() const;
    std::vector<Step> steps() const;
    void resetSteps();
    /// How often a file's bytes were read or mapped.
    std::size_t readCount(const Path& path) const;
    /// How often a folder was listed.
    std::size_t listCount(const Path& folder) const;

    // --- Looking, without counting

    std::optional<std::string> contents(const Path& path) const;
    /// All files and links below the folder, by path.
    std::vector<Path> allFiles(const Path& below = Path("/")) const;

    // --- Files

    FileResult<Bytes> read(const Path& path, std::int64_t limit = INT64_MAX) const override;
    FileResult<std::unique_ptr<MappedFile>> map(const Path& path) const override;
    FileResult<FileInfo> info(const Path& path) const override;
    FileResult<Path> canonical(const Path& path) const override;
    FileResult<std::vector<FolderEntry>> list(const Path& folder, bool skipHidden = true) const override;
    FileResult<std::int64_t> freeSpace(const Path& folder) const override;
    FileResult<std::unique_ptr<PendingFile>> beginWrite(const Path& path,
                                                        Durability durability = Durability::durable) override;
    FileResult<void> createDirectories(const Path& path) override;
    FileResult<void> removeFile(const Path& path) override;
    FileResult<void> removeTree(const Path& path) override;
    FileResult<void> move(const Path& from, const Path& to) override;
    FileResult<void> replace(const Path& from, const Path& to) override;
    FileResult<void> exchange(const Path& a, const Path& b) override;
    FileResult<void> copyFile(const Path& from, const Path& to) override;
    FileResult<std::unique_ptr<FileLock>> lock(const Path& path) override;

private:
    struct Node;
    using NodePointer = std::shared_ptr<Node>;
    class Pending;
    class Held;
    struct Spot;

    NodePointer makeNode(const NodePointer& parent);
    FileResult<NodePointer> find(const Path& path, bool followLast = true, int depth = 0) const;
    FileResult<Path> withoutLinks(const Path& path, int depth) const;
    FileResult<Spot> spot(const Path& path) const;
    NodePointer ensureFolder(const Path& path);
    Spot ensureSpot(const Path& path);
    FileResult<void> step(Step step);
    FileResult<void> alive() const;
    FileResult<void> reserve(std::int64_t growth);
    FileResult<NodePointer> readable(const Path& path) const;
    FileInfo infoOf(const Node& node) const;
    void put(const Spot& spot, NodePointer node, bool untilFlushed);
    FileResult<void> relocate(const Path& from, const Path& to, bool overExisting);

    const Clock& clock_;
    mutable std::recursive_mutex mutex_;
    NodePointer root_;
    std::uint64_t nextInode_ = 2;
    std::uint64_t nextDevice_ = 2;
    std::uint64_t nextPending_ = 1;
    std::int64_t freeSpace_ = 1'000'000'000'000;
    std::vector<Step> steps_;
    std::size_t failAt_ = 0;
    FileError::Code failCode_ = FileError::Code::other;
    std::size_t crashAt_ = 0;
    bool crashed_ = false;
    std::vector<std::pair<const Node*, std::function<void()>>> unflushedNames_;
    mutable std::map<Path, std::size_t> readCounts_;
    mutable std::map<Path, std::size_t> listCounts_;
    mutable std::set<Path> vanishing_;
    std::shared_ptr<std::set<std::uint64_t>> locked_;
};

}  // namespace kelvaris
