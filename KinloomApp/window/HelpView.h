// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <QDialog>

namespace kinloom {

/// Help › How Kinloom Works: a short page on what each list of findings holds, ticking and
/// applying, what "check before applying" means, how a merge keeps every fact, and where the copy
/// and its change log go. Every text of the app's help, the lines under the lists' headings
/// included, is kept in this one place.
class HelpView final : public QDialog
{
    Q_OBJECT

public:
    explicit HelpView(QWidget* parent = nullptr);

    /// The line under a category's heading: what its findings are about.
    [[nodiscard]] static QString categoryLine(IssueCategory category);
    /// The page, as rich text with a heading per topic.
    [[nodiscard]] static QString page();
};

} // namespace kinloom
