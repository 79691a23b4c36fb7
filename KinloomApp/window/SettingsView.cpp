// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/SettingsView.h"

#include "session/AppModel.h"
#include "session/PlatformServices.h"
#include "session/QtText.h"
#include "window/Icons.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <span>
#include <string>
#include <tuple>

namespace kinloom {

namespace {

const QString tabKey = QStringLiteral("settings/tab");

struct OrderChoice
{
    NumericDateOrder order;
    const char* label;
};

constexpr std::array<OrderChoice, 3> orderChoices{{
    {NumericDateOrder::automatic, "Decide from the file"},
    {NumericDateOrder::dayFirst, "Day first (3 APR 1890)"},
    {NumericDateOrder::monthFirst, "Month first (4 MAR 1890)"},
}};

struct ThresholdChoice
{
    double threshold;
    const char* label;
};

constexpr std::array<ThresholdChoice, 3> thresholdChoices{{
    {0.65, "Possible and likely"},
    {0.8, "Likely only"},
    {0.9, "Very likely only"},
}};

/// One of the four limits: its label and the current value in one text, as a whole number of years.
QSpinBox* stepper(const QString& label, int low, int high, const QString& unit, QWidget* parent)
{
    auto* box = new QSpinBox(parent);
    box->setRange(low, high);
    box->setPrefix(label);
    box->setSuffix(unit);
    box->setAccessibleName(label.trimmed().chopped(1));
    // Typing is allowed too; the value only counts once it is a whole number in range.
    box->setKeyboardTracking(false);
    return box;
}

QString years(double value)
{
    return QString::number(std::lround(value));
}

} // namespace

QStringList changedSettings(const ScanOptions& options)
{
    const ScanOptions defaults;
    QStringList changed;
    const auto orderLabel = [](NumericDateOrder order) {
        for (const OrderChoice& choice : orderChoices) {
            if (choice.order == order)
                return QString::fromUtf8(choice.label);
        }
        return QString();
    };
    if (options.numericOrder != defaults.numericOrder)
        changed.append(QStringLiteral("Dates like 03/04/1890: ") + orderLabel(options.numericOrder) +
                       QStringLiteral(" (default ") + orderLabel(defaults.numericOrder) + u')');
    const std::array<std::tuple<const char*, double ScanOptions::*, const char*>, 4> limits{{
        {"Youngest parent: ", &ScanOptions::minParentAge, ""},
        {"Oldest mother: ", &ScanOptions::maxMotherAge, ""},
        {"Oldest father: ", &ScanOptions::maxFatherAge, ""},
        {"Longest life: ", &ScanOptions::maxLifespan, " years"},
    }};
    for (const auto& [label, field, unit] : limits) {
        // Compared as shown: a stored value the steppers round to the default is the default.
        if (years(options.*field) != years(defaults.*field))
            changed.append(QString::fromUtf8(label) + years(options.*field) + QString::fromUtf8(unit) +
                           QStringLiteral(" (default ") + years(defaults.*field) + u')');
    }
    if (std::abs(options.duplicateThreshold - defaults.duplicateThreshold) > 0.001) {
        QString shown = QString::number(options.duplicateThreshold);
        QString standard;
        for (const ThresholdChoice& choice : thresholdChoices) {
            if (std::abs(choice.threshold - options.duplicateThreshold) < 0.001)
                shown = QString::fromUtf8(choice.label);
            if (choice.threshold == defaults.duplicateThreshold)
                standard = QString::fromUtf8(choice.label);
        }
        changed.append(QStringLiteral("Show duplicates: ") + shown + QStringLiteral(" (default ") + standard +
                       u')');
    }
    QStringList off;
    for (const FindingKind& kind : allFindingKinds()) {
        if (options.skips(kind.id))
            off.append(fromUtf8(kind.title));
    }
    if (!off.isEmpty())
        changed.append((off.size() == 1 ? QStringLiteral("Switched off: ")
                                        : QStringLiteral("%1 kinds switched off: ").arg(off.size())) +
                       off.join(QStringLiteral("; ")));
    return changed;
}

SettingsView::SettingsView(AppModel& model, QWidget* parent) : QDialog(parent), m_model(model)
{
    setObjectName(QStringLiteral("settingsWindow"));
    setWindowTitle(QStringLiteral("Settings"));

    m_tabs = new QTabWidget(this);
    m_tabs->setObjectName(QStringLiteral("settingsTabs"));
    m_tabs->setDocumentMode(true);
    m_tabs->addTab(makeChecksTab(), symbolIcon("checklist"), QStringLiteral("Checks"));
    m_tabs->addTab(makePrivacyTab(), symbolIcon("hand.raised"), QStringLiteral("Privacy"));
    if (QSettings().value(tabKey).toString() == QLatin1String("privacy"))
        m_tabs->setCurrentIndex(1);
    connect(m_tabs, &QTabWidget::currentChanged, this, [](int index) {
        QSettings().setValue(tabKey, index == 1 ? QStringLiteral("privacy") : QStringLiteral("checks"));
    });

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close | QDialogButtonBox::RestoreDefaults, this);
    buttons->setObjectName(QStringLiteral("settingsButtons"));
    buttons->button(QDialogButtonBox::Close)->setObjectName(QStringLiteral("closeButton"));
    QPushButton* restore = buttons->button(QDialogButtonBox::RestoreDefaults);
    restore->setObjectName(QStringLiteral("restoreDefaultsButton"));
    restore->setToolTip(QStringLiteral("Put every check, limit and kind of finding back as it first was"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(restore, &QPushButton::clicked, this, [this] {
        // The year taken as now is not a setting, so it stays.
        ScanOptions defaults;
        defaults.currentYear = m_model.options().currentYear;
        m_model.setOptions(defaults);
        m_model.setChangeLogFormat(TextFormat::text);
    });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 8, 0, 0);
    layout->addWidget(m_tabs);
    auto* footer = new QVBoxLayout;
    footer->setContentsMargins(16, 0, 16, 12);
    footer->addWidget(buttons);
    layout->addLayout(footer);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    refresh();
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::options || field == AppModel::Field::changeLogFormat)
            refresh();
    });
}

