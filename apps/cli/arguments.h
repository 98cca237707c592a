#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace kelvaris::cli {

/// The words of one line in UTF-8, before they are parsed. A word that is none may still name a file whose
/// name on disk is none: it is taken in the escaped form that leads to that file.
class LineWords {
public:
    explicit LineWords(std::vector<std::string> words);

    std::vector<std::string> words() const { return words_; }

    /// Once `app` has parsed the words: what to say when a word that is not UTF-8 stands where no path is
    /// taken, or where no such file is.
    std::optional<std::string> complaint(const CLI::App& app) const;

private:
    bool isForeign(const std::string& value) const;

    std::vector<std::string> words_;
    std::vector<std::string> foreign_;  ///< those of the words that were not UTF-8
};

/// A decimal number as people write it. "010" and "0x10" are refused, which would be read as 8 and 16.
CLI::Validator decimalNumber();

}  // namespace kelvaris::cli
