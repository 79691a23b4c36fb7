#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace kinloom::Cli {

/// Exit statuses of the command-line tool.
enum ExitStatus : int
{
    done = 0,
    foundProblems = 1, ///< findings at or above the --fail-on severity
    usage = 2,         ///< the command line was wrong, or its output cannot be written
    unreadable = 3,    ///< the file cannot be read or is not a family-tree file
};

/// Runs one command (arguments without the program name); returns the exit status.
int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace kinloom::Cli
