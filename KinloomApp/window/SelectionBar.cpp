// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/SelectionBar.h"

#include "session/AppModel.h"
#include "session/QtText.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace kinloom {

QString SelectionBar::unsavedText(const AppModel& model)
{
    if (!model.hasUnsavedChanges())
        return {};
    const std::size_t count = model.changes().size();
    return QString::number(count) + (count == 1 ? QStringLiteral(" change") : QStringLiteral(" changes")) +
           QStringLiteral(" applied, not yet saved");
}

QString SelectionBar::decisionText(const Issue& issue, bool dismissed)
{
    if (dismissed)
        return QStringLiteral("Bring Back");
    const std::string_view kind = kindOf(issue.id);
    if (kind == "dup")
        return QStringLiteral("Not the Same Person");
    if (kind == "dupfam")
        return QStringLiteral("Not the Same Couple");
    return QStringLiteral("Not a Problem");
}

void SelectionBar::decideCurrent(AppModel& model)
{
    const std::optional<std::size_t> current = model.currentFinding();
    if (!current || model.busy())
        return;
    if (model.isDismissed(*current))
        model.bringBack(*current);
    else
        model.dismiss(*current);
}

SelectionBar::SelectionBar(AppModel& model, QWidget* parent) : QFrame(parent), m_model(model)
{
    setObjectName(QStringLiteral("selectionBar"));
    setFrameShape(QFrame::StyledPanel);
    m_ticked = new QLabel(this);
    m_ticked->setObjectName(QStringLiteral("tickedLabel"));
    m_unsaved = new QLabel(this);
    m_unsaved->setObjectName(QStringLiteral("unsavedLabel"));
    m_decide = new QPushButton(this);
    m_decide->setObjectName(QStringLiteral("decideButton"));
    connect(m_decide, &QPushButton::clicked, this, [this] { decideCurrent(m_model); });

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 10, 4);
    layout->addWidget(m_ticked);
    layout->addStretch(1);
    layout->addWidget(m_unsaved);
    layout->addWidget(m_decide);
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::selection || field == AppModel::Field::changes ||
            field == AppModel::Field::savedChanges || field == AppModel::Field::currentFinding ||
            field == AppModel::Field::dismissed || field == AppModel::Field::sidebar ||
            field == AppModel::Field::result)
            refresh();
    });
    refresh();
}

void SelectionBar::refresh()
{
    const std::size_t ticked = m_model.selection().size();
    m_ticked->setText(ticked == 0   ? QStringLiteral("No fixes ticked")
                      : ticked == 1 ? QStringLiteral("1 fix ticked")
                                    : QString::number(ticked) + QStringLiteral(" fixes ticked"));
    m_unsaved->setText(unsavedText(m_model));

    // The button acts on the finding selected in the list on show.
    const std::optional<std::size_t> current = m_model.currentFinding();
    const bool listed = m_model.sidebar() && m_model.sidebar()->kind == SidebarItem::Kind::category &&
                        current && m_model.result();
    m_decide->setVisible(listed);
    if (!listed)
        return;
    const Issue& issue = m_model.result()->issues[*current];
    const bool dismissed = m_model.isDismissed(*current);
    m_decide->setText(decisionText(issue, dismissed));
    m_decide->setToolTip((dismissed ? QStringLiteral("Return this finding to the list (")
                                    : QStringLiteral("Hide this finding until one of its records changes; "
                                                     "Show Dismissed lists it (")) +
                         decisionShortcut().toString(QKeySequence::NativeText) + u')');
    m_decide->setAccessibleName(m_decide->text() + QStringLiteral(": ") + fromUtf8(issue.title));
}

} // namespace kinloom
