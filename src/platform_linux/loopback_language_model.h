#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/language_model.h"

namespace kelvaris {

struct LoopbackLanguageModelOptions {
    std::string baseURL;    ///< for example "http://127.0.0.1:8080/v1"
    std::string modelName;  ///< as the server names it; may be empty where it serves only one
    std::chrono::milliseconds timeout{60'000};
    std::chrono::milliseconds availabilityTimeout{2'000};
    std::size_t responseLimit = 1 << 20;  ///< bytes of the server's whole answer
};

/// A model server on this very machine that speaks the common chat-completions protocol. What is asked
/// tells how the user photographs, so nothing is sent to another machine: no other address, no proxy, no
/// redirect. Any thread.
class LoopbackLanguageModel final : public LanguageModel {
public:
    /// @return nullptr when the address is not a plain one of this machine (127.0.0.1, [::1], localhost).
    static std::unique_ptr<LoopbackLanguageModel> make(LoopbackLanguageModelOptions options);

    /// Whether the server lists its models.
    bool isAvailable() const override;
    /// Waits for the time-out of the options at most.
    Result<std::string, std::string> respond(const std::string& instructions, const std::string& prompt,
                                             const GenerationOptions& options) const override;

private:
    explicit LoopbackLanguageModel(LoopbackLanguageModelOptions options) : options_(std::move(options)) {}

    const LoopbackLanguageModelOptions options_;
};

}  // namespace kelvaris
