#pragma once

#include <map>
#include <utility>
#include <vector>

#include "base/main_queue.h"
#include "platform/geocoder.h"

namespace kelvaris {

/// Knows the places that the test names, and answers through the main queue.
class FakeGeocoder final : public Geocoder {
public:
    explicit FakeGeocoder(MainQueue& main) : main_(main) {}

    void placeName(double latitude, double longitude, Completion completion) override {
        requests.emplace_back(latitude, longitude);
        const auto found = names.find({latitude, longitude});
        std::optional<std::string> name;
        if (found != names.end()) name = found->second;
        main_.post([name, completion = std::move(completion)] { completion(name); });
    }

    std::map<std::pair<double, double>, std::string> names;
    std::vector<std::pair<double, double>> requests;

private:
    MainQueue& main_;
};

}  // namespace kelvaris
