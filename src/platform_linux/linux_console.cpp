#include "platform_linux/linux_console.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "platform_linux/terminal.h"

namespace kelvaris {

namespace {

int eventDescriptor() {
    const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    return descriptor;
}

timespec rounded(std::chrono::nanoseconds time) {
    const auto positive = std::max(time, std::chrono::nanoseconds::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(positive);
    return {.tv_sec = seconds.count(), .tv_nsec = (positive - seconds).count()};
}

}  // namespace

OwnedDescriptor::~OwnedDescriptor() { ::close(descriptor_); }

LinuxConsole::LinuxConsole() : LinuxConsole(STDIN_FILENO) {}
LinuxConsole::LinuxConsole(int input) : input_(input), event_(eventDescriptor()) {}
LinuxConsole::~LinuxConsole() = default;

Console::Next LinuxConsole::takeLine(std::string& line) {
    while (!takeBuffered(line)) {
        if (isOver_) {
            if (buffer_.empty()) return Next::end;
            line = std::move(buffer_);  // a last line that lacks its end
            buffer_.clear();
            return Next::line;
        }
        if (!hasInput()) {
            expectsInput_ = true;
            return Next::expected;
        }
        readMore();
    }
    return Next::line;
}

bool LinuxConsole::takeBuffered(std::string& line) {
    const auto end = buffer_.find('\n', taken_);
    if (end == std::string::npos) {
        buffer_.erase(0, taken_);
        taken_ = 0;
        return false;
    }
    line = buffer_.substr(taken_, end - taken_);
    taken_ = end + 1;
    return true;
}

bool LinuxConsole::hasInput() const {
    pollfd input{.fd = input_, .events = POLLIN, .revents = 0};
    return ::poll(&input, 1, 0) > 0;
}

void LinuxConsole::readMore() {
    std::array<char, 16384> bytes;
    const ssize_t count = ::read(input_, bytes.data(), bytes.size());
    if (count > 0) buffer_.append(bytes.data(), static_cast<std::size_t>(count));
    isOver_ = count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN);
}

bool LinuxConsole::canAsk() const { return ::isatty(input_) == 1 && standardErrorIsTerminal(); }

void LinuxConsole::sleep(std::optional<std::chrono::nanoseconds> atMost) {
    std::array<pollfd, 2> descriptors{pollfd{.fd = event_.get(), .events = POLLIN, .revents = 0},
                                      pollfd{.fd = input_, .events = POLLIN, .revents = 0}};
    const timespec time = rounded(atMost.value_or(std::chrono::nanoseconds::zero()));
    ::ppoll(descriptors.data(), expectsInput_ ? 2 : 1, atMost ? &time : nullptr, nullptr);
    expectsInput_ = false;
    std::uint64_t count = 0;
    [[maybe_unused]] const auto taken = ::read(event_.get(), &count, sizeof count);
}

void LinuxConsole::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(event_.get(), &one, sizeof one);
}

void occupyClosedStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) != -1) continue;
        // The lowest free number is this one, since those below it are taken by now.
        [[maybe_unused]] const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace kelvaris
