#include "discovery/face_grouping.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

#include "analysis/face_vectors.h"
#include "base/text.h"
#include "base/vector_math.h"

namespace kelvaris {
namespace {

constexpr std::size_t dimension = faceEmbeddingDimension;

/// Sorts by stable key. Two boxes with the same corner have the same key, so the rest of the anchor
/// decides between them; only for one and the same anchor does the order of input remain.
std::vector<IndexedFace> sortedByKey(std::vector<IndexedFace> faces, std::vector<std::string>& keys) {
    std::vector<std::string> inputKeys;
    inputKeys.reserve(faces.size());
    for (const IndexedFace& face : faces) inputKeys.push_back(FaceGroupingService::stableKey(face.anchor));
    std::vector<std::size_t> order(faces.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        if (const int byKey = inputKeys[a].compare(inputKeys[b]); byKey != 0) return byKey < 0;
        const auto byWidth = std::strong_order(faces[a].anchor.width, faces[b].anchor.width);
        if (byWidth != 0) return byWidth < 0;
        return std::strong_order(faces[a].anchor.height, faces[b].anchor.height) < 0;
    });
    std::vector<IndexedFace> sorted;
    sorted.reserve(faces.size());
    for (const std::size_t i : order) {
        sorted.push_back(std::move(faces[i]));
        keys.push_back(std::move(inputKeys[i]));
    }
    return sorted;
}

/// The faces that take part, with the ways to find them by place.
class FaceIndex {
public:
    using Number = std::uint32_t;

    explicit FaceIndex(std::vector<IndexedFace> input) {
        std::vector<std::string> keys;
        for (IndexedFace& face : sortedByKey(std::move(input), keys)) {
            std::vector<Number>& photo = photos_[photoOf(face.anchor)];
            const bool isKnown = std::any_of(photo.begin(), photo.end(), [&](Number other) {
                return FaceGroupingService::overlap(faces_[other].anchor, face.anchor);
            });
            std::string& key = keys[nextKey_++];
            if (isKnown) continue;
            photo.push_back(static_cast<Number>(faces_.size()));
            keys_.push_back(std::move(key));
            faces_.push_back(std::move(face));
        }
        photoNumbers_.resize(faces_.size());
        Number number = 0;
        for (const auto& [photo, members] : photos_) {
            for (const Number face : members) photoNumbers_[face] = number;
            ++number;
        }
    }

    std::size_t size() const { return faces_.size(); }
    const IndexedFace& face(Number number) const { return faces_[number]; }
    const std::string& key(Number number) const { return keys_[number]; }
    /// The same for two faces exactly when they are in one photo.
    Number photoNumber(Number number) const { return photoNumbers_[number]; }

    /// The first face that overlaps the anchor.
    std::optional<Number> firstOverlapping(const FaceAnchor& anchor) const {
        return first(anchor, [](const FaceAnchor& a, const FaceAnchor& b) {
            return FaceGroupingService::overlap(a, b);
        });
    }

    /// The face with exactly that anchor.
    std::optional<Number> firstEqual(const FaceAnchor& anchor) const {
        return first(anchor, std::equal_to<>());
    }

    /// Marks every face that overlaps one of the anchors.
    std::vector<bool> overlapping(std::span<const FaceAnchor> anchors) const {
        std::vector<bool> marked(faces_.size(), false);
        for (const FaceAnchor& anchor : anchors) {
            const auto photo = photos_.find(photoOf(anchor));
            if (photo == photos_.end()) continue;
            for (const Number number : photo->second) {
                if (FaceGroupingService::overlap(faces_[number].anchor, anchor)) marked[number] = true;
            }
        }
        return marked;
    }

private:
    using Photo = std::pair<RollID, std::string>;
    static Photo photoOf(const FaceAnchor& anchor) { return {anchor.rollID, anchor.filename}; }

    template <class Matches>
    std::optional<Number> first(const FaceAnchor& anchor, Matches matches) const {
        const auto photo = photos_.find(photoOf(anchor));
        if (photo == photos_.end()) return std::nullopt;
        for (const Number number : photo->second) {
            if (matches(faces_[number].anchor, anchor)) return number;
        }
        return std::nullopt;
    }

    std::size_t nextKey_ = 0;
    std::vector<IndexedFace> faces_;
    std::vector<std::string> keys_;
    std::vector<Number> photoNumbers_;
    std::map<Photo, std::vector<Number>> photos_;
};

/// A group in the making, by the numbers of its faces.
struct Draft {
    std::string id;
    std::vector<FaceIndex::Number> members;
    bool manual = false;
};

/// Complete linkage, one face after the other. Only groups that grew from a comparable face are open to
/// others, and a face can only join one whose first member is near enough. So a block of faces is compared
/// with the first members of all open groups in one product, then the faces that come near a group with
/// its other members in another; what is decided within the block is compared pair by pair.
class Clusterer {
public:
    Clusterer(const FaceIndex& index, float threshold, std::vector<Draft>& drafts)
        : index_(index), threshold_(threshold), drafts_(drafts) {}

