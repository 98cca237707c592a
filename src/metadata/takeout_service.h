#pragma once

#include <string>
#include <vector>

#include "base/result.h"
#include "metadata/location_service.h"
#include "platform/files.h"

namespace kelvaris {

/// Why a location history gave nothing.
struct TakeoutError {
    enum class Code { invalidFormat, noLocationData, unreadable };
    Code code = Code::invalidFormat;
    std::string message;  ///< what a user is shown; of an unreadable file the system's own words
};

using LocationRecords = std::vector<LocationRecord>;

/// Reads location histories: Records.json of an account's export, the Timeline.json that phones export
/// themselves (both makers' forms), and GPX and KML tracks. What stands in the file decides, not its name.
class TakeoutService {
public:
    explicit TakeoutService(const Files& files) : files_(files) {}

    /// The file is mapped and walked once; memory beyond a window of it goes to the records alone.
    /// Any thread, never the main thread.
    /// @return ascending by timestamp, never empty.
    Result<LocationRecords, TakeoutError> parse(const Path& path) const;

private:
    const Files& files_;
};

/// The same for bytes in memory.
Result<LocationRecords, TakeoutError> parseLocationHistory(ByteView bytes);

}  // namespace kelvaris
