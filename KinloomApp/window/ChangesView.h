// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace kinloom {

class AppModel;

/// Every change applied since the file was opened, whether they are saved, "Save Cleaned Copy…"
/// and the two undo commands.
class ChangesView final : public QWidget
{
    Q_OBJECT

public:
    explicit ChangesView(AppModel& model, QWidget* parent = nullptr);

private:
    void refresh();

    AppModel& m_model;
    QLabel* m_status = nullptr;
    QLabel* m_lastApplied = nullptr;
    QPlainTextEdit* m_list = nullptr;
    QPushButton* m_save = nullptr;
    QPushButton* m_undo = nullptr;
    QPushButton* m_undoAll = nullptr;
};

} // namespace kinloom