QWidget* SettingsView::makeChecksTab()
{
    auto* page = new QWidget(this);
    page->setObjectName(QStringLiteral("checksTab"));

    auto* dates = new QGroupBox(QStringLiteral("Dates like 03/04/1890"), page);
    auto* explanation =
        new QLabel(QStringLiteral("When the file has dates like 25/12/1890, Kinloom knows the order. If it "
                                  "can’t tell, those dates are flagged without a fix until you choose here."),
                   dates);
    explanation->setWordWrap(true);
    explanation->setMinimumWidth(420);
    auto* datesLayout = new QVBoxLayout(dates);
    datesLayout->addWidget(explanation);
    m_order = new QButtonGroup(dates);
    for (std::size_t i = 0; i < orderChoices.size(); ++i) {
        auto* button = new QRadioButton(QString::fromUtf8(orderChoices[i].label), dates);
        button->setObjectName(QStringLiteral("dateOrder%1").arg(i));
        m_order->addButton(button, int(i));
        datesLayout->addWidget(button);
    }
    connect(m_order, &QButtonGroup::idClicked, this, [this](int id) {
        ScanOptions options = m_model.options();
        options.numericOrder = orderChoices[std::size_t(id)].order;
        m_model.setOptions(options);
    });

    auto* limits = new QGroupBox(QStringLiteral("Ages and lifespans"), page);
    m_minParent = stepper(QStringLiteral("Youngest parent: "), 8, 20, QString(), limits);
    m_minParent->setObjectName(QStringLiteral("minParentAge"));
    m_maxMother = stepper(QStringLiteral("Oldest mother: "), 40, 70, QString(), limits);
    m_maxMother->setObjectName(QStringLiteral("maxMotherAge"));
    m_maxFather = stepper(QStringLiteral("Oldest father: "), 50, 100, QString(), limits);
    m_maxFather->setObjectName(QStringLiteral("maxFatherAge"));
    m_maxLifespan = stepper(QStringLiteral("Longest life: "), 90, 130, QStringLiteral(" years"), limits);
    m_maxLifespan->setObjectName(QStringLiteral("maxLifespan"));
    auto* limitsLayout = new QVBoxLayout(limits);
    const std::array<std::pair<QSpinBox*, double ScanOptions::*>, 4> fields{{
        {m_minParent, &ScanOptions::minParentAge},
        {m_maxMother, &ScanOptions::maxMotherAge},
        {m_maxFather, &ScanOptions::maxFatherAge},
        {m_maxLifespan, &ScanOptions::maxLifespan},
    }};
    // One width for the four, the widest text any of them can show, so they line up and none is cut.
    int width = 0;
    for (const auto& [box, field] : fields)
        width = std::max(width, box->fontMetrics().horizontalAdvance(box->prefix() + QStringLiteral("100") +
                                                                     box->suffix()));
    for (const auto& [box, field] : fields) {
        box->setFixedWidth(width + 48);
        limitsLayout->addWidget(box, 0, Qt::AlignLeft);
        connect(box, &QSpinBox::valueChanged, this, [this, field = field](int value) {
            ScanOptions options = m_model.options();
            options.*field = double(value);
            m_model.setOptions(options);
        });
    }

    auto* duplicatesLabel = new QLabel(QStringLiteral("Show duplicates"), page);
    m_duplicates = new QComboBox(page);
    m_duplicates->setObjectName(QStringLiteral("duplicateThreshold"));
    for (const ThresholdChoice& choice : thresholdChoices)
        m_duplicates->addItem(QString::fromUtf8(choice.label), choice.threshold);
    duplicatesLabel->setBuddy(m_duplicates);
    connect(m_duplicates, &QComboBox::activated, this, [this](int index) {
        ScanOptions options = m_model.options();
        options.duplicateThreshold = thresholdChoices[std::size_t(index)].threshold;
        m_model.setOptions(options);
    });

    auto* changeLogLabel = new QLabel(QStringLiteral("Write the change log as"), page);
    m_changeLog = new QComboBox(page);
    m_changeLog->setObjectName(QStringLiteral("changeLogFormat"));
    m_changeLog->addItem(QStringLiteral("Text"));
    m_changeLog->addItem(QStringLiteral("PDF"));
    changeLogLabel->setBuddy(m_changeLog);
    connect(m_changeLog, &QComboBox::activated, this, [this](int index) {
        m_model.setChangeLogFormat(index == 1 ? TextFormat::pdf : TextFormat::text);
    });

    auto* choices = new QFormLayout;
    choices->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    choices->addRow(duplicatesLabel, m_duplicates);
    choices->addRow(changeLogLabel, m_changeLog);

    auto* options = new QVBoxLayout;
    options->setSpacing(12);
    options->addWidget(dates);
    options->addWidget(limits);
    options->addLayout(choices);
    options->addStretch(1);

    // The kinds beside the other options rather than below them, so the window stays short; made
    // last so that Tab reaches them after the options, in reading order.
    auto* layout = new QHBoxLayout(page);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(16);
    layout->addLayout(options);
    layout->addWidget(makeKindsBox(page));
    return page;
}

