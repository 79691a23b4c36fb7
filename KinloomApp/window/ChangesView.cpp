// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/ChangesView.h"

#include "session/AppModel.h"
#include "session/QtText.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace kinloom {

ChangesView::ChangesView(AppModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("changesView"));
    auto* title = new QLabel(QStringLiteral("Changes"), this);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    titleFont.setBold(true);
    title->setFont(titleFont);

    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("changesStatus"));
    m_status->setWordWrap(true);
    m_lastApplied = new QLabel(this);
    m_lastApplied->setObjectName(QStringLiteral("changesLastApplied"));
    m_lastApplied->setWordWrap(true);
    m_list = new QPlainTextEdit(this);
    m_list->setObjectName(QStringLiteral("changesList"));
    m_list->setAccessibleName(QStringLiteral("Applied changes"));
    m_list->setReadOnly(true);
    m_list->setLineWrapMode(QPlainTextEdit::NoWrap);
    auto* always =
        new QLabel(QStringLiteral("Your original file is never changed. Fixes go into a new copy, with a "
                                  "change log of every edit."),
                   this);
    always->setObjectName(QStringLiteral("changesNote"));
    always->setWordWrap(true);
    always->setForegroundRole(QPalette::PlaceholderText);

    m_save = new QPushButton(QStringLiteral("Save Cleaned Copy…"), this);
    m_save->setObjectName(QStringLiteral("changesSaveButton"));
    m_undo = new QPushButton(QStringLiteral("Undo Last Batch"), this);
    m_undo->setObjectName(QStringLiteral("changesUndoButton"));
    m_undoAll = new QPushButton(QStringLiteral("Undo All Changes"), this);
    m_undoAll->setObjectName(QStringLiteral("changesUndoAllButton"));
    connect(m_save, &QPushButton::clicked, this, [this] { (void)m_model.saveCleanedCopy(); });
    connect(m_undo, &QPushButton::clicked, &m_model, &AppModel::undoLast);
    connect(m_undoAll, &QPushButton::clicked, &m_model, &AppModel::undoAll);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_save);
    buttons->addWidget(m_undo);
    buttons->addWidget(m_undoAll);
    buttons->addStretch(1);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(m_status);
    layout->addWidget(m_lastApplied);
    layout->addWidget(m_list, 1);
    layout->addWidget(always);
    layout->addLayout(buttons);

    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::changes || field == AppModel::Field::savedChanges ||
            field == AppModel::Field::lastApplied || field == AppModel::Field::history ||
            field == AppModel::Field::busy)
            refresh();
    });
    refresh();
}

void ChangesView::refresh()
{
    const std::vector<ChangeEntry>& changes = m_model.changes();
    if (changes.empty())
        m_status->setText(QStringLiteral("No changes yet. Tick fixes in the findings, then Review & Apply."));
    else if (m_model.hasUnsavedChanges())
        m_status->setText(
            QString::number(changes.size()) +
            (changes.size() == 1 ? QStringLiteral(" change") : QStringLiteral(" changes")) +
            QStringLiteral(", not yet saved. They go into the change log when you save a cleaned copy."));
    else
        m_status->setText(QString::number(changes.size()) + (changes.size() == 1
                                                                 ? QStringLiteral(" change, saved.")
                                                                 : QStringLiteral(" changes, saved.")));
    m_lastApplied->setText(m_model.lastApplied().value_or(QString()));
    m_lastApplied->setVisible(m_model.lastApplied().has_value());

    QString text;
    for (const ChangeEntry& entry : changes) {
        text += QString::number(entry.id) + QStringLiteral(". ") + fromUtf8(entry.title) + QLatin1Char('\n');
        for (const std::string& line : entry.lines)
            text += QStringLiteral("    ") + fromUtf8(line) + QLatin1Char('\n');
    }
    m_list->setPlainText(text);
    m_list->setVisible(!changes.empty());

    const bool idle = !m_model.busy();
    m_save->setEnabled(idle && m_model.document() && !m_model.changes().empty());
    m_undo->setEnabled(idle && !m_model.history().empty());
    m_undoAll->setEnabled(idle && !m_model.changes().empty());
}

} // namespace kinloom
