#pragma once

#include "platform/files.h"

namespace kelvaris {

/// The error number of the last system call, in the words of the system.
Unexpected<FileError> systemFailure(int errorNumber);

/// Closes a file descriptor at its end.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor();

    explicit operator bool() const { return number_ >= 0; }
    int get() const { return number_; }

private:
    int number_;
};

}  // namespace kelvaris
