// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/PlacePicker.h"

#include "session/AppModel.h"
#include "session/QtText.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace kinloom {

PlacePicker::PlacePicker(AppModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("placePicker"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* heading = new QLabel(QStringLiteral("Spellings of this place"), this);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    layout->addWidget(heading);
    m_rows = new QVBoxLayout;
    layout->addLayout(m_rows);
    auto* typedRow = new QHBoxLayout;
    m_typed = new QLineEdit(this);
    m_typed->setObjectName(QStringLiteral("typedSpelling"));
    m_typed->setPlaceholderText(QStringLiteral("Or type the spelling to use"));
    m_typed->setAccessibleName(QStringLiteral("Spelling of the place to use"));
    auto* useTyped = new QPushButton(QStringLiteral("Use this spelling"), this);
    useTyped->setObjectName(QStringLiteral("useTypedSpelling"));
    useTyped->setAccessibleName(QStringLiteral("Use the spelling typed"));
    useTyped->setEnabled(false);
    connect(m_typed, &QLineEdit::textChanged, useTyped,
            [useTyped](const QString& text) { useTyped->setEnabled(!text.trimmed().isEmpty()); });
    const auto useTypedSpelling = [this] {
        const QString text = m_typed->text().simplified();
        if (m_group && !text.isEmpty())
            m_model.setPlaceTarget(m_group->key, text.toStdString());
    };
    connect(useTyped, &QPushButton::clicked, this, useTypedSpelling);
    connect(m_typed, &QLineEdit::returnPressed, this, useTypedSpelling);
    typedRow->addWidget(m_typed, 1);
    typedRow->addWidget(useTyped);
    layout->addLayout(typedRow);
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::placeTargets)
            rebuild();
    });
    setIssue(nullptr);
}

void PlacePicker::setIssue(const Issue* issue)
{
    m_group = issue && issue->places ? issue->places : std::nullopt;
    setVisible(m_group.has_value());
    m_typed->clear();
    rebuild();
}

void PlacePicker::rebuild()
{
    while (QLayoutItem* item = m_rows->takeAt(0)) {
        if (QLayout* row = item->layout()) {
            while (QLayoutItem* child = row->takeAt(0)) {
                child->widget()->deleteLater();
                delete child;
            }
        }
        delete item;
    }
    if (!m_group)
        return;
    const auto chosen = m_model.placeTargets().find(m_group->key);
    const std::string& target = chosen != m_model.placeTargets().end() ? chosen->second : m_group->suggested;
    for (std::size_t i = 0; i < m_group->spellings.size(); ++i) {
        const PlaceSpelling& spelling = m_group->spellings[i];
        auto* row = new QHBoxLayout;
        auto* label = new QLabel(QStringLiteral("“") + fromUtf8(spelling.text) + QStringLiteral("”"), this);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        auto* count =
            new QLabel(QString::number(spelling.count) +
                           (spelling.count == 1 ? QStringLiteral(" line") : QStringLiteral(" lines")),
                       this);
        count->setForegroundRole(QPalette::PlaceholderText);
        auto* use = new QPushButton(QStringLiteral("Use this spelling"), this);
        use->setObjectName(QStringLiteral("useSpelling%1").arg(i));
        use->setAccessibleName(QStringLiteral("Use the spelling “") + fromUtf8(spelling.text) +
                               QStringLiteral("”"));
        const bool inUse = spelling.text == target;
        use->setEnabled(!inUse);
        if (inUse)
            use->setText(QStringLiteral("In use"));
        connect(use, &QPushButton::clicked, this,
                [this, key = m_group->key, text = spelling.text] { m_model.setPlaceTarget(key, text); });
        row->addWidget(label, 1);
        row->addWidget(count);
        row->addWidget(use);
        m_rows->addLayout(row);
    }
}

} // namespace kinloom
