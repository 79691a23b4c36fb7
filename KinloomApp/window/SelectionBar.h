#pragma once

#include <QFrame>

class QLabel;

namespace kinloom {

class AppModel;

/// The line under the lists: how many fixes are ticked, the result of the last action, and how many
/// applied changes are not saved yet.
class SelectionBar final : public QFrame
{
    Q_OBJECT

public:
    explicit SelectionBar(AppModel& model, QWidget* parent = nullptr);

    /// "3 changes applied, not yet saved"; empty when every change is saved.
    [[nodiscard]] static QString unsavedText(const AppModel& model);

private:
    void refresh();

    AppModel& m_model;
    QLabel* m_ticked = nullptr;
    QLabel* m_lastApplied = nullptr;
    QLabel* m_unsaved = nullptr;
};

} // namespace kinloom
