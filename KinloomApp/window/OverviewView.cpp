// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/OverviewView.h"

#include "session/AppModel.h"
#include "session/QtText.h"
#include "window/Icons.h"
#include "window/SettingsView.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

namespace kinloom {

namespace {

QLabel* heading(const QString& text, qreal scale, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * scale);
    font.setBold(true);
    label->setFont(font);
    return label;
}

void clearRows(QFormLayout* form)
{
    while (form->rowCount() > 0)
        form->removeRow(0);
}

} // namespace

OverviewView::OverviewView(AppModel& model, QWidget* parent) : QScrollArea(parent), m_model(model)
{
    setObjectName(QStringLiteral("overview"));
    // A stop for Tab, from which the arrow keys scroll the page.
    setAccessibleName(QStringLiteral("Overview"));
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    auto* page = new QWidget(this);
    page->setMaximumWidth(640);

    m_title = heading(QString(), 1.4, page);
    m_title->setObjectName(QStringLiteral("overviewTitle"));
    m_stats = new QFormLayout;
    m_dateStyles = new QFormLayout;
    m_numericOrder = new QLabel(page);
    m_numericOrder->setObjectName(QStringLiteral("numericOrderLabel"));
    m_numericOrder->setWordWrap(true);
    m_settings = new QWidget(page);
    m_settings->setObjectName(QStringLiteral("changedSettings"));
    auto* settingsNote = new QLabel(
        QStringLiteral("These differ from the defaults, so the findings may differ from another check of "
                       "the same file. Change them in Settings."),
        m_settings);
    settingsNote->setWordWrap(true);
    m_settingsList = new QLabel(m_settings);
    m_settingsList->setObjectName(QStringLiteral("changedSettingsList"));
    m_settingsList->setWordWrap(true);
    m_settingsList->setTextFormat(Qt::PlainText);
    m_settingsList->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Wrapped text would otherwise take the width of the narrow tables above.
    m_settings->setMinimumWidth(560);
    auto* settingsLayout = new QVBoxLayout(m_settings);
    settingsLayout->setContentsMargins(0, 8, 0, 0);
    settingsLayout->addWidget(heading(QStringLiteral("Changed settings"), 1.1, m_settings));
    settingsLayout->addWidget(settingsNote);
    settingsLayout->addWidget(m_settingsList);

    auto* exportPdf = new QPushButton(symbolIcon("doc.text"), QStringLiteral("Export Report (PDF)"), page);
    exportPdf->setObjectName(QStringLiteral("exportPdfButton"));
    connect(exportPdf, &QPushButton::clicked, this, [this] { m_model.exportReport(TextFormat::pdf); });

    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(10);
    layout->addWidget(m_title);
    layout->addLayout(m_stats);
    layout->addSpacing(8);
    layout->addWidget(heading(QStringLiteral("How dates are written"), 1.1, page));
    layout->addLayout(m_dateStyles);
    layout->addWidget(m_numericOrder);
    layout->addWidget(m_settings);
    layout->addSpacing(8);
    layout->addWidget(exportPdf, 0, Qt::AlignLeft);
    layout->addStretch(1);

    auto* outer = new QWidget(this);
    auto* outerLayout = new QHBoxLayout(outer);
    outerLayout->setContentsMargins(0, 0, 0, 0);
    outerLayout->addWidget(page);
    outerLayout->addStretch(1);
    setWidget(outer);

    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::result || field == AppModel::Field::fileName ||
            field == AppModel::Field::options)
            refresh();
    });
    refresh();
}

QWidget* OverviewView::encodingRow(const QString& readIn)
{
    auto* row = new QWidget;
    auto* name = new QLabel(readIn, row);
    name->setObjectName(QStringLiteral("encodingLabel"));
    name->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // A file whose names look garbled was read in the wrong encoding: reading it again in the right
    // one mends every name at once.
    auto* readAs = new QPushButton(QStringLiteral("Read as…"), row);
    readAs->setObjectName(QStringLiteral("readAsButton"));
    readAs->setToolTip(QStringLiteral("Read the file again in another encoding, if its names look wrong"));
    auto* menu = new QMenu(readAs);
    menu->setObjectName(QStringLiteral("readAsMenu"));
    const TextEncoding current = m_model.document() ? m_model.document()->encoding : TextEncoding::utf8;
    for (TextEncoding encoding : allTextEncodings) {
        QAction* action = menu->addAction(fromUtf8(displayName(encoding)));
        action->setCheckable(true);
        action->setChecked(encoding == current);
        connect(action, &QAction::triggered, this, [this, encoding] { m_model.readAs(encoding); });
    }
    readAs->setMenu(menu);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(name);
    layout->addWidget(readAs);
    layout->addStretch(1);
    return row;
}

void OverviewView::refresh()
{
    clearRows(m_stats);
    clearRows(m_dateStyles);
    m_title->setText(m_model.fileName());
    const QStringList changed = changedSettings(m_model.options());
    m_settings->setVisible(!changed.isEmpty());
    m_settingsList->setText(QStringLiteral("• ") + changed.join(QStringLiteral("\n• ")));
    const auto& result = m_model.result();
    if (!result) {
        m_numericOrder->hide();
        return;
    }
    const TreeStats& stats = result->stats;
    const QLocale locale;
    const auto number = [&](std::size_t value) { return locale.toString(qulonglong(value)); };
    const auto row = [](QFormLayout* form, const QString& label, const QString& value) {
        auto* valueLabel = new QLabel(value);
        valueLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
        form->addRow(label, valueLabel);
    };
    row(m_stats, QStringLiteral("People"), number(stats.people));
    row(m_stats, QStringLiteral("Families"), number(stats.families));
    row(m_stats, QStringLiteral("Sources"), number(stats.sources));
    row(m_stats, QStringLiteral("Other records"), number(stats.otherRecords));
    row(m_stats, QStringLiteral("Dates"), number(stats.dates));
    row(m_stats, QStringLiteral("Place names"), number(stats.places));
    if (stats.placeSpellings && stats.distinctPlaces) {
        row(m_stats, QStringLiteral("Place spellings"), number(*stats.placeSpellings));
        row(m_stats, QStringLiteral("Distinct places"), number(*stats.distinctPlaces));
    }
    row(m_stats, QStringLiteral("Lines"), number(stats.lines));
    row(m_stats, QStringLiteral("GEDCOM version"), fromUtf8(stats.version));
    m_stats->addRow(QStringLiteral("Encoding"), encodingRow(fromUtf8(stats.encoding)));
    for (const DateStyleCount& style : stats.dateStyles)
        row(m_dateStyles, fromUtf8(style.style), number(style.count));

    const bool decided = stats.numericOrder && *stats.numericOrder != NumericDateOrder::automatic;
    m_numericOrder->setVisible(decided);
    if (decided)
        m_numericOrder->setText(
            QStringLiteral("Dates like 03/04/1890 are read") +
            (*stats.numericOrder == NumericDateOrder::dayFirst
                 ? QStringLiteral(" day first (3 April 1890)")
                 : QStringLiteral(" month first (March 4, 1890)")) +
            QStringLiteral(", as the rest of the file writes them. Change this in Settings › "
                           "Checks."));
}

} // namespace kinloom
