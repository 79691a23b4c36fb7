// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QScrollArea>

class QFormLayout;
class QLabel;

namespace kinloom {

class AppModel;

/// The tree's statistics, "How dates are written" with the date styles and their counts, the
/// numeric order read from the file, the settings that differ from their defaults (they change the
/// findings), and "Export Report (PDF)".
class OverviewView final : public QScrollArea
{
    Q_OBJECT

public:
    explicit OverviewView(AppModel& model, QWidget* parent = nullptr);

private:
    void refresh();
    /// The encoding the file was read in, and "Read as…" with every encoding to read it again in.
    QWidget* encodingRow(const QString& readIn);

    AppModel& m_model;
    QLabel* m_title = nullptr;
    QFormLayout* m_stats = nullptr;
    QFormLayout* m_dateStyles = nullptr;
    QLabel* m_numericOrder = nullptr;
    QWidget* m_settings = nullptr; ///< the changed settings, hidden when all are default
    QLabel* m_settingsList = nullptr;
};

} // namespace kinloom
