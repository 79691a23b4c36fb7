// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFrame>
#include <QKeySequence>

class QLabel;
class QPushButton;

namespace kinloom {

class AppModel;
struct Issue;

/// The line under the lists: how many fixes are ticked, how many applied changes are not saved yet, and "Not
/// a Problem" (or "Bring Back") for the selected finding.
class SelectionBar final : public QFrame
{
    Q_OBJECT

public:
    explicit SelectionBar(AppModel& model, QWidget* parent = nullptr);

    /// "3 changes applied, not yet saved"; empty when every change is saved.
    [[nodiscard]] static QString unsavedText(const AppModel& model);
    /// What deciding about this finding is called: "Bring Back" when it is dismissed, else "Not the
    /// Same Person" for a duplicate pair and "Not a Problem" for any other.
    [[nodiscard]] static QString decisionText(const Issue& issue, bool dismissed);
    /// Dismisses the selected finding, or brings it back when it is dismissed.
    static void decideCurrent(AppModel& model);
    /// The keys that do the same.
    [[nodiscard]] static QKeySequence decisionShortcut() { return QKeySequence(Qt::CTRL | Qt::Key_D); }

private:
    void refresh();

    AppModel& m_model;
    QLabel* m_ticked = nullptr;
    QLabel* m_unsaved = nullptr;
    QPushButton* m_decide = nullptr;
};

} // namespace kinloom
