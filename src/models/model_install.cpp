#include "models/model_install.h"

#include "base/uuid.h"
#include "models/gzip_reader.h"
#include "models/model_registry.h"
#include "models/tar_reader.h"

namespace kelvaris {

namespace {

/// Ends when the work is called off.
class CancellableStream final : public ByteStream {
public:
    CancellableStream(ByteStream& source, const std::atomic<bool>& cancelled)
        : source_(source), cancelled_(cancelled) {}
    DownloadResult<std::size_t> read(std::span<std::uint8_t> target) override {
        if (cancelled_) return Unexpected(DownloadError{DownloadError::Code::cancelled});
        return source_.read(target);
    }

private:
    ByteStream& source_;
    const std::atomic<bool>& cancelled_;
};

/// Removes a folder, whatever is in it, at its end.
class ScratchFolder {
public:
    ScratchFolder(Files& files, Path path) : files_(files), path_(std::move(path)) {}
    ~ScratchFolder() { static_cast<void>(files_.removeTree(path_)); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    const Path& path() const { return path_; }

private:
    Files& files_;
    Path path_;
};

}  // namespace

DownloadResult<void> ModelInstaller::unpack(const Path& archive, const Path& folder,
                                            const std::atomic<bool>& cancelled) const {
    const auto bytes = files.map(archive);
    if (!bytes) return extractionFailure(bytes.error().message);
    auto gzip = GzipReader::open((*bytes)->bytes(), compression);
    if (!gzip) return Unexpected(gzip.error());
    CancellableStream stream(**gzip, cancelled);
    return extractTar(stream, files, folder, Durability::durable);
}

DownloadResult<void> ModelInstaller::swapIn(const Path& candidate, ModelID id) const {
    const Path final = modelsDirectory / rawValue(id);
    const auto swapped =
        files.exists(final) ? files.exchange(candidate, final) : files.move(candidate, final);
    if (!swapped) return Unexpected(DownloadError::ofExtraction(swapped.error()));
    return {};
}

DownloadResult<std::vector<ModelID>> ModelInstaller::install(const Path& archive,
                                                             std::span<const ModelID> wanted,
                                                             const std::atomic<bool>& cancelled) const {
    const ScratchFolder scratch(files, stagingFolder() / Uuid::random().text());
    if (auto made = files.createDirectories(scratch.path()); !made) {
        return Unexpected(DownloadError::ofExtraction(made.error()));
    }
    if (auto unpacked = unpack(archive, scratch.path(), cancelled); !unpacked)
        return Unexpected(unpacked.error());
    if (cancelled) return Unexpected(DownloadError{DownloadError::Code::cancelled});
    std::vector<ModelID> installed;
    for (const ModelID id : wanted) {
        const Path candidate = scratch.path() / rawValue(id);
        if (!holdsModel(files, candidate, id)) continue;
        if (auto swapped = swapIn(candidate, id); !swapped) return Unexpected(swapped.error());
        installed.push_back(id);
    }
    if (installed.empty()) return Unexpected(DownloadError{DownloadError::Code::verificationFailed});
    return installed;
}

}  // namespace kelvaris
