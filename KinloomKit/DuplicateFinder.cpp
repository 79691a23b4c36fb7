#include "KinloomKit/Checks.h"

namespace kinloom::Checks {

// Being built: finds nothing yet.
std::vector<Issue> duplicates(const TreeIndex&, const GedcomDocument&, const ScanOptions&)
{
    return {};
}

} // namespace kinloom::Checks
