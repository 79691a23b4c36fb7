// SPDX-License-Identifier: GPL-3.0-or-later
#include "KinloomCLI/Cli.h"

#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const kinloom::Cli::ProgressTerminal terminal{isatty(STDERR_FILENO) ? &std::cerr : nullptr};
    return kinloom::Cli::run(arguments, std::cout, std::cerr, terminal);
}
