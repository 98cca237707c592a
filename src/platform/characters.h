#pragma once

namespace kelvaris {

/// What a code point is to a reader of words, by the Unicode character database.
enum class CharacterClass {
    letter,  ///< general category L
    number,  ///< general category N
    space,   ///< White_Space
    other,
};

/// Knows the characters of all scripts. Any thread.
class Characters {
public:
    virtual ~Characters() = default;
    virtual CharacterClass classOf(char32_t character) const = 0;
};

}  // namespace kelvaris