    /// Places the faces in their order. All have usable vectors.
    void place(std::span<const FaceIndex::Number> faces) {
        for (std::size_t first = 0; first < faces.size(); first += blockSize) {
            placeBlock(faces.subspan(first, std::min(blockSize, faces.size() - first)));
        }
    }

private:
    static constexpr std::size_t blockSize = 64;

    struct OpenGroup {
        std::size_t draft;
        VectorBlock vectors;       ///< of all its members, in their order
        std::size_t compared = 0;  ///< members that the block has been compared with

        std::size_t size() const { return vectors.size() / dimension; }
        std::span<const float> vector(std::size_t member) const {
            return std::span<const float>(vectors).subspan(member * dimension, dimension);
        }
    };

    const std::vector<float>& vectorOf(FaceIndex::Number face) const {
        return index_.face(face).region.embedding;
    }

    void placeBlock(std::span<const FaceIndex::Number> faces) {
        block_.clear();
        for (const auto face : faces)
            block_.insert(block_.end(), vectorOf(face).begin(), vectorOf(face).end());
        const std::size_t known = groups_.size();
        smallest_.resize(faces.size() * known);
        cosineSimilarities(block_.data(), faces.size(), leaders_.data(), known, dimension, smallest_.data());
        for (std::size_t group = 0; group < known; ++group) {
            groups_[group].compared = 1;
            compareWithAllMembers(faces.size(), group, known);
        }
        for (std::size_t i = 0; i < faces.size(); ++i) {
            placeFace(faces[i], std::span(smallest_).subspan(i * known, known));
        }
    }

    /// Lowers the block's similarities to the group from those to its first member to the smallest ones,
    /// when more than one face of the block comes near it.
    void compareWithAllMembers(std::size_t faceCount, std::size_t group, std::size_t known) {
        OpenGroup& open = groups_[group];
        const std::size_t others = open.size() - 1;
        if (others == 0) return;
        near_.clear();
        nearVectors_.clear();
        for (std::size_t i = 0; i < faceCount; ++i) {
            if (!(smallest_[i * known + group] >= threshold_)) continue;
            near_.push_back(i);
            const auto vector = std::span(block_).subspan(i * dimension, dimension);
            nearVectors_.insert(nearVectors_.end(), vector.begin(), vector.end());
        }
        if (near_.size() < 2) return;
        products_.resize(near_.size() * others);
        cosineSimilarities(nearVectors_.data(), near_.size(), open.vectors.data() + dimension, others,
                           dimension, products_.data());
        for (std::size_t n = 0; n < near_.size(); ++n) {
            const auto row = std::span(products_).subspan(n * others, others);
            float& smallest = smallest_[near_[n] * known + group];
            smallest = std::min(smallest, *std::min_element(row.begin(), row.end()));
        }
        open.compared = open.size();
    }

    /// @param known the smallest similarities to the compared members of the groups that were open
    ///        before the block.
    void placeFace(FaceIndex::Number face, std::span<const float> known) {
        OpenGroup* best = nullptr;
        float bestSimilarity = 0.0F;
        for (std::size_t i = 0; i < groups_.size(); ++i) {
            OpenGroup& group = groups_[i];
            float smallest = i < known.size() ? known[i] : cosineSimilarity(vectorOf(face), group.vector(0));
            const auto isTooFar = [&] {
                return !(smallest >= threshold_) || (best != nullptr && smallest <= bestSimilarity);
            };
            if (isTooFar() || holdsPhotoOf(drafts_[group.draft], face)) continue;
            const std::size_t compared = i < known.size() ? group.compared : 1;
            for (std::size_t m = compared; m < group.size() && !isTooFar(); ++m) {
                smallest = std::min(smallest, cosineSimilarity(vectorOf(face), group.vector(m)));
            }
            if (isTooFar()) continue;
            best = &group;
            bestSimilarity = smallest;
        }
        const auto& vector = vectorOf(face);
        if (best != nullptr) {
            drafts_[best->draft].members.push_back(face);
            best->vectors.insert(best->vectors.end(), vector.begin(), vector.end());
            return;
        }
        groups_.push_back({.draft = drafts_.size(), .vectors = VectorBlock(vector.begin(), vector.end())});
        leaders_.insert(leaders_.end(), vector.begin(), vector.end());
        drafts_.push_back({index_.key(face), {face}, false});
    }

    bool holdsPhotoOf(const Draft& draft, FaceIndex::Number face) const {
        return std::any_of(draft.members.begin(), draft.members.end(), [&](FaceIndex::Number member) {
            return index_.photoNumber(member) == index_.photoNumber(face);
        });
    }

