#include "child_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

namespace kelvaris::cli {

namespace {

/// It stands beside the tests.
std::string programFile() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "kelvaris-cli";
}

std::array<int, 2> madePipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    return ends;
}

void closeEnd(int& descriptor) {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

/// @return false when there is no more.
bool readMore(int descriptor, std::string& text) {
    std::array<char, 4096> bytes{};
    const ssize_t count = read(descriptor, bytes.data(), bytes.size());
    if (count > 0) text.append(bytes.data(), static_cast<std::size_t>(count));
    return count > 0;
}

}  // namespace

ChildProgram::ChildProgram(const std::vector<std::string>& words, const std::function<void()>& prepare) {
    const std::string file = programFile();
    std::vector<char*> arguments{const_cast<char*>(file.c_str())};
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const auto input = madePipe();
    const auto output = madePipe();
    const auto errors = madePipe();
    process_ = fork();
    if (process_ == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(errors[1], STDERR_FILENO);
        if (prepare) prepare();
        execv(file.c_str(), arguments.data());
        _exit(127);
    }
    close(input[0]);
    close(output[1]);
    close(errors[1]);
    input_ = input[1];
    output_ = output[0];
    errors_ = errors[0];
}

ChildProgram::~ChildProgram() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    closeEnd(input_);
    closeEnd(output_);
    closeEnd(errors_);
}

void ChildProgram::type(std::string_view text) const {
    EXPECT_EQ(write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void ChildProgram::endInput() { closeEnd(input_); }
void ChildProgram::closeOutput() { closeEnd(output_); }
void ChildProgram::send(int signal) const { kill(process_, signal); }

const std::string& ChildProgram::readUntil(std::string_view text) {
    while (printed_.find(text) == std::string::npos && readMore(output_, printed_)) {
    }
    return printed_;
}

std::string ChildProgram::errors() const {
    std::string text;
    while (readMore(errors_, text)) {
    }
    return text;
}

int ChildProgram::status() {
    endInput();
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace kelvaris::cli
