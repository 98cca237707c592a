#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "base/operation_queue.h"
#include "base/path.h"
#include "platform/http.h"

namespace kelvaris {

struct CurlHttpOptions {
    /// A file of PEM certificates to trust in place of the machine's own.
    std::optional<Path> certificates;
    std::string userAgent = "Kelvaris";
};

/// HTTPS through libcurl, at most four transfers at a time. A transfer that stands still for a minute is
/// interrupted. The end of this object cancels what runs and waits for it.
class CurlHttp final : public Http {
public:
    explicit CurlHttp(CurlHttpOptions options = {});
    ~CurlHttp() override;

    std::shared_ptr<HttpTransfer> get(const std::string& url, HttpHandlers handlers) override;

private:
    class Transfer;

    const CurlHttpOptions options_;
    std::mutex mutex_;
    std::vector<std::weak_ptr<Transfer>> transfers_;
    ThreadedOperationQueue queue_;
};

}  // namespace kelvaris
