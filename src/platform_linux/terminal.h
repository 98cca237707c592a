#pragma once

namespace kelvaris {

/// Whether a person watches standard error.
bool standardErrorIsTerminal();

}  // namespace kelvaris
