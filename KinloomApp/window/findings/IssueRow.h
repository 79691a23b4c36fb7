// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "window/findings/LinePictures.h"
#include "window/findings/WordGlyphs.h"

#include <QPixmap>
#include <QStyledItemDelegate>

#include <array>
#include <optional>

namespace kinloom {

/// Draws a group's row (severity icon, title and count; its "Tick all" button is the list's), a
/// finding's row (severity icon, title, detail, and for a fix its tick box and title) and the rows
/// of its preview, and ticks the box on a click or the space bar.
class IssueRow final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    /// A group's "Tick all" button sits at the right end of its row.
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    /// Shows the tool tip of `toolTip`, or none.
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

    /// A finding's tool tip: what its row cuts short (the title, the detail, the fix's title) and,
    /// for a fix to check before applying, what that means; empty when it would only repeat the row.
    [[nodiscard]] static QString toolTip(const QStyleOptionViewItem& option, const QModelIndex& index);

protected:
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

private:
    void paintGroup(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    /// How much of a group's row its "Tick all" button may take.
    [[nodiscard]] static int buttonRoom(const QStyleOptionViewItem& option);
    [[nodiscard]] static QRect checkBoxRect(const QStyleOptionViewItem& option);
    /// The room of a finding's title and detail, and of its fix's title beside the tick box.
    [[nodiscard]] static int textWidth(const QStyleOptionViewItem& option);
    [[nodiscard]] static int fixWidth(const QStyleOptionViewItem& option);
    /// Draws a line of a row in `style` with `draw`: on a plain row from a kept picture once the
    /// line has been seen before, otherwise as text (over the highlight on a selected row).
    void drawLine(QPainter& painter, LinePictures& pictures, const LinePictures::Style& style, bool plain,
                  QPoint baseline, const QString& text, const LinePictures::Draw& draw) const;
    /// Draws a line that differs from row to row (a detail, a fix's title) in the painter's font
    /// and pen, from words shaped once where it can, and returns how far it reaches.
    int drawWords(QPainter& painter, QPoint baseline, int width, const QString& text) const;
    /// The tick box, drawn by the style once per state and kept as a picture.
    const QPixmap& checkBox(const QStyleOptionViewItem& option, bool checked) const;
    /// The severity's icon as a picture of the size a row shows.
    const QPixmap& severityPicture(Severity severity, qreal ratio) const;

    mutable std::optional<QFont> m_font; ///< the list's font, none before the first row
    mutable QFont m_bold;
    mutable LinePictures m_titles;
    mutable LinePictures m_fixTitles;
    mutable WordGlyphs m_words;
    mutable QPixmap m_boxes[2];
    mutable qint64 m_boxesKey = -1;
    mutable std::array<QPixmap, 3> m_severities;
};

} // namespace kinloom
