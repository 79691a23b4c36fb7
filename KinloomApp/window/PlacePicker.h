// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <QWidget>

class QLineEdit;
class QVBoxLayout;

namespace kinloom {

class AppModel;

/// The spellings of a place group, each with its count and "Use this spelling", which records the
/// choice for the group in the session, and a field to type a spelling of one's own.
class PlacePicker final : public QWidget
{
    Q_OBJECT

public:
    explicit PlacePicker(AppModel& model, QWidget* parent = nullptr);

    /// Shows this finding's group; a finding without one hides the view.
    void setIssue(const Issue* issue);

private:
    void rebuild();

    AppModel& m_model;
    std::optional<PlaceGroup> m_group;
    QVBoxLayout* m_rows = nullptr;
    QLineEdit* m_typed = nullptr;
};

} // namespace kinloom
