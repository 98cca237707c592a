#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelvaris {

/// Names places. Main thread; the answer arrives on the main thread.
class Geocoder {
public:
    using Completion = std::function<void(std::optional<std::string> placeName)>;
    virtual ~Geocoder() = default;
    /// @param latitude, longitude degrees, south and west negative.
    virtual void placeName(double latitude, double longitude, Completion completion) = 0;
};

}  // namespace kelvaris
