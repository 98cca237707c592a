#pragma once

#include <string>

namespace kelvaris::cli {

class Session;

/// Lets a command go on that takes something away from the user. The text is told in any case.
/// @param text what will be lost, as whole sentences.
/// @param yes the user agreed beforehand; otherwise the question is asked.
/// @throws CommandFailure when the answer is no, or when nobody can be asked.
void confirm(Session& session, const std::string& text, bool yes);

}  // namespace kelvaris::cli
