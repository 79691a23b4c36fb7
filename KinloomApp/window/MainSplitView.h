// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSplitter>

#include <optional>
#include <string>

class QStackedWidget;

namespace kinloom {

class AppModel;
class ChangesView;
class IssueListView;
class OverviewView;
class SelectionBar;
class SidebarView;

/// The sidebar beside the view of its selected entry, with the selection bar under that view. A
/// rescan after an apply, an undo or a change of settings leaves the list where it was.
class MainSplitView final : public QSplitter
{
    Q_OBJECT

public:
    explicit MainSplitView(AppModel& model, QWidget* parent = nullptr);

    [[nodiscard]] SidebarView* sidebar() const { return m_sidebar; }
    [[nodiscard]] IssueListView* issueList() const { return m_issueList; }
    [[nodiscard]] OverviewView* overview() const { return m_overview; }
    [[nodiscard]] ChangesView* changesView() const { return m_changes; }

private:
    /// A row of the findings list, known by what it shows rather than where, with where it was.
    struct Row
    {
        std::string kind;    ///< the group's kind
        std::string finding; ///< the finding's id; empty for the group's own row
        int group = 0;
        int row = 0;
    };

    void showSelected();
    void rememberPlace();
    void restorePlace();

    std::optional<Row> m_current; ///< the list's current row before the rescan
    std::optional<Row> m_top;     ///< the row at the top of the list before the rescan

    AppModel& m_model;
    SidebarView* m_sidebar = nullptr;
    QStackedWidget* m_stack = nullptr;
    OverviewView* m_overview = nullptr;
    IssueListView* m_issueList = nullptr;
    ChangesView* m_changes = nullptr;
    SelectionBar* m_selectionBar = nullptr;
};

} // namespace kinloom
