#pragma once

#include "KinloomKit/GedcomDocument.h"

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

/// The short text that names a record in findings and change lines: a person's name with its
/// xref ("Mary Smith (@I4@)", "Unnamed person (@I9@)"), or the xref and tag ("@F3@ FAM").
[[nodiscard]] std::string recordLabel(NodeView record);

} // namespace kinloom
