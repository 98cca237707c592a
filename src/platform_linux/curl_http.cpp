#include "platform_linux/curl_http.h"

#include <curl/curl.h>

#include <atomic>

#include "platform_linux/native_path.h"

namespace kelvaris {

namespace {

using Code = HttpError::Code;

constexpr int largestRedirectCount = 5;
constexpr long connectSeconds = 30;
constexpr long stillSeconds = 60;

Unexpected<HttpError> failure(Code code, std::string message) {
    return Unexpected(HttpError{code, std::move(message)});
}

struct Address {
    std::string scheme;
    std::string host;
};

std::optional<Address> parseAddress(const std::string& url) {
    const std::unique_ptr<CURLU, void (*)(CURLU*)> handle(curl_url(), curl_url_cleanup);
    if (!handle || curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    const auto part = [&](CURLUPart which) {
        char* text = nullptr;
        if (curl_url_get(handle.get(), which, &text, 0) != CURLUE_OK || !text) return std::string();
        std::string result(text);
        curl_free(text);
        return result;
    };
    return Address{part(CURLUPART_SCHEME), part(CURLUPART_HOST)};
}

bool isLoopback(const std::string& host) {
    if (host == "localhost" || host == "[::1]") return true;
    return host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string::npos;
}

bool isAllowed(const Address& address) {
    return address.scheme == "https" || (address.scheme == "http" && isLoopback(address.host));
}

Code codeOf(CURLcode code) {
    switch (code) {
        case CURLE_URL_MALFORMAT:
        case CURLE_UNSUPPORTED_PROTOCOL:
            return Code::notAllowed;
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
        case CURLE_GOT_NOTHING:
        case CURLE_OPERATION_TIMEDOUT:
        case CURLE_HTTP2_STREAM:
        case CURLE_HTTP2:
        case CURLE_WEIRD_SERVER_REPLY:
            return Code::interrupted;
        case CURLE_WRITE_ERROR:
            return Code::refused;
        case CURLE_ABORTED_BY_CALLBACK:
            return Code::cancelled;
        default:
            return Code::unreachable;  // the numbers of a foreign library, of which most mean this
    }
}

}  // namespace

class CurlHttp::Transfer final : public HttpTransfer {
public:
    Transfer(const CurlHttpOptions& options, std::string url, HttpHandlers handlers)
        : options_(options), url_(std::move(url)), handlers_(std::move(handlers)) {}

    void cancel() override { isCancelled_ = true; }

    void run() {
        HttpResult<int> result = follow();
        if (handlers_.completion) handlers_.completion(std::move(result));
        handlers_ = {};  // what the handlers hold goes with the transfer's end, not with its last owner
    }

private:
    using Handle = std::unique_ptr<CURL, void (*)(CURL*)>;

    HttpResult<int> follow() {
        const Handle handle(curl_easy_init(), curl_easy_cleanup);
        if (!handle) return failure(Code::unreachable, "Out of memory");
        std::string url = url_;
        bool isSecure = false;
        for (int redirects = 0; redirects <= largestRedirectCount; ++redirects) {
            const auto address = parseAddress(url);
            if (!address || !isAllowed(*address)) {
                return failure(isSecure ? Code::redirects : Code::notAllowed,
                               "Only HTTPS addresses are allowed");
            }
            if (isSecure && address->scheme != "https") {
                return failure(Code::redirects, "The server redirects to an unprotected address");
            }
            isSecure = address->scheme == "https";
            auto status = performOnce(handle.get(), url);
            if (!status) return status;
            char* next = nullptr;
            curl_easy_getinfo(handle.get(), CURLINFO_REDIRECT_URL, &next);
            if (!next) return status;
            url = next;
        }
        return failure(Code::redirects, "Too many redirects");
    }

    HttpResult<int> performOnce(CURL* handle, const std::string& url) {
        if (isCancelled_) return failure(Code::cancelled, "Cancelled");
        char words[CURL_ERROR_SIZE] = "";
        handle_ = handle;
        received_ = 0;
        curl_easy_reset(handle);
        curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
        curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);  // each address is checked here
        curl_easy_setopt(handle, CURLOPT_USERAGENT, options_.userAgent.c_str());
        curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, connectSeconds);
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, stillSeconds);
        curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, words);
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
        curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
        curl_easy_setopt(handle, CURLOPT_XFERINFODATA, this);
        if (options_.certificates) {
            curl_easy_setopt(handle, CURLOPT_CAINFO, nativePath(*options_.certificates).c_str());
        }
        const CURLcode code = curl_easy_perform(handle);
        if (code != CURLE_OK) return failure(codeOf(code), words[0] ? words : curl_easy_strerror(code));
        return static_cast<int>(status());
    }

    long status() const {
        long code = 0;
        curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &code);
        return code;
    }

    static std::size_t onBody(char* bytes, std::size_t one, std::size_t count, void* self) {
        Transfer& transfer = *static_cast<Transfer*>(self);
        const long status = transfer.status();
        if (status < 200 || status > 299) return one * count;
        if (transfer.handlers_.body && !transfer.handlers_.body(asBytes({bytes, count}))) return 0;
        transfer.received_ += static_cast<std::int64_t>(count);
        curl_off_t expected = 0;
        curl_easy_getinfo(transfer.handle_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &expected);
        if (transfer.handlers_.progress) {
            transfer.handlers_.progress(transfer.received_, expected > 0 ? expected : 0);
        }
        return one * count;
    }

    static int onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        return static_cast<Transfer*>(self)->isCancelled_ ? 1 : 0;
    }

    const CurlHttpOptions& options_;
    const std::string url_;
    HttpHandlers handlers_;
    std::atomic<bool> isCancelled_{false};
    CURL* handle_ = nullptr;
    std::int64_t received_ = 0;
};

CurlHttp::CurlHttp(CurlHttpOptions options) : options_(std::move(options)), queue_("com.kelvaris.http", 4) {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

CurlHttp::~CurlHttp() {
    {
        const std::lock_guard guard(mutex_);
        for (const auto& weak : transfers_) {
            if (const auto transfer = weak.lock()) transfer->cancel();
        }
    }
    queue_.waitUntilIdle();
}

std::shared_ptr<HttpTransfer> CurlHttp::get(const std::string& url, HttpHandlers handlers) {
    auto transfer = std::make_shared<Transfer>(options_, url, std::move(handlers));
    {
        const std::lock_guard guard(mutex_);
        std::erase_if(transfers_, [](const auto& weak) { return weak.expired(); });
        transfers_.push_back(transfer);
    }
    queue_.add([transfer] { transfer->run(); });
    return transfer;
}

}  // namespace kelvaris
