#include "platform_linux/row_reducer.h"

#include <algorithm>
#include <cmath>

namespace kelvaris {
namespace {

constexpr int whole = 256;

std::vector<RowReducer::Area> areas(int from, int to) {
    std::vector<RowReducer::Area> result(static_cast<std::size_t>(to));
    for (int index = 0; index < to; ++index) {
        RowReducer::Area& area = result[static_cast<std::size_t>(index)];
        const double begin = static_cast<double>(index) * from / to;
        const double end = static_cast<double>(index + 1) * from / to;
        area.first = std::min(static_cast<int>(begin), from - 1);
        int left = whole;
        std::size_t widest = 0;
        for (std::size_t i = 0; i < area.shares.size(); ++i) {
            const double pixel = area.first + static_cast<double>(i);
            const double shared = std::max(0.0, std::min(end, pixel + 1) - std::max(begin, pixel));
            area.shares[i] = static_cast<std::uint16_t>(std::lround(whole * shared / (end - begin)));
            left -= area.shares[i];
            if (area.shares[i] > area.shares[widest]) widest = i;
        }
        area.shares[widest] = static_cast<std::uint16_t>(area.shares[widest] + left);
    }
    return result;
}

template <std::size_t channels>
void meanColumns(const std::uint16_t* sums, const std::vector<RowReducer::Area>& columns, std::uint8_t* out) {
    for (const RowReducer::Area& area : columns) {
        const std::uint16_t* first = sums + static_cast<std::size_t>(area.first) * channels;
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const std::uint32_t sum = std::uint32_t{first[channel]} * area.shares[0] +
                                      std::uint32_t{first[channel + channels]} * area.shares[1] +
                                      std::uint32_t{first[channel + 2 * channels]} * area.shares[2];
            *out++ = static_cast<std::uint8_t>((sum + whole * whole / 2) / (whole * whole));
        }
    }
}

}  // namespace

RowReducer::RowReducer(int width, int height, int channels, int reducedWidth, int reducedHeight)
    : channels_(static_cast<std::size_t>(channels)),
      rowSize_(static_cast<std::size_t>(width) * channels_),
      columns_(areas(width, reducedWidth)),
      rows_(areas(height, reducedHeight)),
      sums_(rowSize_ + 2 * channels_),  // an area may end with shares of nothing behind the row
      result_(static_cast<std::size_t>(reducedWidth) * reducedHeight * channels_) {}

void RowReducer::add(const std::uint8_t* row) {
    const int number = nextRow_++;
    while (target_ < rows_.size()) {
        const Area& area = rows_[target_];
        const int place = number - area.first;
        if (place < 0) return;
        const auto at = static_cast<std::size_t>(place);
        if (at < area.shares.size() && area.shares[at] > 0) addShare(row, area.shares[at]);
        const bool isComplete =
            at + 1 >= area.shares.size() || std::all_of(area.shares.begin() + place + 1, area.shares.end(),
                                                        [](std::uint16_t share) { return share == 0; });
        if (!isComplete) return;
        finishRow();
    }
}

void RowReducer::addShare(const std::uint8_t* row, std::uint16_t share) {
    std::uint16_t* sums = sums_.data();
    for (std::size_t i = 0; i < rowSize_; ++i) {
        sums[i] = static_cast<std::uint16_t>(sums[i] + row[i] * share);
    }
}

void RowReducer::finishRow() {
    std::uint8_t* out = result_.data() + target_ * columns_.size() * channels_;
    if (channels_ == 1) meanColumns<1>(sums_.data(), columns_, out);
    if (channels_ == 3) meanColumns<3>(sums_.data(), columns_, out);
    if (channels_ == 4) meanColumns<4>(sums_.data(), columns_, out);
    std::ranges::fill(sums_, std::uint16_t{0});
    ++target_;
}

}  // namespace kelvaris
