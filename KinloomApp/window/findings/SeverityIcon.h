// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <QIcon>

#include <string_view>

namespace kinloom::SeverityIcon {

/// "info.circle.fill", "exclamationmark.triangle.fill" or "xmark.octagon.fill".
[[nodiscard]] std::string_view symbol(Severity severity);
/// The icon a finding of this severity is shown with; made once per severity.
[[nodiscard]] const QIcon& icon(Severity severity);

} // namespace kinloom::SeverityIcon
