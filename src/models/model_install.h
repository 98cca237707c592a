#pragma once

#include <atomic>
#include <span>
#include <vector>

#include "models/download_error.h"
#include "models/model_id.h"
#include "platform/compression.h"
#include "platform/files.h"

namespace kelvaris {

/// Installs models from archives. Any thread, one archive at a time.
struct ModelInstaller {
    Files& files;
    const Compression& compression;
    Path modelsDirectory;

    Path stagingFolder() const { return modelsDirectory / ".staging"; }

    /// Unpacks the archive aside, and swaps in every wanted model that it holds complete, each in one
    /// step: an older install stays whole until then, and after every failure. Nothing stays aside.
    /// @param cancelled ends the work when it becomes true; after the first swap it goes on to the end.
    /// @return the models installed; verificationFailed when the archive holds none of them complete.
    DownloadResult<std::vector<ModelID>> install(const Path& archive, std::span<const ModelID> wanted,
                                                 const std::atomic<bool>& cancelled) const;

private:
    DownloadResult<void> unpack(const Path& archive, const Path& folder,
                                const std::atomic<bool>& cancelled) const;
    DownloadResult<void> swapIn(const Path& candidate, ModelID id) const;
};

}  // namespace kelvaris
