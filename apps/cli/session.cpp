#include "session.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <utility>

#include "base/text.h"
#include "platform_linux/terminal.h"
#include "references.h"
#include "unsaved.h"

namespace kelvaris::cli {

namespace {

/// A mirror on a disk that hangs must not keep the program from ending, least of all when it was told to.
constexpr std::chrono::seconds longestMirrorWait{60};
constexpr std::chrono::seconds longestMirrorWaitAfterSignal{1};
constexpr std::chrono::milliseconds mirrorGlance{50};

/// Leaves a command that waits. What it gave to the main queue may refer to what the command held, so
/// nothing runs there any more.
struct Interruption {};

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

PhotoPointer photoCalled(const std::string& reference, const PhotoList& photos, std::string_view kind) {
    std::vector<Named> things;
    for (const PhotoPointer& photo : photos) things.push_back({photo->filename(), ""});
    const auto found = resolveReference(reference, things, kind);
    if (!found) throw CommandFailure(found.error());
    return photos[*found];
}

}  // namespace

Session::Session(SessionOptions options, Console& console, std::ostream& output, std::ostream& errors)
    : options_(std::move(options)),
      console_(console),
      output_(output),
      errors_(errors),
      showsProgress_(standardErrorIsTerminal()) {}

Session::~Session() = default;

bool Session::run(const ChosenCommand& command, Access granted) {
    access_ = std::max(access_, granted);
    answer_.clear();
    bool isDone = true;
    try {
        // Somebody may have edited a roll's file while this session waited for its line.
        if (system_ && access_ != Access::none) app().takeInHandEdits();
        command.run(*this);
        if (system_) system_->main().drain();
    } catch (const CommandFailure& failure) {
        tell(failure.what());
        isDone = false;
    } catch (const Interruption&) {
        return false;
    }
    if (command.access == Access::write && !save(Telling::all)) return false;
    catchUpMirror();
    progress("");
    output_ << answer_;
    output_.flush();
    return isDone;
}

std::optional<std::string> Session::nextLine() {
    std::string line;
    auto next = Console::Next::end;
    const auto isAnswered = [&] {
        next = console_.endingSignal() ? Console::Next::end : console_.takeLine(line);
        return next != Console::Next::expected;
    };
    if (loop_) {
        loop_->runUntil(isAnswered);
    } else {
        while (!isAnswered()) console_.sleep(std::nullopt);
    }
    return next == Console::Next::line ? std::optional(std::move(line)) : std::nullopt;
}

bool Session::finish() {
    progress("");
    const bool isSaved = save(Telling::news);
    return waitForMirror() && isSaved;
}

bool Session::save(Telling telling) {
    if (!canWrite()) return true;
    std::vector<std::string> failures = flushedWithFailures(system_->app());
    if (access_ != Access::write) return true;  // what was learned on the way can be learned again
    for (const std::string& failure : failures) {
        const bool isKnown = std::ranges::find(toldFailures_, failure) != toldFailures_.end();
        if (telling == Telling::all || !isKnown) tell(failure);
    }
    toldFailures_ = std::move(failures);
    return toldFailures_.empty();
}

bool Session::waitForMirror() {
    if (!canWrite() || access_ != Access::write) return true;
    const MonotonicClock& clock = system_->main().clock();
    const MonotonicTime start = clock.now();
    for (;;) {
        MirrorBacklog backlog = system_->vault().mirror().waitUntilWritten(mirrorGlance);
        const auto longest = console_.endingSignal() ? longestMirrorWaitAfterSignal : longestMirrorWait;
        if (backlog.isWorking && clock.now() - start < longest) continue;
        if (backlog.files.empty() && backlog.isWorking) tell("the mirror is not up to date");
        if (backlog.files.empty()) return !backlog.isWorking;
        const bool isPaused = backlog.isAway;  // no failure: it goes on when the disk is there
        tell(backlogText(std::move(backlog)));
        return isPaused;
    }
}

void Session::catchUpMirror() {
    // Behind the first command, since that may be one that reads the mirror.
    if (access_ != Access::write || !canWrite() || std::exchange(hasCaughtUp_, true)) return;
    if (!app().isResettingData()) system_->vault().mirror().catchUp();
}

std::string Session::backlogText(MirrorBacklog backlog) {
    for (MirrorFailure& failure : backlog.files) {
        const auto id = RollID::parse(failure.id);
        if (const RollPointer roll = id ? app().roll(*id) : nullptr) failure.name = roll->name();
    }
    const bool isOne = backlog.files.size() == 1;
    return fmt::format(
        "{} {} here ({}); the rest goes on at the next start", backlog.files.size(),
        isOne ? "file is not in the mirror as it stands" : "files are not in the mirror as they stand",
        failureText(backlog.files));
}

KelvarisSystem& Session::system() {
    if (!system_) openSystem();
    return *system_;
}

void Session::openSystem() {
    if (access_ != Access::none && !systemPlaces(options_.root).isLasting) {
        throw CommandFailure("no home folder is known; say with --root where the library is to be kept");
    }
    SystemOptions options;
    options.root = options_.root;
    options.access = vaultAccess(access_);
    options.terminate = [this] { isEnding = true; };
    auto system = std::make_unique<KelvarisSystem>(options);
    if (access_ == Access::write && !system->vault().canWrite()) {
        throw CommandFailure(system->vault().writeRefusal());
    }
    system_ = std::move(system);
    loop_ = std::make_unique<RunLoop>(system_->main(), console_);
    if (access_ != Access::none) app().start(StartMode::commands);
}

RollPointer Session::roll(const std::string& reference) {
    std::vector<Named> things;
    for (const RollPointer& roll : app().rolls()) things.push_back({roll->name(), roll->id().text()});
    const auto found = resolveReference(reference, things, "roll");
    if (!found) throw CommandFailure(found.error());
    return app().rolls()[*found];
}

PhotoPointer Session::photo(const FilmRoll& roll, const std::string& reference) {
    const PhotoList& photos = roll.photos();
    const auto number = parseInteger(reference);
    if (!roll.photoNamed(reference) && number && *number >= 1 &&
        static_cast<std::size_t>(*number) <= photos.size()) {
        return photos[static_cast<std::size_t>(*number) - 1];
    }
    return photoCalled(reference, photos, "photo");
}

PhotoPointer Session::removedPhoto(const FilmRoll& roll, const std::string& reference) {
    return photoCalled(reference, roll.removedPhotos(), "photo that was taken out");
}

void Session::waitUntil(const std::function<bool()>& condition) {
    system();
    loop_->runUntil([&] {
        if (condition()) return true;
        if (!console_.endingSignal()) return false;
        save(Telling::all);  // before the command is left, since work under way may hold that up
        throw Interruption();
    });
}

void Session::answer(const Json& json, const std::string& text) {
    if (options_.json) {
        answer_ += json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
    } else if (!text.empty()) {
        answer_ += text;
        if (text.back() != '\n') answer_ += '\n';
    }
}

void Session::tell(const std::string& text) {
    progress("");
    errors_ << "kelvaris-cli: " << text << '\n';
}

std::optional<bool> Session::ask(const std::string& question) {
    if (takesCommands || !console_.canAsk()) return std::nullopt;
    progress("");
    errors_ << question << " [y/N] ";
    errors_.flush();
    const auto line = nextLine();
    if (!line) errors_ << '\n';  // the input is over, so that nobody ended the line
    const std::string word = asciiLowercased(trimmed(line.value_or("")));
    return word == "y" || word == "yes";
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
