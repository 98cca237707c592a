#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvaris::cli {

/// The program as a process of its own. It is killed with the object.
class ChildProgram {
public:
    /// @param prepare runs in the process before the program begins; calls of the system alone.
    explicit ChildProgram(const std::vector<std::string>& words, const std::function<void()>& prepare = {});
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    void type(std::string_view text) const;
    void endInput();
    void closeOutput();
    void send(int signal) const;

    /// Reads what the program prints until that is there, or it prints no more.
    /// @return all that was printed so far.
    const std::string& readUntil(std::string_view text);
    /// What was printed on standard error; waits for its end.
    std::string errors() const;
    /// Waits for the end. @return the exit status, or minus the signal that killed the program.
    int status();

private:
    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string printed_;
};

}  // namespace kelvaris::cli
