#include "base/run_end.h"

#include <utility>

namespace kelvaris {

struct RunEnding::Shared {
    MainQueue& main;
    const WeakToken subject;
    Heard heard;

    Shared(MainQueue& main, WeakToken subject, Heard heard)
        : main(main), subject(std::move(subject)), heard(std::move(heard)) {}
    ~Shared() {
        if (!heard) return;
        main.post([subject = subject, heard = std::move(heard)] {
            heard(subject.expired() ? RunEnd::subjectGone : RunEnd::cancelled);
        });
    }
};

RunEnding::RunEnding(MainQueue& main, WeakToken subject, Heard heard)
    : shared_(std::make_shared<Shared>(main, std::move(subject), std::move(heard))) {}

void RunEnding::tell(RunEnd end) const {
    if (!shared_) return;
    const Heard heard = std::exchange(shared_->heard, nullptr);
    if (heard) heard(shared_->subject.expired() ? RunEnd::subjectGone : end);
}

bool RunEnding::isSubjectGone() const { return shared_ && shared_->subject.expired(); }

}  // namespace kelvaris
