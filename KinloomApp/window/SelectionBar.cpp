#include "window/SelectionBar.h"

#include "session/AppModel.h"

#include <QHBoxLayout>
#include <QLabel>

namespace kinloom {

QString SelectionBar::unsavedText(const AppModel& model)
{
    if (!model.hasUnsavedChanges())
        return {};
    const std::size_t count = model.changes().size();
    return QString::number(count) + (count == 1 ? QStringLiteral(" change") : QStringLiteral(" changes")) +
           QStringLiteral(" applied, not yet saved");
}

SelectionBar::SelectionBar(AppModel& model, QWidget* parent) : QFrame(parent), m_model(model)
{
    setObjectName(QStringLiteral("selectionBar"));
    setFrameShape(QFrame::StyledPanel);
    m_ticked = new QLabel(this);
    m_ticked->setObjectName(QStringLiteral("tickedLabel"));
    m_lastApplied = new QLabel(this);
    m_lastApplied->setObjectName(QStringLiteral("lastAppliedLabel"));
    m_lastApplied->setForegroundRole(QPalette::PlaceholderText);
    m_unsaved = new QLabel(this);
    m_unsaved->setObjectName(QStringLiteral("unsavedLabel"));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 10, 4);
    layout->addWidget(m_ticked);
    layout->addWidget(m_lastApplied, 1);
    layout->addWidget(m_unsaved);
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::selection || field == AppModel::Field::lastApplied ||
            field == AppModel::Field::changes || field == AppModel::Field::savedChanges)
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
    m_lastApplied->setText(m_model.lastApplied().value_or(QString()));
    m_unsaved->setText(unsavedText(m_model));
}

} // namespace kinloom
