#include "platform_fake/fake_http.h"

#include <algorithm>

namespace kelvaris {

struct FakeHttp::Running final : HttpTransfer {
    FakeAnswer answer;
    HttpHandlers handlers;
    std::size_t sent = 0;
    std::size_t pieces = 0;
    bool isCancelled = false;
    bool isDone = false;
    std::function<void()> wake;

    void cancel() override {
        isCancelled = true;
        if (wake) wake();
    }
    void complete(HttpResult<int> result) {
        if (isDone) return;
        isDone = true;
        wake = nullptr;
        if (handlers.completion) handlers.completion(std::move(result));
        handlers = {};
    }
};

std::shared_ptr<HttpTransfer> FakeHttp::get(const std::string& url, HttpHandlers handlers) {
    requests.push_back(url);
    auto running = std::make_shared<Running>();
    const auto found = answers_.find(url);
    if (found != answers_.end()) {
        running->answer = found->second;
    } else {
        running->answer.error = HttpError{HttpError::Code::unreachable, "no such server"};
    }
    running->handlers = std::move(handlers);
    running->wake = [this, weak = std::weak_ptr(running)] {
        main_.post([this, weak] {
            if (const auto alive = weak.lock()) advance(alive);
        });
    };
    main_.post([this, running] { advance(running); });
    return running;
}

void FakeHttp::advance(const std::shared_ptr<Running>& running) {
    if (running->isDone) return;
    const FakeAnswer& answer = running->answer;
    if (running->isCancelled) {
        running->complete(Unexpected(HttpError{HttpError::Code::cancelled, "cancelled"}));
        return;
    }
    if (heldAfter_ && running->pieces >= *heldAfter_) {
        held_.push_back(running);
        return;
    }
    const std::size_t end = std::min(answer.body.size(), answer.cutAt.value_or(answer.body.size()));
    const bool isGood = answer.status >= 200 && answer.status < 300;
    if (isGood && running->sent < end) {
        const std::size_t count = std::min(answer.pieceSize, end - running->sent);
        const ByteView piece = ByteView(answer.body).subspan(running->sent, count);
        running->sent += count;
        ++running->pieces;
        if (running->handlers.body && !running->handlers.body(piece)) {
            running->complete(Unexpected(HttpError{HttpError::Code::refused, "refused"}));
            return;
        }
        if (running->handlers.progress) {
            running->handlers.progress(
                static_cast<std::int64_t>(running->sent),
                answer.promisesLength ? static_cast<std::int64_t>(answer.body.size()) : 0);
        }
        main_.post([this, running] { advance(running); });
        return;
    }
    if (answer.error) {
        running->complete(Unexpected(*answer.error));
    } else if (answer.cutAt) {
        running->complete(Unexpected(HttpError{HttpError::Code::interrupted, "the connection was lost"}));
    } else {
        running->complete(answer.status);
    }
}

void FakeHttp::letGoOn() {
    heldAfter_.reset();
    for (const auto& running : std::exchange(held_, {})) advance(running);
}

}  // namespace kelvaris
