// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/Icons.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>

#include <algorithm>
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

/// A page with a folded corner and lines of text, drawn to any size in the palette's text colour on
/// its paper colour. The themes' report icons carry a magnifying glass, which reads as search.
class DocumentIconEngine final : public QIconEngine
{
public:
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override
    {
        const QPalette palette = QApplication::palette();
        const QPalette::ColorGroup group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        // Drawn on a grid of 16 by 16, centred in the rectangle.
        const qreal side = std::min(rect.width(), rect.height());
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.x() + (rect.width() - side) / 2, rect.y() + (rect.height() - side) / 2);
        painter->scale(side / 16, side / 16);
        QPen pen(palette.color(group, QPalette::WindowText), 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
        painter->setPen(pen);
        QPainterPath page;
        page.moveTo(3, 1.5);
        page.lineTo(9.5, 1.5);
        page.lineTo(13, 5);
        page.lineTo(13, 14.5);
        page.lineTo(3, 14.5);
        page.closeSubpath();
        painter->setBrush(palette.color(group, QPalette::Base));
        painter->drawPath(page);
        painter->drawPolyline(QPolygonF({{9.5, 1.5}, {9.5, 5}, {13, 5}}));
        pen.setWidthF(1);
        painter->setPen(pen);
        painter->drawLine(QPointF(5.5, 7.5), QPointF(10.5, 7.5));
        painter->drawLine(QPointF(5.5, 9.75), QPointF(10.5, 9.75));
        painter->drawLine(QPointF(5.5, 12), QPointF(8.5, 12));
        painter->restore();
    }

    // The engine's own pixmap would keep whatever the new pixmap held around the page.
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override
    {
        QPixmap pixmap(size * scale);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, pixmap.rect(), mode, state);
        painter.end();
        pixmap.setDevicePixelRatio(scale);
        return pixmap;
    }

    QIconEngine* clone() const override { return new DocumentIconEngine(*this); }
};

} // namespace

QIcon symbolIcon(std::string_view symbol)
{
    if (symbol == "doc.text")
        return QIcon(new DocumentIconEngine);
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
