#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/bytes.h"
#include "base/result.h"

namespace kelvaris {

/// Why a transfer gave no answer, with the words that a user is shown.
struct HttpError {
    enum class Code {
        notAllowed,   ///< not HTTPS (plain HTTP only to this machine itself), or no address at all
        unreachable,  ///< no connection, no certificate that is trusted
        redirects,    ///< too many of them, or one that leads from HTTPS to HTTP
        interrupted,  ///< the connection ended before the answer did
        refused,      ///< the body handler wanted no more
        cancelled,
    };
    Code code = Code::interrupted;
    std::string message;
};

template <class T>
using HttpResult = Result<T, HttpError>;

/// What a transfer tells, on a thread of its own, never two calls at once.
struct HttpHandlers {
    /// A piece of the body of an answer with a status from 200 to 299; other bodies are dropped.
    /// @return false to end the transfer as refused.
    std::function<bool(ByteView)> body;
    /// After each piece. @param expected the length that the server promised; 0 when it did not.
    std::function<void(std::int64_t received, std::int64_t expected)> progress;
    /// The status, or why there is none. Called exactly once, last; also after a cancel.
    std::function<void(HttpResult<int>)> completion;
};

/// A running transfer. Letting go of it does not end the transfer.
class HttpTransfer {
public:
    virtual ~HttpTransfer() = default;
    /// Ends the transfer as soon as possible. Any thread.
    virtual void cancel() = 0;
};

/// Fetches over HTTPS. Any thread.
class Http {
public:
    virtual ~Http() = default;
    /// Redirects are followed within bounds, and never from HTTPS to HTTP.
    virtual std::shared_ptr<HttpTransfer> get(const std::string& url, HttpHandlers handlers) = 0;
};

}  // namespace kelvaris
