// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QListWidget>

class QToolButton;

namespace kinloom {

class AppModel;
struct SidebarItem;

/// The overview, one entry per finding category with its count, and the changes. Choosing an entry
/// sets the session's sidebar selection. Under them, how many findings are dismissed, which shows
/// them instead of the others.
class SidebarView final : public QListWidget
{
    Q_OBJECT

public:
    explicit SidebarView(AppModel& model, QWidget* parent = nullptr);

    /// The row of an entry: the overview first, then the categories in order, then the changes.
    [[nodiscard]] static int rowOf(const SidebarItem& item);
    /// Lists the dismissed findings instead of the others, in a category that has some.
    void showDismissed(bool shown);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void refreshCounts();
    void showSelection();

    AppModel& m_model;
    QToolButton* m_dismissed = nullptr;
};

} // namespace kinloom
