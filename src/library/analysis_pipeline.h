#pragma once

#include <functional>

#include "base/path.h"
#include "base/run_end.h"
#include "base/uuid.h"
#include "library/photo_item.h"
#include "vocabulary/analysis_result.h"

namespace kelvaris {

/// What a run of analysis tells its roll. All are called on the main thread.
struct AnalysisCallbacks {
    std::function<void(const PhotoPointer& photo, const AnalysisResult& result)> onPhotoAnalyzed;
    std::function<void(bool success)> onReadOutcome;  ///< may be empty
    std::function<void()> onThumbnailsLoaded;         ///< may be empty
    /// A photo is done with: its thumbnail, its analysis or a later look, however it went. May be empty.
    std::function<void()> onPhotoFinished;
    /// Told once by the run: completed, failed when not one of the photos could be read, cancelled when a
    /// later run took photos over or the pipeline went.
    RunEnding ending;
};

/// What a roll asks of the analysis, which lives above it. Main thread; nothing blocks.
class AnalysisPipeline {
public:
    virtual ~AnalysisPipeline() = default;

    /// Loads the thumbnails of all photos and analyses those that have not been. A later run over the
    /// same photos supersedes this one. Photos that are missing take no part in the run: they are shown by
    /// what the cache holds, and their files are not touched.
    virtual void analyzeRoll(const PhotoList& photos, const Path& sourceFolder, RollID rollID,
                             bool isBackground, AnalysisCallbacks callbacks) = 0;

    /// Analyses photos that are loaded already, without loading thumbnails for display; those that are
    /// missing are left out.
    /// @param roll all photos of the roll: a frame's place is counted, and gems are chosen, among them.
    virtual void reanalyze(const PhotoList& photos, const PhotoList& roll, bool isCloudHosted,
                           AnalysisCallbacks callbacks) = 0;

    /// Loads the thumbnails of the first photos, without keeping a bitmap for analysis.
    virtual void loadSidebarThumbnails(const PhotoList& photos, RollID rollID, int count,
                                       bool isCloudHosted) = 0;
};

}  // namespace kelvaris
