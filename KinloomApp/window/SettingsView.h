// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>
#include <QStringList>

#include <vector>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSpinBox;
class QTabWidget;

namespace kinloom {

class AppModel;
struct ScanOptions;

/// Each option that differs from its default, as the settings window names it, with its default
/// ("Longest life: 100 years (default 120)"); the kinds switched off come last, in one line.
[[nodiscard]] QStringList changedSettings(const ScanOptions& options);

/// The settings window: the options every scan uses (date order, the age and lifespan limits, how
/// sure a duplicate must be, which kinds of finding to look for) and the change log's format on one
/// tab, the privacy promise on the other. Every change goes to the model at once, which stores it
/// and scans the open file again; there is no OK button, only Close and Restore Defaults. The
/// selected tab is remembered between runs.
class SettingsView final : public QDialog
{
    Q_OBJECT

public:
    explicit SettingsView(AppModel& model, QWidget* parent = nullptr);

    [[nodiscard]] QTabWidget* tabs() const { return m_tabs; }

private:
    QWidget* makeChecksTab();
    QWidget* makeKindsBox(QWidget* page);
    QWidget* makePrivacyTab();
    void refresh();

    AppModel& m_model;
    QTabWidget* m_tabs = nullptr;
    QButtonGroup* m_order = nullptr;
    QSpinBox* m_minParent = nullptr;
    QSpinBox* m_maxMother = nullptr;
    QSpinBox* m_maxFather = nullptr;
    QSpinBox* m_maxLifespan = nullptr;
    QComboBox* m_duplicates = nullptr;
    QComboBox* m_changeLog = nullptr;
    std::vector<QCheckBox*> m_kinds; ///< one per kind of finding, in the order of `allFindingKinds`
    QLabel* m_kindsOff = nullptr;
    QPushButton* m_turnAllOn = nullptr;
};

} // namespace kinloom
