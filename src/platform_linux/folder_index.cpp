#include "platform_linux/folder_index.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "base/text.h"
#include "platform_linux/file_errors.h"
#include "platform_linux/native_path.h"

extern char** environ;

namespace kelvaris {

namespace {

constexpr std::size_t mostOutput = 8u << 20;
constexpr std::size_t longestPattern = 100'000;  // the kernel takes 128 KiB in one argument
constexpr int pollMilliseconds = 50;

/// Starts the program with its standard output in the pipe; 0 when it cannot be started.
pid_t spawned(const std::vector<std::string>& command, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int failure = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return failure == 0 ? child : 0;
}

/// What the pipe gives until its other end is closed. Short when it must stop or gives too much.
std::string readUntilEnd(int pipe, const std::function<bool()>& shouldStop) {
    std::string output;
    std::array<char, 1 << 16> buffer;
    while (output.size() < mostOutput && !shouldStop()) {
        pollfd waiting{.fd = pipe, .events = POLLIN, .revents = 0};
        if (poll(&waiting, 1, pollMilliseconds) <= 0) continue;
        const ssize_t count = read(pipe, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        output.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return output;
}

/// What a program prints on its standard output; nothing when it cannot be started.
std::string outputOf(const std::vector<std::string>& command, const std::function<bool()>& shouldStop) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {};
    const Descriptor reading(ends[0]);
    pid_t child = 0;
    {
        const Descriptor writing(ends[1]);
        child = spawned(command, writing.get());
    }
    if (child == 0) return {};
    std::string output = readUntilEnd(reading.get(), shouldStop);
    kill(child, SIGKILL);  // at its own end it is gone already
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return output;
}

std::string escaped(std::string_view name) {
    std::string result;
    for (const char c : name) {
        if (std::string_view("\\^$.[]|()*+?{}").find(c) != std::string_view::npos) result += '\\';
        result += c;
    }
    return result;
}

}  // namespace

std::string patternOfNames(std::span<const std::string> names) {
    std::string pattern;
    for (const std::string& name : names) pattern += (pattern.empty() ? "^(" : "|") + escaped(name);
    return pattern + ")$";
}

std::vector<Path> indexedPaths(std::span<const std::string> names, const std::function<bool()>& shouldStop) {
    if (names.empty()) return {};
    const std::string pattern = patternOfNames(names);
    if (pattern.size() > longestPattern) return {};
    const std::string output =
        outputOf({"plocate", "--null", "--basename", "--regex", "--", nativePath(Path(pattern))}, shouldStop);
    std::vector<Path> paths;
    for (const std::string& path : split(output, '\0')) {
        if (path.starts_with('/')) paths.push_back(Path(pathTextFromNative(path)));
    }
    return paths;
}

}  // namespace kelvaris
