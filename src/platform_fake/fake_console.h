#pragma once

#include <deque>
#include <string>

#include "platform/console.h"

namespace kelvaris {

/// An input that was written beforehand.
class FakeConsole final : public Console {
public:
    /// @param input lines; a last one may lack its end.
    explicit FakeConsole(const std::string& input = "") {
        std::string line;
        for (const char c : input) {
            if (c != '\n') {
                line += c;
                continue;
            }
            lines_.push_back(std::move(line));
            line.clear();
        }
        if (!line.empty()) lines_.push_back(std::move(line));
    }

    /// The signal arrives when this many lines were taken.
    void sendSignalAfter(std::size_t lines, int number) {
        linesBeforeSignal_ = lines;
        signal_ = number;
    }

    /// The lines are typed by a person from now on.
    void setCanAsk(bool value) { canAsk_ = value; }

    Next takeLine(std::string& line) override {
        if (lines_.empty()) return Next::end;
        line = std::move(lines_.front());
        lines_.pop_front();
        ++taken_;
        return Next::line;
    }
    std::optional<int> endingSignal() const override {
        return taken_ >= linesBeforeSignal_ ? signal_ : std::nullopt;
    }
    bool canAsk() const override { return canAsk_; }
    void sleep(std::optional<std::chrono::nanoseconds> atMost) override { rest_.sleep(atMost); }
    void wake() override { rest_.wake(); }

private:
    std::deque<std::string> lines_;
    std::size_t taken_ = 0;
    std::size_t linesBeforeSignal_ = 0;
    std::optional<int> signal_;
    bool canAsk_ = false;
    ConditionSleep rest_;
};

}  // namespace kelvaris
