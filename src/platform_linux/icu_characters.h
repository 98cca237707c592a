#pragma once

#include "platform/characters.h"

namespace kelvaris {

class IcuCharacters final : public Characters {
public:
    CharacterClass classOf(char32_t character) const override;
};

}  // namespace kelvaris
