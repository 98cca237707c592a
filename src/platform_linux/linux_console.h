#pragma once

#include <string>

#include "platform/console.h"
#include "platform_linux/ending_signals.h"

namespace kelvaris {

/// A descriptor that is closed with its owner.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~OwnedDescriptor();
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
    int get() const { return descriptor_; }

private:
    int descriptor_;
};

/// The process's standard input and signals. The input's own settings stay as they are, since other
/// programs may share it.
class LinuxConsole final : public Console {
public:
    /// Reads standard input.
    LinuxConsole();
    /// @param input a descriptor to read from in its place, which stays the caller's.
    explicit LinuxConsole(int input);
    ~LinuxConsole() override;

    Next takeLine(std::string& line) override;
    std::optional<int> endingSignal() const override { return signals_.received(); }
    bool canAsk() const override;
    void sleep(std::optional<std::chrono::nanoseconds> atMost) override;
    void wake() override;

private:
    bool hasInput() const;
    void readMore();
    bool takeBuffered(std::string& line);

    int input_;
    OwnedDescriptor event_;
    EndingSignals signals_{event_.get()};
    bool expectsInput_ = false;
    bool isOver_ = false;
    std::string buffer_;
    std::size_t taken_ = 0;  ///< of the buffer
};

/// Gives a standard stream that was closed before the program began something that refuses every use. Else
/// the next file that is opened takes its number, and what is printed ends up in that file. Before
/// anything is opened.
void occupyClosedStandardStreams();

}  // namespace kelvaris
