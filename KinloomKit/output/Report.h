// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "changes/FixApplier.h"
#include "checks/Scanner.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kinloom::Report {

/// The one date style of reports and change logs: "21 November 2026, 14:03" in local time.
[[nodiscard]] std::string formatDate(std::chrono::system_clock::time_point date);

/// The change log written next to a cleaned copy. `note` is the writer's note when it had to
/// change the encoding.
[[nodiscard]] std::string changeLogText(const std::vector<ChangeEntry>& entries,
                                        const std::string& originalName, const std::string& copyName,
                                        std::chrono::system_clock::time_point saveDate,
                                        const std::optional<std::string>& note);

/// The findings report of one scan: what was read, the counts, one section per category that has
/// findings with the findings grouped by kind, how many findings earlier decisions hid (`hidden`),
/// and the privacy line.
[[nodiscard]] std::string reportText(const ScanResult& result, const std::string& fileName,
                                     std::chrono::system_clock::time_point scanDate, std::size_t hidden = 0);

} // namespace kinloom::Report