QWidget* SettingsView::makeKindsBox(QWidget* page)
{
    auto* box = new QGroupBox(QStringLiteral("Kinds of finding"), page);
    auto* explanation =
        new QLabel(QStringLiteral("Untick a kind to leave its findings out of every check."), box);
    explanation->setWordWrap(true);

    auto* scroll = new QScrollArea(box);
    scroll->setObjectName(QStringLiteral("kindsScroll"));
    auto* list = new QWidget(scroll);
    auto* listLayout = new QVBoxLayout(list);
    listLayout->setSpacing(2);
    std::optional<IssueCategory> category;
    for (const FindingKind& kind : allFindingKinds()) {
        if (kind.category != category) {
            if (category)
                listLayout->addSpacing(10);
            category = kind.category;
            auto* heading = new QLabel(fromUtf8(title(kind.category)), list);
            QFont bold = heading->font();
            bold.setBold(true);
            heading->setFont(bold);
            listLayout->addWidget(heading);
        }
        auto* tick = new QCheckBox(fromUtf8(kind.title), list);
        tick->setObjectName(QStringLiteral("kind-") + fromUtf8(kind.id));
        // A screen reader moving box to box hears the heading it sits under.
        tick->setAccessibleDescription(fromUtf8(title(kind.category)));
        listLayout->addWidget(tick);
        m_kinds.push_back(tick);
        connect(tick, &QCheckBox::toggled, this, [this, id = std::string(kind.id)](bool on) {
            ScanOptions options = m_model.options();
            std::vector<std::string>& skipped = options.skippedKinds;
            const auto at = std::lower_bound(skipped.begin(), skipped.end(), id);
            const bool present = at != skipped.end() && *at == id;
            if (on && present)
                skipped.erase(at);
            else if (!on && !present)
                skipped.insert(at, id);
            m_model.setOptions(options);
        });
    }
    scroll->setWidget(list);
    // White like a list, so it reads as one list of boxes rather than part of the page.
    list->setBackgroundRole(QPalette::Base);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    // Wide enough for the longest title beside the scroll bar; Tab goes straight to the boxes and
    // the list scrolls to show the one reached.
    scroll->setMinimumWidth(list->sizeHint().width() + scroll->verticalScrollBar()->sizeHint().width() +
                            2 * scroll->frameWidth());
    scroll->setFocusPolicy(Qt::NoFocus);

    m_kindsOff = new QLabel(box);
    m_kindsOff->setObjectName(QStringLiteral("kindsOff"));
    m_turnAllOn = new QPushButton(QStringLiteral("Turn All On"), box);
    m_turnAllOn->setObjectName(QStringLiteral("turnAllOnButton"));
    connect(m_turnAllOn, &QPushButton::clicked, this, [this] {
        // The button hides once every kind is on; the keyboard goes on from the first box.
        if (m_turnAllOn->hasFocus())
            m_kinds.front()->setFocus();
        ScanOptions options = m_model.options();
        options.skippedKinds.clear();
        m_model.setOptions(options);
    });
    // Showing and hiding the button must not move the list.
    QSizePolicy policy = m_turnAllOn->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    m_turnAllOn->setSizePolicy(policy);
    auto* footer = new QHBoxLayout;
    footer->addWidget(m_kindsOff, 1);
    footer->addWidget(m_turnAllOn);

    auto* layout = new QVBoxLayout(box);
    layout->addWidget(explanation);
    layout->addWidget(scroll, 1);
    layout->addLayout(footer);
    return box;
}

