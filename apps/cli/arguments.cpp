#include "arguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/native_path.h"

namespace kelvaris::cli {

namespace {

/// What the arguments that name files are called.
constexpr std::string_view pathArguments[] = {"FOLDER",     "FILE",     "ARCHIVE",     "--root",
                                              "--timeline", "--mirror", "--vocabulary"};

bool takesPath(const CLI::Option& option) {
    return std::ranges::find(pathArguments, option.get_name()) != std::end(pathArguments);
}

}  // namespace

LineWords::LineWords(std::vector<std::string> words) : words_(std::move(words)) {
    for (std::string& word : words_) {
        if (isValidUtf8(word)) continue;
        word = pathTextFromNative(word);
        foreign_.push_back(word);
    }
}

bool LineWords::isForeign(const std::string& value) const {
    // The value may be a part of its word: "--root=…".
    return std::ranges::any_of(foreign_, [&](const std::string& word) { return word.ends_with(value); }) &&
           !isValidUtf8(nativePath(Path(value)));
}

std::optional<std::string> LineWords::complaint(const CLI::App& app) const {
    if (foreign_.empty()) return std::nullopt;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& value : option->results()) {
            if (!isForeign(value)) continue;
            if (takesPath(*option) && LinuxFiles().exists(absolutePath(Path(value)))) continue;
            return fmt::format("\"{}\" is not UTF-8{}", replacingInvalidUtf8(nativePath(Path(value))),
                               takesPath(*option) ? ", and no such file exists" : "");
        }
    }
    for (const CLI::App* chosen : app.get_subcommands()) {
        if (auto text = complaint(*chosen)) return text;
    }
    return std::nullopt;
}

CLI::Validator decimalNumber() {
    const auto check = [](const std::string& word) -> std::string {
        const std::string_view digits = std::string_view(word).substr(word.starts_with('-') ? 1 : 0);
        const bool isPlain = !digits.empty() && (digits == "0" || digits.front() != '0') &&
                             digits.find_first_not_of("0123456789") == std::string_view::npos;
        return isPlain ? "" : fmt::format("\"{}\" is no number like 12", word);
    };
    return {check, ""};
}

}  // namespace kelvaris::cli
