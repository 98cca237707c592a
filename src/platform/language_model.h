#pragma once

#include <string>

#include "base/result.h"

namespace kelvaris {

/// How freely a language model may answer, and how much.
struct GenerationOptions {
    double temperature = 0.7;
    int maximumResponseTokens = 1200;
};

/// A language model that runs on this machine. There may be none. Any thread.
class LanguageModel {
public:
    virtual ~LanguageModel() = default;

    /// Whether an answer can be hoped for.
    virtual bool isAvailable() const = 0;

    /// Blocks until the model has answered, at most for the time-out that the adapter documents.
    /// @return the answer's text, or why there is none.
    virtual Result<std::string, std::string> respond(const std::string& instructions,
                                                     const std::string& prompt,
                                                     const GenerationOptions& options) const = 0;
};

}  // namespace kelvaris
