#pragma once

#include <QDialog>

class QLabel;
class QListWidget;
class QPushButton;

namespace kinloom {

class AppModel;

/// The review before applying: every ticked fix and merge, the reassurance, "Cancel" and
/// "Apply N Changes". Shown while the session's `showApply` is set.
class ApplySheet final : public QDialog
{
    Q_OBJECT

public:
    explicit ApplySheet(AppModel& model, QWidget* parent = nullptr);

    /// "Apply 1 Change", "Apply 3 Changes".
    [[nodiscard]] static QString applyTitle(std::size_t count);

private:
    void refresh();

    AppModel& m_model;
    QListWidget* m_list = nullptr;
    QPushButton* m_apply = nullptr;
};

} // namespace kinloom
