#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kinloom {

/// One entry of the change log: one applied fix and the lines it changed.
struct ChangeEntry
{
    std::int64_t id = 0; ///< the entry's running number in the session
    std::string fixID;
    std::string title;
    std::vector<std::string> lines;

    bool operator==(const ChangeEntry&) const = default;
};

} // namespace kinloom
