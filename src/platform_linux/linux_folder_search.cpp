#include "platform_linux/linux_folder_search.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <deque>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "base/text.h"

extern char** environ;

namespace kelvaris {

namespace {

constexpr std::array systemTrees = {"/proc", "/sys", "/dev",   "/run", "/usr",       "/bin",
                                    "/sbin", "/lib", "/lib64", "/etc", "/boot",      "/var",
                                    "/snap", "/tmp", "/opt",   "/srv", "/lost+found"};

constexpr std::array localFileSystems = {"ext2",  "ext3", "ext4",  "xfs",     "btrfs",   "f2fs", "vfat",
                                         "exfat", "ntfs", "ntfs3", "hfsplus", "fuseblk", "zfs",  "jfs"};

bool isFolder(const Path& path) {
    struct stat status;
    return ::stat(path.string().c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isSystemTree(const Path& path) {
    return std::find(systemTrees.begin(), systemTrees.end(), path.string()) != systemTrees.end();
}

class Deadline {
public:
    Deadline(std::chrono::milliseconds time, const std::atomic<bool>& stopping)
        : end_(std::chrono::steady_clock::now() + time), stopping_(stopping) {}
    bool hasPassed() const { return stopping_ || std::chrono::steady_clock::now() >= end_; }

private:
    std::chrono::steady_clock::time_point end_;
    const std::atomic<bool>& stopping_;
};

/// What a program prints on its standard output, at most a megabyte; nothing when it cannot be started.
std::optional<std::string> outputOf(const std::vector<std::string>& command) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int failure = ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    std::string output;
    if (failure == 0) {
        std::array<char, 4096> buffer;
        for (ssize_t got = 0; (got = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
            if (output.size() < (1u << 20)) output.append(buffer.data(), static_cast<std::size_t>(got));
        }
    }
    ::close(ends[0]);
    if (failure != 0) return std::nullopt;
    int status = 0;
    ::waitpid(child, &status, 0);
    return output;
}

/// Folders of that name in plocate's index that exist today.
std::vector<Path> indexedFolders(const std::string& name, const std::vector<Path>& roots, std::size_t most) {
    std::vector<Path> found;
    // A leading backslash keeps plocate from reading the name as part of a pattern.
    std::string pattern = "\\";
    for (const char c : name) {
        if (c == '*' || c == '?' || c == '[' || c == ']' || c == '\\') pattern += '\\';
        pattern += c;
    }
    const auto output = outputOf({"plocate", "--basename", "--limit", "1000", "--", pattern});
    if (!output) return found;
    for (const std::string& line : split(*output, '\n')) {
        const Path path(line);
        const bool below = std::any_of(roots.begin(), roots.end(), [&](const Path& root) {
            return line.starts_with(root.string() == "/" ? "/" : root.string() + "/");
        });
        const bool hidden = line.find("/.") != std::string::npos;
        if (below && !hidden && path.filename() == name && isFolder(path)) found.push_back(path);
        if (found.size() == most) break;
    }
    return found;
}

std::vector<Path> walkedFolders(const std::string& name, const std::vector<Path>& roots,
                                const LinuxFolderSearch::Limits& limits, const std::atomic<bool>& stopping) {
    struct Waiting {
        Path folder;
        int depth;
    };
    const Deadline deadline(limits.time, stopping);
    std::vector<Path> found;
    std::set<std::pair<dev_t, ino_t>> seen;  // a folder reached twice (bind mounts) is walked once
    std::deque<Waiting> waiting;
    for (const Path& root : roots) waiting.push_back({root, 0});
    while (!waiting.empty() && !deadline.hasPassed() && found.size() < limits.results) {
        const Waiting next = std::move(waiting.front());
        waiting.pop_front();
        DIR* directory = ::opendir(next.folder.string().c_str());
        if (directory == nullptr) continue;
        struct stat self;
        const bool isNew =
            ::fstat(::dirfd(directory), &self) == 0 && seen.emplace(self.st_dev, self.st_ino).second;
        while (const dirent* entry = isNew ? ::readdir(directory) : nullptr) {
            const std::string_view entryName = entry->d_name;
            if (entryName.front() == '.' || !isValidUtf8(entryName)) continue;
            bool isDirectory = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                struct stat status;
                isDirectory =
                    ::fstatat(::dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                    S_ISDIR(status.st_mode);
            }
            if (!isDirectory) continue;
            Path path = next.folder / entryName;
            if (isSystemTree(path)) continue;
            if (entryName == name) found.push_back(path);
            if (next.depth + 1 < limits.depth) waiting.push_back({std::move(path), next.depth + 1});
        }
        ::closedir(directory);
    }
    return found;
}

}  // namespace

LinuxFolderSearch::LinuxFolderSearch(MainQueue& main, OperationQueueFactory& queues, std::vector<Path> roots,
                                     Limits limits, bool usesIndex)
    : main_(main),
      roots_(std::move(roots)),
      limits_(limits),
      usesIndex_(usesIndex),
      queue_(queues.makeQueue("com.kelvaris.folder-search", 1)) {}

LinuxFolderSearch::~LinuxFolderSearch() {
    stopping_ = true;
    queue_.reset();
}

void LinuxFolderSearch::search(const std::string& name, Completion completion) {
    queue_->add([this, name, completion = std::move(completion), alive = lifetime_.weak()] {
        std::vector<Path> found;
        if (usesIndex_) found = indexedFolders(name, roots_, limits_.results);
        if (found.empty()) found = walkedFolders(name, roots_, limits_, stopping_);
        main_.post([found = std::move(found), completion, alive] {
            if (!alive.expired()) completion(found);
        });
    });
}

std::vector<Path> LinuxFolderSearch::localRoots(const Path& home) {
    std::vector<Path> roots = {home};
    std::ifstream mounts("/proc/self/mounts");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string device, folder, type;
        fields >> device >> folder >> type;
        const bool isLocal =
            std::find(localFileSystems.begin(), localFileSystems.end(), type) != localFileSystems.end();
        const bool isVolume = folder.starts_with("/media/") || folder.starts_with("/mnt/") ||
                              folder.starts_with("/run/media/") || folder.starts_with("/home");
        // The kernel writes a blank in a mount point as \040.
        for (auto at = folder.find("\\040"); at != std::string::npos; at = folder.find("\\040", at)) {
            folder.replace(at, 4, " ");
        }
        if (isLocal && isVolume) roots.push_back(Path(folder));
    }
    return roots;
}

}  // namespace kelvaris
