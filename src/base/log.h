#pragma once

#include <fmt/format.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace kelvaris::log {

enum class Level { debug, info, error };

/// One line of the log. The views live only during the call of the sink.
struct Record {
    Level level;
    std::string_view category;  ///< the service that speaks, for example "Vault"
    std::string_view message;
};

using Sink = std::function<void(const Record&)>;

/// Where lines go: the one process-wide setting, made once by the program's entry point (and by tests).
/// Without a sink, lines are dropped. The sink is called from any thread, one call at a time.
/// @return the sink that stood before.
Sink setSink(Sink sink);

/// Hands a finished line to the sink. Any thread.
void write(Level level, std::string_view category, std::string_view message);

template <class... Args>
void debug(std::string_view category, fmt::format_string<Args...> format, Args&&... args) {
    write(Level::debug, category, fmt::format(format, std::forward<Args>(args)...));
}
template <class... Args>
void info(std::string_view category, fmt::format_string<Args...> format, Args&&... args) {
    write(Level::info, category, fmt::format(format, std::forward<Args>(args)...));
}
template <class... Args>
void error(std::string_view category, fmt::format_string<Args...> format, Args&&... args) {
    write(Level::error, category, fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace kelvaris::log