    const FaceIndex& index_;
    const float threshold_;
    std::vector<Draft>& drafts_;
    std::vector<OpenGroup> groups_;  ///< in order of creation
    VectorBlock leaders_;            ///< vectors of their first members
    VectorBlock block_;
    std::vector<float> smallest_;  ///< faces of the block by groups
    std::vector<std::size_t> near_;
    VectorBlock nearVectors_;
    std::vector<float> products_;
};

/// The groups that the user made; marks the faces in them.
std::vector<Draft> manualDrafts(const FaceIndex& index, std::span<const ManualFaceGroup> groups,
                                std::vector<bool>& claimed) {
    std::vector<Draft> drafts;
    for (const ManualFaceGroup& group : groups) {
        Draft draft{.id = group.id.text(), .members = {}, .manual = true};
        for (const FaceAnchor& member : group.members) {
            const auto same = index.firstEqual(member);
            if (same && claimed[*same]) continue;
            if (const auto face = index.firstOverlapping(member)) draft.members.push_back(*face);
        }
        if (draft.members.empty()) continue;
        for (const auto face : draft.members) claimed[face] = true;
        drafts.push_back(std::move(draft));
    }
    return drafts;
}

}  // namespace

std::string FaceGroupingService::stableKey(const FaceAnchor& anchor) {
    return anchor.rollID.text() + "/" + anchor.filename + "/" + shortestDecimal(anchor.x) + "/" +
           shortestDecimal(anchor.y);
}

bool FaceGroupingService::overlap(const FaceAnchor& a, const FaceAnchor& b) {
    if (a.rollID != b.rollID || a.filename != b.filename) return false;
    const double width = std::min(a.x + a.width, b.x + b.width) - std::max(a.x, b.x);
    const double height = std::min(a.y + a.height, b.y + b.height) - std::max(a.y, b.y);
    if (!(width > 0.0) || !(height > 0.0)) return false;
    const double intersection = width * height;
    const double unionArea = a.width * a.height + b.width * b.height - intersection;
    return unionArea > 0.0 && intersection / unionArea >= sameFaceOverlap;
}

std::vector<SuggestedFaceGroup> FaceGroupingService::groups(std::vector<IndexedFace> faces,
                                                            const FaceGroupingEdits& edits, float threshold) {
    const FaceIndex index(std::move(faces));
    std::vector<bool> claimed(index.size(), false);
    std::vector<Draft> drafts = manualDrafts(index, edits.groups, claimed);
    const std::vector<bool> separated = index.overlapping(edits.separated);
    std::vector<FaceIndex::Number> comparable;
    for (FaceIndex::Number face = 0; face < index.size(); ++face) {
        if (claimed[face]) continue;
        if (separated[face]) {
            drafts.push_back({index.key(face), {face}, true});
        } else if (hasUsableEmbedding(index.face(face).region)) {
            comparable.push_back(face);
        } else {
            drafts.push_back({index.key(face), {face}, false});
        }
    }
    // Groups of one that nobody can join do not bear on the others, so the comparable faces may come last.
    Clusterer(index, threshold, drafts).place(comparable);
    std::stable_sort(drafts.begin(), drafts.end(), [](const Draft& a, const Draft& b) {
        if (a.members.size() != b.members.size()) return a.members.size() > b.members.size();
        return a.id < b.id;
    });
    std::vector<SuggestedFaceGroup> result;
    result.reserve(drafts.size());
    for (Draft& draft : drafts) {
        SuggestedFaceGroup group{.id = std::move(draft.id), .faces = {}, .manual = draft.manual};
        group.faces.reserve(draft.members.size());
        for (const auto face : draft.members) group.faces.push_back(index.face(face));
        result.push_back(std::move(group));
    }
    return result;
}

FaceGroupingEdits FaceGroupingService::preserve(std::span<const SuggestedFaceGroup> groups,
                                                FaceGroupingEdits edits) {
    for (const SuggestedFaceGroup& group : groups) {
        const auto id = FaceGroupID::parse(group.id);
        const auto known = id ? std::find_if(edits.groups.begin(), edits.groups.end(),
                                             [&](const ManualFaceGroup& each) { return each.id == *id; })
                              : edits.groups.end();
        if (known == edits.groups.end()) {
            ManualFaceGroup pinned{.id = FaceGroupID::random(), .members = {}};
            for (const IndexedFace& face : group.faces) pinned.members.push_back(face.anchor);
            edits.groups.push_back(std::move(pinned));
            continue;
        }
        for (const IndexedFace& face : group.faces) {
            const bool isMember =
                std::any_of(known->members.begin(), known->members.end(),
                            [&](const FaceAnchor& member) { return overlap(member, face.anchor); });
            if (!isMember) known->members.push_back(face.anchor);
        }
    }
    return edits;
}

}  // namespace kelvaris
