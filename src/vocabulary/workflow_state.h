#pragma once

#include <cstdint>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// How far a roll has come.
enum class WorkflowState : std::uint8_t { opened, metadataAssigned, exported };

template <>
struct RawValues<WorkflowState> {
    static constexpr std::array rows{
        std::pair{WorkflowState::opened, std::string_view("imported")},  // the word of the first libraries
        std::pair{WorkflowState::metadataAssigned, std::string_view("metadata_assigned")},
        std::pair{WorkflowState::exported, std::string_view("exported")},
    };
};

}  // namespace kelvaris
