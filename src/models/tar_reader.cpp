#include "models/tar_reader.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::size_t blockSize = 512;
constexpr std::size_t pieceSize = 65536;

using Block = std::array<std::uint8_t, blockSize>;
using Kind = TarEntry::Kind;

std::string_view field(const Block& block, std::size_t begin, std::size_t end) {
    return asText(ByteView(block).subspan(begin, end - begin));
}

std::string_view trimmedOf(std::string_view text, std::string_view unwanted) {
    const auto first = text.find_first_not_of(unwanted);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(unwanted) - first + 1);
}

/// Octal digits with an optional sign; what is no number is 0.
std::int64_t sizeOf(std::string_view text) {
    text = trimmedOf(text, std::string_view("\0 ", 2));
    if (text.starts_with('+')) text.remove_prefix(1);
    std::int64_t size = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size, 8);
    return error == std::errc() && end == text.data() + text.size() ? size : 0;
}

TarEntry parseHeader(const Block& block) {
    constexpr std::string_view zero("\0", 1);
    TarEntry entry;
    entry.name = trimmedOf(field(block, 0, 100), zero);
    const std::string_view prefix = trimmedOf(field(block, 345, 500), zero);
    if (!prefix.empty()) entry.name = std::string(prefix) + "/" + entry.name;
    entry.size = sizeOf(field(block, 124, 136));
    if (block[156] == 0 || block[156] == '0') entry.kind = Kind::file;
    if (block[156] == '5') entry.kind = Kind::folder;
    return entry;
}

std::vector<std::string> standardized(const Path& path) {
    std::vector<std::string> steps;
    for (const std::string& step : split(path.string(), '/')) {
        if (step == ".." && !steps.empty()) steps.pop_back();
        if (!step.empty() && step != "." && step != "..") steps.push_back(step);
    }
    return steps;
}

}  // namespace

TarReader::TarReader(ByteStream& archive) : archive_(archive), piece_(pieceSize) {}

DownloadResult<std::optional<TarEntry>> TarReader::next() {
    while (left_ > 0) {
        if (const auto skipped = read(piece_); !skipped) return Unexpected(skipped.error());
    }
    if (const auto skipped = fill(std::span(piece_).first(filling_)); !skipped)
        return Unexpected(skipped.error());
    filling_ = 0;
    Block block;
    const auto filled = fill(block);
    if (!filled) return Unexpected(filled.error());
    const bool isZero = std::all_of(block.begin(), block.end(), [](std::uint8_t byte) { return byte == 0; });
    if (*filled < blockSize || isZero) {
        for (;;) {  // damage behind the last entry is damage too
            const auto rest = archive_.read(piece_);
            if (!rest) return Unexpected(rest.error());
            if (*rest == 0) return std::optional<TarEntry>();
        }
    }
    TarEntry entry = parseHeader(block);
    const std::string shown = replacingInvalidUtf8(entry.name);
    if (entry.size < 0) return extractionFailure("Negative size: " + shown);
    if (shown != entry.name || entry.name.find('\0') != std::string::npos) {
        return extractionFailure("Unreadable name: " + shown);
    }
    left_ = entry.size;
    filling_ = static_cast<std::size_t>((blockSize - entry.size % blockSize) % blockSize);
    return std::optional(std::move(entry));
}

DownloadResult<std::size_t> TarReader::read(std::span<std::uint8_t> target) {
    if (left_ == 0) return std::size_t{0};
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(left_, std::ssize(target)));
    const auto count = archive_.read(target.first(wanted));
    if (!count) return count;
    if (*count == 0) return extractionFailure("The archive ends within a file");
    left_ -= static_cast<std::int64_t>(*count);
    return count;
}

DownloadResult<std::size_t> TarReader::fill(std::span<std::uint8_t> target) {
    std::size_t filled = 0;
    while (filled < target.size()) {
        const auto count = archive_.read(target.subspan(filled));
        if (!count) return count;
        if (*count == 0) break;
        filled += *count;
    }
    return filled;
}

std::optional<std::vector<std::string>> stepsBelow(const Path& destination, const std::string& name) {
    const auto folder = standardized(destination);
    auto target = standardized(destination / name);
    if (target.size() < folder.size() || !std::equal(folder.begin(), folder.end(), target.begin())) {
        return std::nullopt;
    }
    target.erase(target.begin(), target.begin() + std::ssize(folder));
    return target;
}

namespace {

DownloadResult<void> extractFile(TarReader& archive, Files& files, const Path& target,
                                 Durability durability) {
    if (auto made = files.createDirectories(target.parent()); !made) {
        return Unexpected(DownloadError::ofExtraction(made.error()));
    }
    auto file = files.beginWrite(target, durability);
    if (!file) return Unexpected(DownloadError::ofExtraction(file.error()));
    Bytes piece(pieceSize);
    for (;;) {
        const auto count = archive.read(piece);
        if (!count) return Unexpected(count.error());
        if (*count == 0) break;
        if (auto written = (*file)->write(ByteView(piece).first(*count)); !written) {
            return Unexpected(DownloadError::ofExtraction(written.error()));
        }
    }
    if (auto stands = (*file)->commit(); !stands)
        return Unexpected(DownloadError::ofExtraction(stands.error()));
    return {};
}

}  // namespace

DownloadResult<void> extractTar(ByteStream& archive, Files& files, const Path& destination,
                                Durability durability) {
    TarReader reader(archive);
    for (;;) {
        const auto entry = reader.next();
        if (!entry) return Unexpected(entry.error());
        if (!*entry) return {};
        const auto steps = stepsBelow(destination, (*entry)->name);
        if (!steps) return extractionFailure("Path traversal detected: " + (*entry)->name);
        const Path target = steps->empty() ? destination : destination / joined(*steps, "/");
        switch ((*entry)->kind) {
            case Kind::file:
                if (auto extracted = extractFile(reader, files, target, durability); !extracted)
                    return extracted;
                break;
            case Kind::folder:
                if (auto made = files.createDirectories(target); !made) {
                    return Unexpected(DownloadError::ofExtraction(made.error()));
                }
                break;
            case Kind::other:
                break;
        }
    }
}

}  // namespace kelvaris
