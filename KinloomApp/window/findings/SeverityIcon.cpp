// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/findings/SeverityIcon.h"

#include "window/Icons.h"

#include <array>

namespace kinloom::SeverityIcon {

std::string_view symbol(Severity severity)
{
    switch (severity) {
    case Severity::info:
        return "info.circle.fill";
    case Severity::warning:
        return "exclamationmark.triangle.fill";
    case Severity::error:
        return "xmark.octagon.fill";
    }
    return {};
}

const QIcon& icon(Severity severity)
{
    // Looking an icon up in the theme costs far more than painting it, and a list paints many.
    static const std::array<QIcon, 3> icons{symbolIcon(symbol(Severity::info)),
                                            symbolIcon(symbol(Severity::warning)),
                                            symbolIcon(symbol(Severity::error))};
    return icons[std::size_t(severity)];
}

} // namespace kinloom::SeverityIcon