QWidget* SettingsView::makePrivacyTab()
{
    auto* page = new QWidget(this);
    page->setObjectName(QStringLiteral("privacyTab"));
    auto* text = new QLabel(QStringLiteral("Your family tree never leaves this ") + computerWord() +
                                QStringLiteral(". Kinloom reads the file you open, keeps its findings in "
                                               "memory, and writes only the files you ask for: a cleaned "
                                               "copy, its change log and reports."),
                            page);
    text->setObjectName(QStringLiteral("privacyText"));
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* icon = new QLabel(page);
    icon->setPixmap(symbolIcon("lock.shield").pixmap(48, 48));
    icon->setAlignment(Qt::AlignTop);
    auto* layout = new QHBoxLayout(page);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(16);
    layout->addWidget(icon, 0, Qt::AlignTop);
    layout->addWidget(text, 1, Qt::AlignTop);
    return page;
}

void SettingsView::refresh()
{
    const ScanOptions& options = m_model.options();
    for (std::size_t i = 0; i < orderChoices.size(); ++i) {
        if (orderChoices[i].order == options.numericOrder)
            m_order->button(int(i))->setChecked(true);
    }
    const std::array<std::pair<QSpinBox*, double>, 4> values{{
        {m_minParent, options.minParentAge},
        {m_maxMother, options.maxMotherAge},
        {m_maxFather, options.maxFatherAge},
        {m_maxLifespan, options.maxLifespan},
    }};
    for (const auto& [box, value] : values) {
        const QSignalBlocker quiet(box);
        box->setValue(int(std::lround(value)));
    }
    // A stored threshold between the choices shows as the nearest one.
    std::size_t nearest = 0;
    for (std::size_t i = 1; i < thresholdChoices.size(); ++i) {
        if (std::abs(thresholdChoices[i].threshold - options.duplicateThreshold) <
            std::abs(thresholdChoices[nearest].threshold - options.duplicateThreshold))
            nearest = i;
    }
    m_duplicates->setCurrentIndex(int(nearest));
    m_changeLog->setCurrentIndex(m_model.changeLogFormat() == TextFormat::pdf ? 1 : 0);

    const std::span<const FindingKind> kinds = allFindingKinds();
    int off = 0;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        const bool on = !options.skips(kinds[i].id);
        const QSignalBlocker quiet(m_kinds[i]);
        m_kinds[i]->setChecked(on);
        off += on ? 0 : 1;
    }
    m_kindsOff->setText(off == 0   ? QStringLiteral("Every kind is looked for")
                        : off == 1 ? QStringLiteral("1 kind switched off")
                                   : QStringLiteral("%1 kinds switched off").arg(off));
    m_turnAllOn->setVisible(off > 0);
}

} // namespace kinloom
