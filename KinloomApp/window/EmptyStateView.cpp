// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/EmptyStateView.h"

#include "session/AppModel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace kinloom {

namespace {

QLabel* wrappedLabel(const QString& text, const char* objectName, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setObjectName(QLatin1String(objectName));
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignHCenter);
    return label;
}

} // namespace

EmptyStateView::EmptyStateView(AppModel& model, QWidget* parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("emptyState"));

    auto* title = wrappedLabel(QStringLiteral("Tidy up a family tree"), "emptyTitle", this);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.8);
    titleFont.setBold(true);
    title->setFont(titleFont);

    auto* subtitle = wrappedLabel(QStringLiteral("Open a GEDCOM file from any family-tree program."),
                                  "emptySubtitle", this);
    auto* pitch = wrappedLabel(
        QStringLiteral("Kinloom finds likely duplicates, impossible dates, messy dates and place names, "
                       "missing details and broken links, and shows every fix before it makes it."),
        "emptyPitch", this);
    pitch->setForegroundRole(QPalette::PlaceholderText);

    auto* open = new QPushButton(QStringLiteral("Open Family-Tree File…"), this);
    open->setObjectName(QStringLiteral("openButton"));
    open->setDefault(true);
    connect(open, &QPushButton::clicked, &model, &AppModel::openFromPanel);

    m_dropTarget = new QFrame(this);
    m_dropTarget->setObjectName(QStringLiteral("dropTarget"));
    m_dropTarget->setFrameShape(QFrame::StyledPanel);
    m_dropTarget->setMinimumHeight(90);
    auto* dropLayout = new QVBoxLayout(m_dropTarget);
    auto* dropLabel = wrappedLabel(QStringLiteral("or drop a .ged file here"), "dropLabel", m_dropTarget);
    dropLabel->setAlignment(Qt::AlignCenter);
    dropLayout->addWidget(dropLabel);

    auto* privacy =
        wrappedLabel(QStringLiteral("Your tree stays on this ") + computerWord() +
                         QStringLiteral(", and your file is never changed: fixes go into a new copy."),
                     "privacyLabel", this);
    privacy->setForegroundRole(QPalette::PlaceholderText);

    auto* column = new QWidget(this);
    column->setFixedWidth(520);
    auto* layout = new QVBoxLayout(column);
    layout->setSpacing(12);
    layout->addWidget(title);
    layout->addWidget(subtitle);
    layout->addWidget(pitch);
    layout->addSpacing(8);
    layout->addWidget(open, 0, Qt::AlignHCenter);
    layout->addWidget(m_dropTarget);
    layout->addWidget(privacy);

    // Stretches rather than an alignment centre the column, so its wrapped texts get their height.
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(column);
    row->addStretch(1);
    auto* outer = new QVBoxLayout(this);
    outer->addStretch(1);
    outer->addLayout(row);
    outer->addStretch(2);
    setTargeted(false);
}

void EmptyStateView::setTargeted(bool targeted)
{
    m_targeted = targeted;
    // The highlight colour and a thicker edge say the drop will be taken.
    m_dropTarget->setStyleSheet(
        targeted ? QStringLiteral("#dropTarget { border: 2px solid palette(highlight); border-radius: 8px; "
                                  "background: palette(alternate-base); }")
                 : QStringLiteral("#dropTarget { border: 2px dashed palette(mid); border-radius: 8px; }"));
}

} // namespace kinloom
