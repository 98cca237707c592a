#pragma once

#include "platform/files.h"

namespace kelvaris {

/// The file system of the machine.
class LinuxFiles final : public Files {
public:
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
};

}  // namespace kelvaris
