#include "window/Icons.h"

#include <QApplication>
#include <QStyle>

#include <array>

namespace kinloom {

namespace {

struct SymbolIcon
{
    std::string_view symbol;
    const char* themeName;
    QStyle::StandardPixmap fallback;
};

constexpr std::array symbolIcons{
    SymbolIcon{"folder", "document-open", QStyle::SP_DialogOpenButton},
    SymbolIcon{"arrow.uturn.backward", "edit-undo", QStyle::SP_ArrowBack},
    SymbolIcon{"arrow.uturn.forward", "edit-redo", QStyle::SP_ArrowForward},
    SymbolIcon{"doc.text.magnifyingglass", "edit-find", QStyle::SP_FileDialogContentsView},
    SymbolIcon{"magnifyingglass", "edit-find", QStyle::SP_FileDialogContentsView},
    SymbolIcon{"square.and.arrow.down.on.square", "document-save-as", QStyle::SP_DialogSaveButton},
    SymbolIcon{"checkmark.circle", "emblem-ok-symbolic", QStyle::SP_DialogApplyButton},
    SymbolIcon{"chart.bar.doc.horizontal", "x-office-document", QStyle::SP_FileDialogInfoView},
    SymbolIcon{"list.bullet.clipboard", "edit-paste", QStyle::SP_FileDialogListView},
    SymbolIcon{"info.circle.fill", "dialog-information", QStyle::SP_MessageBoxInformation},
    SymbolIcon{"exclamationmark.triangle.fill", "dialog-warning", QStyle::SP_MessageBoxWarning},
    SymbolIcon{"xmark.octagon.fill", "dialog-error", QStyle::SP_MessageBoxCritical},
    SymbolIcon{"questionmark.square.dashed", "dialog-question", QStyle::SP_MessageBoxQuestion},
    SymbolIcon{"mappin.and.ellipse", "mark-location", QStyle::SP_DirHomeIcon},
    SymbolIcon{"calendar.badge.exclamationmark", "appointment-missed", QStyle::SP_MessageBoxWarning},
    SymbolIcon{"checklist", "checkbox-checked-symbolic", QStyle::SP_DialogYesButton},
    SymbolIcon{"hand.raised", "process-stop", QStyle::SP_BrowserStop},
    SymbolIcon{"person.2", "system-users", QStyle::SP_DirLinkIcon},
    SymbolIcon{"calendar", "x-office-calendar", QStyle::SP_FileDialogDetailedView},
    SymbolIcon{"link", "insert-link", QStyle::SP_CommandLink},
    SymbolIcon{"doc.badge.gearshape", "text-x-generic", QStyle::SP_FileIcon},
    SymbolIcon{"arrow.down.doc", "document-open", QStyle::SP_DialogOpenButton},
    SymbolIcon{"lock.shield", "channel-secure-symbolic", QStyle::SP_MessageBoxInformation},
};

} // namespace

QIcon symbolIcon(std::string_view symbol)
{
    for (const SymbolIcon& entry : symbolIcons) {
        if (entry.symbol != symbol)
            continue;
        const QIcon themed = QIcon::fromTheme(QLatin1String(entry.themeName));
        return themed.isNull() ? QApplication::style()->standardIcon(entry.fallback) : themed;
    }
    return {};
}

std::string_view categorySymbol(IssueCategory category)
{
    switch (category) {
    case IssueCategory::duplicates:
        return "person.2";
    case IssueCategory::impossibleDates:
        return "calendar.badge.exclamationmark";
    case IssueCategory::dateFormats:
        return "calendar";
    case IssueCategory::places:
        return "mappin.and.ellipse";
    case IssueCategory::missing:
        return "questionmark.square.dashed";
    case IssueCategory::links:
        return "link";
    case IssueCategory::file:
        return "doc.badge.gearshape";
    }
    return {};
}

void installIconThemeFallback()
{
    QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
}

} // namespace kinloom
