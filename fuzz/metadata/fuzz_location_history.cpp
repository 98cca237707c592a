#include <algorithm>
#include <cstdlib>

#include "metadata/takeout_service.h"

using namespace kelvaris;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto records = parseLocationHistory({data, size});
    if (!records) return 0;
    if (records->empty() || !std::ranges::is_sorted(*records, {}, &LocationRecord::timestamp)) std::abort();
    return 0;
}
