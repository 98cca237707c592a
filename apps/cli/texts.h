#pragma once

#include <string>
#include <vector>

#include "library/film_roll.h"
#include "platform/language.h"

namespace kelvaris::cli {

/// Rows under a head, columns as wide as their widest cell.
std::string table(const std::vector<std::vector<std::string>>& rows);

/// One line of the list of rolls.
std::vector<std::string> rollRow(const FilmRoll& roll);
/// The head of those lines.
std::vector<std::string> rollHead();

/// A roll with all its photos for a person.
std::string rollText(const FilmRoll& roll, const Language& language);

}  // namespace kelvaris::cli
