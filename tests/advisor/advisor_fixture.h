#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "advisor/catalog_service.h"
#include "advisor/gear_recommendation_service.h"
#include "advisor/profile_builder.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_language.h"
#include "platform_fake/fake_operation_queue.h"

namespace kelvaris {

/// The text of a file that ships with the program.
inline std::string shippedText(const std::string& name) {
    std::ifstream file(std::string(KELVARIS_RESOURCES) + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline const Path resources("/resources");

/// An advisor over the catalogs that ship.
struct Advisor {
    FakeClock clock;
    FakeFiles files{clock.wall()};
    FakeLanguage language;
    FakeOperationQueue queue{"advice", 1};
    const CatalogService catalog = load();
    const GearRecommendationService service{catalog, language, clock.wall(), queue};

    ShootingProfile profile(const RollSnapshot& snapshot) {
        return buildProfile(snapshot, catalog, language);
    }

private:
    CatalogService load() {
        for (const char* name :
             {"cameras.json", "films.json", "camera-recommendations.json", "film-recommendations.json"}) {
            files.addFile(resources / name, shippedText(name));
        }
        return {files, resources, language};
    }
};

/// `count` analyzed photos, the first `labeled` of which carry the labels.
inline std::vector<RollSnapshot::PhotoSnapshot> photos(int count, int labeled = 0,
                                                       PhotoLabelSet labels = {}) {
    std::vector<RollSnapshot::PhotoSnapshot> list(count);
    for (int i = 0; i < count; ++i) {
        list[i].labelsAnalyzed = true;
        if (i < labeled) list[i].labels = labels;
    }
    return list;
}

}  // namespace kelvaris
