// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace kinloom {

class AppModel;

/// The review before applying: every ticked fix and merge grouped by kind of finding, each naming
/// its people, the fixes to check marked, a tick box on every line and group to leave some out, the
/// reassurance, "Cancel" and "Apply N Changes". Shown while the session's `showApply` is set; its
/// size is kept between runs.
class ApplySheet final : public QDialog
{
    Q_OBJECT

public:
    explicit ApplySheet(AppModel& model, QWidget* parent = nullptr);

    /// "Apply 1 Change", "Apply 3 Changes".
    [[nodiscard]] static QString applyTitle(std::size_t count);

    void done(int result) override;

private:
    /// Lists the ticked fixes; a line unticked here stays listed until the sheet closes.
    void rebuild();
    /// Shows which lines are ticked, and the count on the apply button.
    void showTicks();
    void lineChanged(QTreeWidgetItem* item);

    AppModel& m_model;
    QLabel* m_note = nullptr;
    QTreeWidget* m_list = nullptr;
    QPushButton* m_apply = nullptr;
    bool m_showing = false; ///< the ticks are being set from the session, not by the user
};

} // namespace kinloom
