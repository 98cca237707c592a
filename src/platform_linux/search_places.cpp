#include "platform_linux/search_places.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <utility>

#include "base/text.h"
#include "platform_linux/folder_scan.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/native_path.h"

namespace kelvaris {

namespace {

constexpr std::array systemTrees = {"/proc", "/sys",        "/dev",    "/run",     "/usr",      "/bin",
                                    "/sbin", "/lib",        "/lib32",  "/lib64",   "/libx32",   "/etc",
                                    "/var",  "/boot",       "/efi",    "/nix",     "/gnu",      "/snap",
                                    "/tmp",  "/lost+found", "/ostree", "/sysroot", "/timeshift"};

/// The users' folders that some systems keep inside a system tree.
constexpr std::array userTrees = {"/run/media", "/var/home", "/var/mnt", "/var/srv"};

/// File systems of packages and images, though a device carries them.
constexpr std::array systemFileSystems = {"squashfs", "erofs", "cramfs", "devtmpfs"};

/// Local file systems that the kernel shows without a device.
constexpr std::array localWithoutDevice = {"zfs", "bcachefs", "ecryptfs", "fuse.mergerfs", "fuse.gocryptfs"};

template <class Table, class Value>
bool contains(const Table& table, const Value& value) {
    return std::find(std::begin(table), std::end(table), value) != std::end(table);
}

template <class Table>
bool isWithin(const Table& trees, const Path& path) {
    return std::any_of(std::begin(trees), std::end(trees), [&](std::string_view tree) {
        const std::string_view text = path.string();
        return text == tree || (text.starts_with(tree) && text[tree.size()] == '/');
    });
}

bool isOfTheSystem(const Path& path) { return isWithin(systemTrees, path) && !isWithin(userTrees, path); }

struct Mount {
    std::string_view device;  ///< "major:minor"
    std::string_view root;    ///< the folder of the device that is shown
    Path folder;
    std::string_view type;
    std::string_view source;

    bool isLocal() const {
        if (contains(localWithoutDevice, type)) return true;
        if (contains(systemFileSystems, type) || type == "fuse" || type.starts_with("fuse.")) return false;
        return !device.starts_with("0:") || source.starts_with("/dev/");
    }
};

/// The kernel writes blanks and backslashes as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && std::all_of(&text[i + 1], &text[i + 4], isOctal)) {
            result +=
                static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + text[i + 3] - '0');
            i += 3;
        } else {
            result += text[i];
        }
    }
    return result;
}

std::vector<std::string_view> fieldsOf(std::string_view line, char separator) {
    std::vector<std::string_view> fields;
    while (!line.empty()) {
        const auto end = std::min(line.find(separator), line.size());
        fields.push_back(line.substr(0, end));
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return fields;
}

/// What is seen under each mount point. Of two mounts on one folder the later one hides the other.
std::vector<Mount> visibleMounts(std::string_view mountInfo) {
    constexpr std::size_t firstOptionalField = 6;
    std::vector<Mount> mounts;
    for (const std::string_view line : fieldsOf(mountInfo, '\n')) {
        const auto fields = fieldsOf(line, ' ');
        if (fields.size() < firstOptionalField) continue;
        const auto dash = std::find(fields.begin() + firstOptionalField, fields.end(), "-");
        if (fields.end() - dash < 3) continue;
        Mount mount{fields[2], fields[3], Path(pathTextFromNative(unescaped(fields[4]))), dash[1], dash[2]};
        std::erase_if(mounts, [&](const Mount& each) { return each.folder == mount.folder; });
        mounts.push_back(std::move(mount));
    }
    return mounts;
}

}  // namespace

bool SearchPlaces::covers(const Path& folder) const {
    for (Path at = folder; !at.empty(); at = at.parent()) {
        if (contains(roots, at)) return true;
        if (at.string() == "/" || leftOut.contains(at) || at.filename().starts_with('.')) return false;
    }
    return false;
}

SearchPlaces searchPlaces(const Path& home, std::string_view mountInfo, std::span<const Path> topFolders) {
    SearchPlaces places;
    const auto add = [&places](const Path& folder) {
        if (!contains(places.roots, folder)) places.roots.push_back(folder);
    };
    for (const std::string_view tree : systemTrees) places.leftOut.insert(Path(std::string(tree)));
    if (!home.empty()) add(home);
    std::set<std::pair<std::string_view, std::string_view>> seen;
    for (const Mount& mount : visibleMounts(mountInfo)) {
        if (!mount.isLocal()) {
            places.leftOut.insert(mount.folder);
        } else if (mount.folder.string() != "/" && !isOfTheSystem(mount.folder) &&
                   seen.emplace(mount.device, mount.root).second) {
            add(mount.folder);
        }
    }
    for (const Path& folder : topFolders) {
        if (!places.leftOut.contains(folder)) add(folder);
    }
    return places;
}

SearchPlaces currentSearchPlaces(const Path& home) {
    std::ifstream mounts("/proc/self/mountinfo");
    const std::string mountInfo{std::istreambuf_iterator<char>(mounts), {}};
    const auto top = scanFolder(Path("/"));
    const auto canonicalHome = LinuxFiles().canonical(home);
    return searchPlaces(canonicalHome ? *canonicalHome : home, mountInfo,
                        top ? top->folders : std::vector<Path>());
}

}  // namespace kelvaris
