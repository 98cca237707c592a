#include "platform_linux/mapped_memory.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>

#include "platform_linux/file_errors.h"

namespace kelvaris {

namespace {

/// What is mapped now, read by the signal handler: a fixed table without locks.
struct Range {
    std::atomic<bool> taken{false};
    std::atomic<std::uintptr_t> begin{0};
    std::atomic<std::uintptr_t> end{0};
};
std::array<Range, 1024> mappedRanges;
struct sigaction handlerBefore;

void onBusError(int signal, siginfo_t* info, void* context) {
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    for (const Range& range : mappedRanges) {
        if (address < range.begin.load() || address >= range.end.load()) continue;
        void* const start = reinterpret_cast<void*>(address & ~(page - 1));
        if (mmap(start, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED)
            return;
    }
    if ((handlerBefore.sa_flags & SA_SIGINFO) != 0 && handlerBefore.sa_sigaction) {
        handlerBefore.sa_sigaction(signal, info, context);
    } else {
        sigaction(SIGBUS, &handlerBefore, nullptr);  // the access is tried again, under the old rule
    }
}

void installHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        struct sigaction action {};
        action.sa_sigaction = onBusError;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        sigaction(SIGBUS, &action, &handlerBefore);
    });
}

Range* takeRange() {
    for (Range& range : mappedRanges) {
        bool free = false;
        if (range.taken.compare_exchange_strong(free, true)) return &range;
    }
    return nullptr;
}

class Mapping final : public MappedFile {
public:
    Mapping(void* start, std::size_t size, Range* range) : start_(start), size_(size), range_(range) {
        const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        range_->begin = reinterpret_cast<std::uintptr_t>(start);
        range_->end = (reinterpret_cast<std::uintptr_t>(start) + size + page - 1) & ~(page - 1);
    }
    ~Mapping() override {
        range_->begin = range_->end = 0;
        range_->taken = false;
        munmap(start_, size_);
    }
    ByteView bytes() const override { return {static_cast<const std::uint8_t*>(start_), size_}; }

private:
    void* start_;
    std::size_t size_;
    Range* range_;
};

class EmptyMapping final : public MappedFile {
public:
    ByteView bytes() const override { return {}; }
};

}  // namespace

FileResult<std::unique_ptr<MappedFile>> mapDescriptor(int descriptor, std::size_t size) {
    if (size == 0) return std::unique_ptr<MappedFile>(std::make_unique<EmptyMapping>());
    installHandler();
    Range* const range = takeRange();
    if (!range) return systemFailure(EMFILE);
    void* const start = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (start == MAP_FAILED) {
        const int reason = errno;
        range->taken = false;
        return systemFailure(reason);
    }
    return std::unique_ptr<MappedFile>(std::make_unique<Mapping>(start, size, range));
}

}  // namespace kelvaris
