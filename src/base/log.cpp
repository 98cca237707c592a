#include "base/log.h"

#include <mutex>

namespace kelvaris::log {

namespace {

struct SinkHolder {
    std::mutex mutex;
    Sink sink;
};

SinkHolder& holder() {
    static SinkHolder instance;
    return instance;
}

}  // namespace

Sink setSink(Sink sink) {
    const std::lock_guard lock(holder().mutex);
    return std::exchange(holder().sink, std::move(sink));
}

void write(Level level, std::string_view category, std::string_view message) {
    const std::lock_guard lock(holder().mutex);
    if (holder().sink) holder().sink(Record{level, category, message});
}

}  // namespace kelvaris::log
