#include "KinloomKit/FixApplier.h"

namespace kinloom {
namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

/// The name without slashes, runs of blanks collapsed, ends trimmed.
std::string cleanedName(std::string_view value)
{
    std::string name;
    bool pendingBlank = false;
    for (char c : value) {
        if (c == '/')
            continue;
        if (isBlank(c)) {
            pendingBlank = !name.empty();
            continue;
        }
        if (pendingBlank)
            name += ' ';
        pendingBlank = false;
        name += c;
    }
    return name;
}

} // namespace

std::string recordLabel(NodeView record)
{
    const auto xref = record.xref();
    if (record.tag() == "INDI") {
        for (NodeView child : record.children()) {
            if (child.tag() != "NAME" || !child.value())
                continue;
            std::string name = cleanedName(*child.value());
            if (name.empty())
                name = "Unnamed person";
            return name + " (" + std::string(xref.value_or("?")) + ")";
        }
    }
    std::string label(xref.value_or(std::string_view()));
    if (!label.empty() && !record.tag().empty())
        label += ' ';
    label += record.tag();
    return label;
}

} // namespace kinloom
