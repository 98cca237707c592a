#include "vault/file_reading.h"

#include <fmt/format.h>

#include <functional>
#include <utility>

#include "base/text.h"
#include "vault/vault_documents.h"
#include "vault/vault_paths.h"
#include "vault/yaml_limits.h"

namespace kelvaris {

namespace {

using Kind = VaultProblem::Kind;

Result<VaultRollManifest, DecodeFailure> decodedAs(std::string_view file, const VaultRollManifest*) {
    return decodedRollFile(file);
}
Result<VaultPreferences, DecodeFailure> decodedAs(std::string_view file, const VaultPreferences*) {
    return decodedPreferencesFile(file);
}
Result<Salvage<VaultRollManifest>, DecodeFailure> salvagedAs(std::string_view file,
                                                             const VaultRollManifest*) {
    return salvagedRollFile(file);
}
Result<Salvage<VaultPreferences>, DecodeFailure> salvagedAs(std::string_view file, const VaultPreferences*) {
    return salvagedPreferencesFile(file);
}

FileResult<Bytes> readWhole(const Files& files, const Path& path) {
    return files.read(path, static_cast<std::int64_t>(YamlLimits().bytes));
}

/// "3 days old"
std::string ageText(const Files& files, const Clock& clock, const Path& path) {
    const auto info = files.info(path);
    if (!info || !info->modified) return "of unknown age";
    const auto minutes = std::chrono::floor<std::chrono::minutes>(clock.now() - *info->modified).count();
    const auto counted = [](std::int64_t count, std::string_view unit) {
        return fmt::format("{} {}{} old", count, unit, count == 1 ? "" : "s");
    };
    if (minutes < 1) return "less than a minute old";
    if (minutes < 60) return counted(minutes, "minute");
    if (minutes < 48 * 60) return counted(minutes / 60, "hour");
    return counted(minutes / (24 * 60), "day");
}

template <class Record>
class Reading {
public:
    using Accept = std::function<bool(const Record&)>;

    Reading(const Files& files, const Clock& clock, const Path& file, Accept isWanted)
        : files_(files), clock_(clock), file_(file), isWanted_(std::move(isWanted)) {}

    FileReading<Record> read() {
        if (readFile()) return std::move(result_);
        for (const bool isSalvage : {false, true}) {
            for (int number = 1; number <= backupCount; ++number) {
                if (readBackup(number, isSalvage)) return std::move(result_);
            }
        }
        if (!isAbsent_ && !isForeign_) {
            tell(Kind::unreadable, fmt::format("{}, and no backup of it decodes", reason_));
        }
        return std::move(result_);
    }

private:
    static constexpr const Record* kind = nullptr;

    bool readFile() {
        const auto bytes = readWhole(files_, file_);
        if (!bytes) {
            isAbsent_ = bytes.error().code == FileError::Code::notFound;
            reason_ = isAbsent_ ? "is gone" : fmt::format("cannot be read ({})", bytes.error().message);
            return false;
        }
        result_.stamp = FileStamp::of(asText(*bytes));
        auto record = decodedAs(asText(*bytes), kind);
        if (record) return take(std::move(*record));
        // The log has words of its own for values out of their range.
        if (record.error().kind == DecodeFailure::Kind::invalid)
            (void)decodeFrontmatter<Record>(asText(*bytes));
        reason_ = fmt::format("does not decode ({})", record.error().reason);
        auto salvage = salvagedAs(asText(*bytes), kind);
        if (!salvage || !take(std::move(salvage->record))) return false;
        tell(Kind::salvaged, salvage->losses.empty()
                                 ? fmt::format("{}, but everything in it could be read", reason_)
                                 : fmt::format("some of it could not be read and is left out: {}",
                                               joined(salvage->losses, "; ")));
        return true;
    }

    bool readBackup(int number, bool isSalvage) {
        const Path path = backupPath(file_, number);
        const auto bytes = readWhole(files_, path);
        if (!bytes) return false;
        std::string losses;
        if (isSalvage) {
            auto salvage = salvagedAs(asText(*bytes), kind);
            if (!salvage || !isWanted_(salvage->record)) return false;
            result_.record = std::move(salvage->record);
            losses = fmt::format("; left out of it: {}", joined(salvage->losses, "; "));
        } else {
            auto record = decodedAs(asText(*bytes), kind);
            if (!record || !isWanted_(*record)) return false;
            result_.record = std::move(*record);
        }
        tell(Kind::fromBackup, fmt::format("{}; backup {} is used, {}{}", reason_, number,
                                           ageText(files_, clock_, path), losses));
        return true;
    }

    bool take(Record record) {
        if (isWanted_(record)) {
            result_.record = std::move(record);
            return true;
        }
        reason_ = "holds another roll";
        isForeign_ = true;
        tell(Kind::foreign, "holds another roll; it is left alone");
        return false;
    }

    void tell(Kind kind, std::string_view text) {
        result_.problems.push_back({kind, file_, fmt::format("{}: {}", file_.string(), text)});
    }

    const Files& files_;
    const Clock& clock_;
    const Path& file_;
    const Accept isWanted_;
    FileReading<Record> result_;
    bool isAbsent_ = false;
    bool isForeign_ = false;
    std::string reason_;  ///< why the file itself gives nothing, as words that follow its name
};

}  // namespace

FileReading<VaultRollManifest> readRollFile(const Files& files, const Clock& clock, const Path& file,
                                            RollID id) {
    const auto isOwn = [id](const VaultRollManifest& roll) { return RollID::parse(roll.id) == id; };
    return Reading<VaultRollManifest>(files, clock, file, isOwn).read();
}

FileReading<VaultPreferences> readPreferencesFile(const Files& files, const Clock& clock, const Path& file) {
    const auto any = [](const VaultPreferences&) { return true; };
    return Reading<VaultPreferences>(files, clock, file, any).read();
}

}  // namespace kelvaris
