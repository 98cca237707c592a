#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/main_queue.h"
#include "platform/http.h"

namespace kelvaris {

/// What the fake network gives for an address.
struct FakeAnswer {
    int status = 200;
    Bytes body;
    bool promisesLength = true;
    std::optional<HttpError> error;    ///< in place of a status, after the body so far
    std::optional<std::size_t> cutAt;  ///< the connection ends after so many bytes
    std::size_t pieceSize = 65536;
};

/// A network of scripted answers; each piece of a body is a task of the main queue.
class FakeHttp final : public Http {
public:
    explicit FakeHttp(MainQueue& main) : main_(main) {}

    void answer(const std::string& url, FakeAnswer answer) { answers_[url] = std::move(answer); }
    void answer(const std::string& url, std::string_view body) {
        answer(url, FakeAnswer{.body = Bytes(body.begin(), body.end())});
    }
    /// Transfers go no further than so many pieces each, until they are let go on.
    void holdAfterPieces(std::size_t pieces) { heldAfter_ = pieces; }
    void letGoOn();

    std::shared_ptr<HttpTransfer> get(const std::string& url, HttpHandlers handlers) override;

    std::vector<std::string> requests;

private:
    struct Running;
    void advance(const std::shared_ptr<Running>& running);

    MainQueue& main_;
    std::map<std::string, FakeAnswer> answers_;
    std::optional<std::size_t> heldAfter_;
    std::vector<std::shared_ptr<Running>> held_;
};

}  // namespace kelvaris
