#pragma once

#include <QListWidget>

namespace kinloom {

class AppModel;
struct SidebarItem;

/// The overview, one entry per finding category with its count, and the changes. Choosing an entry
/// sets the session's sidebar selection.
class SidebarView final : public QListWidget
{
    Q_OBJECT

public:
    explicit SidebarView(AppModel& model, QWidget* parent = nullptr);

    /// The row of an entry: the overview first, then the categories in order, then the changes.
    [[nodiscard]] static int rowOf(const SidebarItem& item);

private:
    void refreshCounts();
    void showSelection();

    AppModel& m_model;
};

} // namespace kinloom
