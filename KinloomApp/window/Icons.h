// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <QIcon>

#include <string_view>

namespace kinloom {

/// The icon for one of the app's symbol names ("arrow.uturn.backward"): the icon theme's, or the
/// style's own when the theme has none; "doc.text", the report's page, is drawn. Unknown names give
/// an empty icon.
[[nodiscard]] QIcon symbolIcon(std::string_view symbol);

/// The symbol name of a finding category's sidebar entry.
[[nodiscard]] std::string_view categorySymbol(IssueCategory category);

/// Makes the icon theme fall back to Adwaita, whose icons every symbol name has.
void installIconThemeFallback();

} // namespace kinloom
