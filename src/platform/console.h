#pragma once

#include <optional>
#include <string>

#include "base/sleep.h"

namespace kelvaris {

/// What a running program hears from outside: the lines of its standard input, and the signals that ask it
/// to end. It is also where the main thread sleeps, since either may end the sleep. Main thread but for
/// wake().
class Console : public Sleep {
public:
    enum class Next {
        line,      ///< a whole line was taken
        expected,  ///< nothing yet; the next sleep ends, too, when more comes
        end,       ///< the input is over
    };

    /// Takes the next line, without its end, when it is there. The bytes are as they came.
    virtual Next takeLine(std::string& line) = 0;
    /// The number of the signal that asked the program to end. A sleep ends when one arrives.
    virtual std::optional<int> endingSignal() const = 0;
    /// Whether a person can be asked: types the lines, and sees what is printed on standard error.
    virtual bool canAsk() const = 0;
};

}  // namespace kelvaris
