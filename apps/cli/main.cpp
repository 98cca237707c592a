#include <iostream>

#include "program.h"

int main(int argumentCount, char** arguments) {
    return kelvaris::cli::runProgram({arguments + 1, arguments + argumentCount}, std::cin, std::cout,
                                     std::cerr);
}
