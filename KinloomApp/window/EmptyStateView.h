// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFrame>

namespace kinloom {

class AppModel;

/// What the window shows before a file is open: what the app does, the open button, and the drop
/// target, highlighted while a family-tree file is dragged over the window.
class EmptyStateView final : public QFrame
{
    Q_OBJECT

public:
    explicit EmptyStateView(AppModel& model, QWidget* parent = nullptr);

    void setTargeted(bool targeted);
    [[nodiscard]] bool targeted() const { return m_targeted; }

private:
    QFrame* m_dropTarget = nullptr;
    bool m_targeted = false;
};

} // namespace kinloom
