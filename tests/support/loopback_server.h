#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/bytes.h"
#include "base/path.h"

namespace kelvaris::testing {

struct ServedAnswer {
    int status = 200;
    Bytes body;
    std::string location;                       ///< of a redirect
    std::optional<std::size_t> promisedLength;  ///< another length than the body's
    bool promisesLength = true;
    std::optional<std::size_t> cutAt;  ///< the connection ends after so many bytes of the body
    bool stalls = false;               ///< says nothing more after the cut, until the server ends
};

/// A web server on 127.0.0.1 with scripted answers, one connection at a time in a thread of its own.
class LoopbackServer {
public:
    enum class Protection { https, plain };

    /// @param folder receives the certificate, which nobody trusts unless told to.
    LoopbackServer(const Path& folder, Protection protection = Protection::https);
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    void serve(const std::string& path, ServedAnswer answer);
    void serve(const std::string& path, std::string_view body) {
        serve(path, ServedAnswer{.body = Bytes(body.begin(), body.end())});
    }
    std::string url(const std::string& path) const;
    const Path& certificate() const { return certificate_; }
    std::vector<std::string> requests() const;

private:
    struct Connection;
    struct Identity;
    void run();
    void answer(Connection& connection);

    Path certificate_;
    std::unique_ptr<Identity> identity_;
    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> isEnding_{false};
    mutable std::mutex mutex_;
    std::map<std::string, ServedAnswer> answers_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

}  // namespace kelvaris::testing
