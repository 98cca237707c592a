#include "models/archive_report.h"

#include <algorithm>
#include <set>

#include "base/text.h"
#include "models/model_id.h"

namespace kelvaris {

namespace {

const char* kindText(TarEntry::Kind kind) {
    switch (kind) {
        case TarEntry::Kind::file:
            return "file";
        case TarEntry::Kind::folder:
            return "folder";
        case TarEntry::Kind::other:
            return "skipped";
    }
    return "";
}

std::vector<std::string> completeModels(const std::set<std::string>& paths) {
    const auto isThere = [&](const std::string& path) {
        return std::any_of(paths.begin(), paths.end(), [&](const std::string& each) {
            return each == path || each.starts_with(path + "/");
        });
    };
    std::vector<std::string> models;
    for (const auto& [id, word] : RawValues<ModelID>::rows) {
        const auto& required = modelFacts(id).requiredFiles;
        const std::string folder = std::string(word) + "/";
        if (std::all_of(required.begin(), required.end(),
                        [&](std::string_view name) { return isThere(folder + std::string(name)); })) {
            models.emplace_back(word);
        }
    }
    return models;
}

}  // namespace

ArchiveReport inspectArchive(ByteView archive, const Compression& compression) {
    ArchiveReport report;
    const auto fail = [&](const DownloadError& error) {
        report.error = error.detail.empty() ? error.errorDescription() : error.detail;
        return report;
    };
    auto gzip = GzipReader::open(archive, compression);
    if (!gzip) return fail(gzip.error());
    TarReader reader(**gzip);
    std::set<std::string> paths;
    for (;;) {
        const auto next = reader.next();
        if (!next) return fail(next.error());
        if (!*next) break;
        const TarEntry& entry = **next;
        const auto steps = stepsBelow(Path("/archive"), entry.name);
        report.entries.push_back({entry.name, entry.size, kindText(entry.kind), steps.has_value()});
        if (!steps)
            return fail({DownloadError::Code::extractionFailed, 0, "Path traversal detected: " + entry.name});
        if (entry.kind != TarEntry::Kind::other) paths.insert(joined(*steps, "/"));
    }
    report.models = completeModels(paths);
    if (report.models.empty()) return fail({DownloadError::Code::verificationFailed});
    return report;
}

}  // namespace kelvaris
