#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "analysis/embedding_ports.h"
#include "base/lifetime.h"
#include "base/observable.h"
#include "base/operation_queue.h"
#include "discovery/discovery_library.h"
#include "discovery/face_similarity.h"

namespace kelvaris {

/// What a running or finished search for a face shows.
struct FaceSearchState {
    RunStamp searchID;
    PhotoPointer sourcePhoto;
    FaceRegion sourceFace;
    std::optional<RollID> originalRollID;  ///< the roll to return to
    std::vector<FaceMatch> matches;        ///< most similar first
    bool isSearching = false;
    std::optional<PhotoID> selectedMatchID;
    DiscoveryProgress progress;

    /// What stands over the list: that it is searching, that nothing was found, or nothing.
    std::string statusText() const;
    /// How many photos failed, in a sentence; empty when none did.
    std::string failureText() const;
};

/// A place in a picture's normalised coordinates: 0 to 1, origin at the bottom left.
struct ImagePoint {
    double x = 0.0;
    double y = 0.0;
};

/// The first face whose circle, of 0.65 times the box's larger side about its centre, holds the point.
std::optional<FaceRegion> faceAtPoint(ImagePoint point, std::span<const FaceRegion> regions);

/// A photo whose faces the user is asked to choose from.
struct PendingFacePick {
    PhotoPointer photo;
    std::vector<FaceRegion> regions;
};

enum class FaceSearchField { faceSearchResult, faceSearchMessage, pendingFacePick };

/// Finds the photos of all rolls that hold the person of one face, bringing face analysis up to date on
/// the way. Main thread.
class FaceSearch : public Observable<FaceSearchField> {
public:
    static constexpr std::string_view modelMissingText = "Download Face Match model in Settings > Models";
    static constexpr std::string_view findingFacesText = "Finding faces in this photo";
    static constexpr std::string_view noFacesText = "No faces detected. Try another photo of this person.";
    static constexpr std::string_view noneComparableText =
        "Faces found, but they couldn't be compared. Try a closer or clearer photo.";
    static constexpr std::string_view tooSmallText =
        "This face is visible, but too small to compare. Try a closer photo of this person.";
    static constexpr std::string_view unreadablePhotoText =
        "Couldn't read or analyze this photo. Try again when the file is available.";

    /// All must outlive the object, finder and queue also the work on the queue.
    FaceSearch(DiscoveryLibrary& library, FaceFinder& finder, OperationQueue& queue, MainQueue& main);
    ~FaceSearch();

    /// Starts from the user's gesture: looks at the photo's faces, then takes the one under the point, the
    /// only one that can be compared, or asks through pendingFacePick.
    void findSimilarFaces(const PhotoPointer& photo, std::optional<ImagePoint> cursorImagePoint);
    /// Starts the search for a chosen face.
    void findSimilarFaces(const PhotoPointer& photo, const FaceRegion& face);

    /// Nothing while no search shows.
    const std::optional<FaceSearchState>& faceSearchResult() const { return result_; }
    /// A short message to show over the preview.
    const std::optional<std::string>& faceSearchMessage() const { return message_; }
    /// The photo and faces for which the picker is open.
    const std::optional<PendingFacePick>& pendingFacePick() const { return pick_; }

    void selectFaceMatch(const FaceMatch& match);
    /// Ends everything and goes back to where it began.
    void dismissFaceSearch();

private:
    void regionsFound(const PhotoPointer& photo, std::optional<ImagePoint> point,
                      const std::vector<FaceRegion>& regions);
    void run(RunStamp searchID, PhotoID source, std::vector<float> embedding, FaceRolls rolls);
    void saveFaceAnalysis(RollID rollID, const FaceRollRef::FacePhotoRef& reference,
                          const PhotoItem::FaceRegions& regions);
    bool isCurrent(RunStamp searchID) const { return result_ && result_->searchID == searchID; }
    void update(std::vector<FaceMatch> matches, DiscoveryProgress progress, bool isSearching);
    void setMessage(std::optional<std::string> message);
    void setPick(std::optional<PendingFacePick> pick);
    void modelMissing();
    void supersedePreparation();
    void cancelSearch();

    DiscoveryLibrary& library_;
    FaceFinder& finder_;
    OperationQueue& queue_;
    MainQueue& main_;
    std::optional<RunStamp> facePreparationID_;
    AnalysisCancellationPointer preparationCancellation_;
    std::optional<FaceSearchState> result_;
    std::optional<std::string> message_;
    std::optional<PendingFacePick> pick_;
    AnalysisCancellationPointer faceSearchCancellation_;
    Lifetime lifetime_;
};

}  // namespace kelvaris
