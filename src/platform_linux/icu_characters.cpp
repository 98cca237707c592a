#include "platform_linux/icu_characters.h"

#include <unicode/uchar.h>

#include <cstdint>

namespace kelvaris {

CharacterClass IcuCharacters::classOf(char32_t character) const {
    const auto point = static_cast<UChar32>(character);
    const std::uint32_t category = U_GET_GC_MASK(point);
    if (category & U_GC_L_MASK) return CharacterClass::letter;
    if (category & U_GC_N_MASK) return CharacterClass::number;
    return u_isUWhiteSpace(point) ? CharacterClass::space : CharacterClass::other;
}

}  // namespace kelvaris
