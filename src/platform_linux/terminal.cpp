#include "platform_linux/terminal.h"

#include <unistd.h>

namespace kelvaris {

bool standardErrorIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }

}  // namespace kelvaris
