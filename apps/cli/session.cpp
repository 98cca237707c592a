#include "session.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

#include "base/text.h"
#include "platform_linux/terminal.h"
#include "references.h"

namespace kelvaris::cli {

namespace {

/// A mirror on a disk that hangs must not keep the program from ending.
constexpr std::chrono::seconds longestMirrorWait{60};

VaultService::Access vaultAccess(Access access) {
    switch (access) {
        case Access::none:
        case Access::read:
            return VaultService::Access::readOnly;
        case Access::keep:
            return VaultService::Access::readWriteIfFree;
        case Access::write:
            return VaultService::Access::readWrite;
    }
    return VaultService::Access::readOnly;
}

}  // namespace

Session::Session(SessionOptions options, std::ostream& output, std::ostream& errors)
    : options_(std::move(options)),
      output_(output),
      errors_(errors),
      showsProgress_(standardErrorIsTerminal()) {}

Session::~Session() = default;

void Session::run(const ChosenCommand& command) {
    if (command.access == Access::write && system_ && access_ == Access::read) {
        throw CommandFailure("this session only reads");
    }
    access_ = std::max(access_, command.access);
    command.run(*this);
    if (system_) system_->main().drain();
}

void Session::finish() {
    progress("");
    if (!system_ || !system_->vault().canWrite()) return;
    system_->app().flushPendingSaves();
    system_->vault().mirror().waitUntilWritten(longestMirrorWait);
}

KelvarisSystem& Session::system() {
    if (!system_) {
        SystemOptions options;
        options.root = options_.root;
        options.access = vaultAccess(access_);
        options.terminate = [this] { isEnding = true; };
        system_ = std::make_unique<KelvarisSystem>(options);
        loop_ = std::make_unique<RunLoop>(system_->main());
        if (access_ != Access::none) {
            if (access_ == Access::write && !system_->vault().canWrite()) {
                throw CommandFailure(system_->vault().writeRefusal());
            }
            app().start(StartMode::commands);
        }
    }
    return *system_;
}

RollPointer Session::roll(const std::string& reference) {
    std::vector<Named> things;
    for (const RollPointer& roll : app().rolls()) things.push_back({roll->name(), roll->id().text()});
    const auto found = resolveReference(reference, things, "roll");
    if (!found) throw CommandFailure(found.error());
    return app().rolls()[*found];
}

PhotoPointer Session::photo(const FilmRoll& roll, const std::string& reference) {
    std::vector<Named> things;
    for (const PhotoPointer& photo : roll.photos()) things.push_back({photo->filename(), ""});
    const auto isNamed =
        std::any_of(things.begin(), things.end(), [&](const Named& each) { return each.name == reference; });
    const auto number = parseInteger(reference);
    if (!isNamed && number && *number >= 1 && static_cast<std::size_t>(*number) <= things.size()) {
        return roll.photos()[static_cast<std::size_t>(*number) - 1];
    }
    const auto found = resolveReference(reference, things, "photo");
    if (!found) throw CommandFailure(found.error());
    return roll.photos()[*found];
}

void Session::waitUntil(const std::function<bool()>& condition) {
    system();
    loop_->runUntil(condition);
}

void Session::answer(const Json& json, const std::string& text) {
    progress("");
    if (options_.json) {
        output_ << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    } else if (!text.empty()) {
        output_ << text << (text.back() == '\n' ? "" : "\n");
    }
    output_.flush();
}

void Session::progress(const std::string& text) {
    if (!showsProgress_ || (text.empty() && progressWidth_ == 0)) return;
    errors_ << '\r' << text
            << std::string(progressWidth_ > text.size() ? progressWidth_ - text.size() : 0, ' ');
    if (text.empty()) errors_ << '\r';
    errors_.flush();
    progressWidth_ = text.size();
}

}  // namespace kelvaris::cli
