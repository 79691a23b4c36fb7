#include "KinloomCLI/Cli.h"

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    return kinloom::Cli::run(arguments, std::cout, std::cerr);
}
