#include <iostream>

#include "platform_linux/linux_console.h"
#include "program.h"

int main(int argumentCount, char** arguments) {
    kelvaris::occupyClosedStandardStreams();
    kelvaris::LinuxConsole console;
    return kelvaris::cli::runProgram({arguments + 1, arguments + argumentCount}, console, std::cout,
                                     std::cerr);
}
