#include "platform_linux/loopback_language_model.h"

#include <curl/curl.h>

#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "base/log.h"

namespace kelvaris {

namespace {

using Answer = Result<std::string, std::string>;

constexpr std::array<std::string_view, 3> ownHosts{"127.0.0.1", "[::1]", "localhost"};

struct Deleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    void operator()(char* text) const { curl_free(text); }
};

std::optional<std::string> part(CURLU* url, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, 0) != CURLUE_OK) return std::nullopt;
    const std::unique_ptr<char, Deleter> owned(text);
    return std::string(text);
}

/// As the library itself reads the address, so that no spelling means one thing here and another there.
bool isOnThisMachine(const std::string& address) {
    const std::unique_ptr<CURLU, Deleter> url(curl_url());
    if (!url || curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) return false;
    const auto scheme = part(url.get(), CURLUPART_SCHEME);
    const auto host = part(url.get(), CURLUPART_HOST);
    if (scheme != "http" || !host || part(url.get(), CURLUPART_USER)) return false;
    for (const std::string_view own : ownHosts) {
        if (*host == own) return true;
    }
    return false;
}

struct Body {
    std::string text;
    std::size_t limit;
};

std::size_t takePiece(char* bytes, std::size_t, std::size_t size, void* context) {
    Body& body = *static_cast<Body*>(context);
    if (body.text.size() + size > body.limit) return 0;
    body.text.append(bytes, size);
    return size;
}

/// One exchange with the server. @param content posted when there is any.
Answer exchange(const std::string& url, const std::optional<std::string>& content,
                std::chrono::milliseconds timeout, std::size_t limit) {
    static const bool isReady = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    const std::unique_ptr<CURL, Deleter> handle(isReady ? curl_easy_init() : nullptr);
    if (!handle) return Unexpected(std::string("the transfer library did not start"));
    Body body{{}, limit};
    const std::unique_ptr<curl_slist, Deleter> headers(
        curl_slist_append(nullptr, "Content-Type: application/json"));
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_PROTOCOLS_STR, "http");
    curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, takePiece);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &body);
    if (content) {
        curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers.get());
        curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(content->size()));
        curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, content->c_str());
    }
    if (const CURLcode code = curl_easy_perform(handle.get()); code != CURLE_OK) {
        return Unexpected(std::string(body.text.empty() || code != CURLE_WRITE_ERROR
                                          ? curl_easy_strerror(code)
                                          : "the answer is too long"));
    }
    long status = 0;
    curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) return Unexpected("the server answered with status " + std::to_string(status));
    return std::move(body.text);
}

/// The text of the first choice.
Answer contentOf(const std::string& text) {
    const auto json = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    const nlohmann::json::json_pointer place("/choices/0/message/content");
    if (json.is_discarded() || !json.contains(place) || !json[place].is_string()) {
        return Unexpected(std::string("the server's answer holds no text"));
    }
    return json[place].get<std::string>();
}

}  // namespace

std::unique_ptr<LoopbackLanguageModel> LoopbackLanguageModel::make(LoopbackLanguageModelOptions options) {
    while (options.baseURL.ends_with('/')) options.baseURL.pop_back();
    if (!isOnThisMachine(options.baseURL)) {
        if (!options.baseURL.empty()) {
            log::error("LanguageModel", "Not an address of this machine: {}", options.baseURL);
        }
        return nullptr;
    }
    return std::unique_ptr<LoopbackLanguageModel>(new LoopbackLanguageModel(std::move(options)));
}

bool LoopbackLanguageModel::isAvailable() const {
    return exchange(options_.baseURL + "/models", std::nullopt, options_.availabilityTimeout,
                    options_.responseLimit)
        .has_value();
}

Result<std::string, std::string> LoopbackLanguageModel::respond(const std::string& instructions,
                                                                const std::string& prompt,
                                                                const GenerationOptions& options) const {
    nlohmann::json request{
        {"messages",
         {{{"role", "system"}, {"content", instructions}}, {{"role", "user"}, {"content", prompt}}}},
        {"temperature", options.temperature},
        {"max_tokens", options.maximumResponseTokens},
        {"stream", false}};
    if (!options_.modelName.empty()) request["model"] = options_.modelName;
    // Names of films and cameras are the user's own, and may hold anything.
    const std::string content = request.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    const auto answer =
        exchange(options_.baseURL + "/chat/completions", content, options_.timeout, options_.responseLimit);
    if (!answer) return Unexpected(answer.error());
    return contentOf(*answer);
}

}  // namespace kelvaris
