// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <QWidget>

#include <array>

class QLabel;
class QPushButton;
class QTableWidget;

namespace kinloom {

class AppModel;

/// For a likely duplicate: the evidence for the pair and against it, each side's parents, spouses and
/// children marked by what the other side has, "Keep This One" to keep the other record, and
/// "Compare the two records (…)", which opens the two records side by side, line by line, the lines
/// only one of them has marked.
class DuplicateCompare final : public QWidget
{
    Q_OBJECT

public:
    explicit DuplicateCompare(AppModel& model, QWidget* parent = nullptr);

    /// Shows this pair, closed; none hides the view.
    void setMatch(std::optional<DuplicateMatch> match);
    void setOpen(bool open);
    [[nodiscard]] bool isOpen() const { return m_open; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fill();
    void showKin();

    AppModel& m_model;
    std::optional<DuplicateMatch> m_match;
    bool m_open = false;
    QLabel* m_evidence = nullptr;
    std::array<QLabel*, 2> m_kin{};     ///< the kept record's side, then the other's
    QPushButton* m_keepOther = nullptr; ///< "Keep This One", under the side not kept
    QPushButton* m_button = nullptr;
    QTableWidget* m_table = nullptr;
};

} // namespace kinloom
