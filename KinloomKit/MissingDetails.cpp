#include "KinloomKit/Checks.h"

namespace kinloom::Checks {

// Being built: finds nothing yet.
std::vector<Issue> missing(const TreeIndex&, const GedcomDocument&)
{
    return {};
}

} // namespace kinloom::Checks
