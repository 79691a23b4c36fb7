// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
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

/// Where `info`, `check` and `tidy` show their progress on a large file: a terminal, since the
/// progress is one line overwritten in place and cleared at the end.
struct ProgressTerminal
{
    std::ostream* stream = nullptr;              ///< none: no progress is shown
    std::uintmax_t minimumFileSize = 20'000'000; ///< files of this many bytes or fewer show none
};

/// Runs one command (arguments without the program name); returns the exit status.
int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
        const ProgressTerminal& terminal = {});

} // namespace kinloom::Cli
