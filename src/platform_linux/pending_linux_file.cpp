#include "platform_linux/pending_linux_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform_linux/file_errors.h"
#include "platform_linux/native_path.h"

namespace kelvaris {

namespace {

/// Short whatever the target's name is: that may use up all the bytes a name can have.
/// Of the form that isPendingFileName() knows.
std::string temporaryName() {
    std::uint64_t random = 0;
    if (getrandom(&random, sizeof random, 0) != sizeof random) random = static_cast<std::uint64_t>(getpid());
    return fmt::format(".kelvaris-{:016x}.tmp", random);
}

class PendingLinuxFile final : public PendingFile {
public:
    PendingLinuxFile(Descriptor folder, Descriptor file, std::string name, std::string temporary,
                     Durability durability)
        : folder_(std::move(folder)),
          file_(std::move(file)),
          name_(std::move(name)),
          temporary_(std::move(temporary)),
          durability_(durability) {}

    ~PendingLinuxFile() override { discard(); }

    FileResult<void> write(ByteView bytes) override {
        while (!bytes.empty()) {
            const ssize_t count = ::write(file_.get(), bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) return failed(errno);
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
        return {};
    }

    FileResult<void> commit() override {
        const bool durable = durability_ == Durability::durable;
        if (durable && fsync(file_.get()) != 0) return failed(errno);
        if (!durable) {
            if (renameat(folder_.get(), temporary_.c_str(), folder_.get(), name_.c_str()) != 0) {
                return failed(errno);
            }
            done_ = true;
            return {};
        }
        return commitDurably();
    }

private:
    /// Old and new file change names first, so that the old one can stand again when the folder can not
    /// be flushed; where the file system knows no exchange, the new one simply takes the name.
    FileResult<void> commitDurably() {
        struct stat old {};
        const bool hadOld = fstatat(folder_.get(), name_.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
        if (hadOld && S_ISDIR(old.st_mode)) return failed(EISDIR);
        const bool exchanged = hadOld && exchange();
        if (!exchanged && renameat(folder_.get(), temporary_.c_str(), folder_.get(), name_.c_str()) != 0) {
            return failed(errno);
        }
        auto flushed = flushFolder(folder_.get());
        if (flushed) {
            if (exchanged) unlinkat(folder_.get(), temporary_.c_str(), 0);
            done_ = true;
        } else if (exchanged && exchange()) {
            discard();
        } else {
            if (!hadOld) unlinkat(folder_.get(), name_.c_str(), 0);
            done_ = true;
        }
        return flushed;
    }

    bool exchange() {
        return renameat2(folder_.get(), temporary_.c_str(), folder_.get(), name_.c_str(), RENAME_EXCHANGE) ==
               0;
    }

    Unexpected<FileError> failed(int reason) {
        discard();
        return systemFailure(reason);
    }

    void discard() {
        if (!std::exchange(done_, true)) unlinkat(folder_.get(), temporary_.c_str(), 0);
    }

    Descriptor folder_;
    Descriptor file_;
    std::string name_;
    std::string temporary_;
    Durability durability_;
    bool done_ = false;
};

}  // namespace

FileResult<std::unique_ptr<PendingFile>> beginPendingFile(const Path& target, Durability durability) {
    const Path parent = target.parent();
    const std::string folderName = parent.empty() ? "." : nativePath(parent);
    Descriptor folder(open(folderName.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) return systemFailure(errno);
    std::string name = nativePath(Path(target.filename()));
    struct stat old {};
    const bool hasOld = fstatat(folder.get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (hasOld && S_ISDIR(old.st_mode)) return systemFailure(EISDIR);
    for (int attempt = 0;; ++attempt) {
        std::string temporary = temporaryName();
        Descriptor file(
            openat(folder.get(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        if (!file && errno == EEXIST && attempt < 8) continue;
        if (!file) return systemFailure(errno);
        // Where permissions can not be set (a card, a share) the file system's own hold.
        if (hasOld && S_ISREG(old.st_mode)) static_cast<void>(fchmod(file.get(), old.st_mode & 07777));
        return std::unique_ptr<PendingFile>(std::make_unique<PendingLinuxFile>(
            std::move(folder), std::move(file), std::move(name), std::move(temporary), durability));
    }
}

FileResult<void> flushFolder(int descriptor) {
    if (fsync(descriptor) == 0 || errno == EINVAL || errno == EBADF || errno == ENOTSUP) return {};
    return systemFailure(errno);
}

}  // namespace kelvaris
