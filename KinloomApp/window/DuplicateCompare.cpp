// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/DuplicateCompare.h"

#include "session/AppModel.h"
#include "session/QtText.h"

#include "checks/DuplicateFinder.h"

#include <QGridLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace kinloom {

namespace {

/// The record's lines without its CHAN block: the merge drops it, and it only says when a program
/// last saved the record.
std::vector<std::string> recordLines(const GedcomDocument& document, const std::string& xref)
{
    for (const NodeView record : document.records()) {
        if (record.xref() != xref)
            continue;
        std::vector<std::string> lines;
        bool inChange = false;
        for (std::string& line : record.lines(0)) {
            if (line.starts_with("1 "))
                inChange = line == "1 CHAN";
            if (!inChange)
                lines.push_back(std::move(line));
        }
        return lines;
    }
    return {};
}

/// Lines of the two records paired by their longest common run, so equal lines sit side by side;
/// an empty side means the other record has a line this one lacks.
std::vector<std::pair<QString, QString>> alignLines(const std::vector<std::string>& left,
                                                    const std::vector<std::string>& right)
{
    // The record's own line differs by its xref; compare the rest of the record.
    const std::size_t n = left.size();
    const std::size_t m = right.size();
    std::vector<std::vector<std::uint32_t>> common(n + 1, std::vector<std::uint32_t>(m + 1, 0));
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t j = m; j-- > 0;)
            common[i][j] =
                left[i] == right[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    }
    std::vector<std::pair<QString, QString>> rows;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < n || j < m) {
        if (i < n && j < m && left[i] == right[j]) {
            rows.emplace_back(fromUtf8(left[i++]), fromUtf8(right[j++]));
        } else if (i < n && j < m && common[i + 1][j] == common[i][j + 1]) {
            // Neither line is kept by the other record: show them as a changed pair.
            rows.emplace_back(fromUtf8(left[i++]), fromUtf8(right[j++]));
        } else if (j == m || (i < n && common[i + 1][j] >= common[i][j + 1])) {
            rows.emplace_back(fromUtf8(left[i++]), QString());
        } else {
            rows.emplace_back(QString(), fromUtf8(right[j++]));
        }
    }
    return rows;
}

/// The reasons as one line of rich text, each escaped, separated by middle dots.
QString reasonsLine(const std::vector<std::string>& reasons)
{
    QStringList escaped;
    for (const std::string& reason : reasons)
        escaped << fromUtf8(reason).toHtmlEscaped();
    return escaped.join(QStringLiteral(" \u00B7 "));
}

QString agreementText(const DuplicateFinder::Kin& kin, bool otherHasSome)
{
    using enum DuplicateFinder::Kin::Agreement;
    switch (kin.agreement) {
    case sameRecord:
        return QStringLiteral("same person on both sides");
    case alikeName:
        return QStringLiteral("a like name on the other side");
    case onlyHere:
        break;
    }
    return otherHasSome ? QStringLiteral("<b>not on the other side</b>")
                        : QStringLiteral("the other side records none");
}

/// One role's relatives, each on a line of its own with its dates and what the other side has.
QString roleText(const char* role, const std::vector<DuplicateFinder::Kin>& kin,
                 const std::vector<DuplicateFinder::Kin>& other)
{
    QString text = QStringLiteral("<br><b>") + QLatin1String(role) + QStringLiteral(":</b>");
    if (kin.empty())
        return text + QStringLiteral(" none recorded");
    for (const DuplicateFinder::Kin& one : kin) {
        text += QStringLiteral("<br>&nbsp;&nbsp;&nbsp;&nbsp;") + fromUtf8(one.name).toHtmlEscaped();
        if (!one.dates.empty())
            text += QStringLiteral(" (") + fromUtf8(one.dates).toHtmlEscaped() + u')';
        text += QStringLiteral(": ") + agreementText(one, !other.empty());
    }
    return text;
}

QString sideText(bool kept, const std::string& xref, const DuplicateFinder::Kinfolk& side,
                 const DuplicateFinder::Kinfolk& other)
{
    QString text = (kept ? QStringLiteral("<b>Kept:</b> ") : QStringLiteral("<b>Merged into it:</b> ")) +
                   fromUtf8(side.name).toHtmlEscaped() + QStringLiteral(" (") +
                   fromUtf8(xref).toHtmlEscaped() + u')';
    if (!side.dates.empty())
        text += QStringLiteral("<br>") + fromUtf8(side.dates).toHtmlEscaped();
    return text + roleText("Parents", side.parents, other.parents) +
           roleText("Spouses", side.spouses, other.spouses) +
           roleText("Children", side.children, other.children);
}

} // namespace

DuplicateCompare::DuplicateCompare(AppModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("duplicateCompare"));
    // Why the pair was reported, and why it is no surer than its band says.
    m_evidence = new QLabel(this);
    m_evidence->setObjectName(QStringLiteral("duplicateEvidence"));
    m_evidence->setAccessibleName(QStringLiteral("Evidence for and against the pair"));
    m_evidence->setTextFormat(Qt::RichText);
    m_evidence->setWordWrap(true);
    m_evidence->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);

    // Each side's relatives in a column, the kept record's first.
    auto* sides = new QGridLayout;
    for (std::size_t side = 0; side < 2; ++side) {
        m_kin[side] = new QLabel(this);
        m_kin[side]->setObjectName(side == 0 ? QStringLiteral("keptRelatives")
                                             : QStringLiteral("otherRelatives"));
        m_kin[side]->setTextFormat(Qt::RichText);
        m_kin[side]->setWordWrap(true);
        m_kin[side]->setAlignment(Qt::AlignTop | Qt::AlignLeft);
        m_kin[side]->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        sides->addWidget(m_kin[side], 0, int(side));
        sides->setColumnStretch(int(side), 1);
    }
    m_keepOther = new QPushButton(QStringLiteral("Keep This One"), this);
    m_keepOther->setObjectName(QStringLiteral("keepOtherButton"));
    m_keepOther->setToolTip(QStringLiteral("Keep this record and merge the other into it"));
    connect(m_keepOther, &QPushButton::clicked, this, [this] {
        const std::optional<std::size_t>& current = m_model.currentFinding();
        if (current && m_model.result() && m_model.result()->issues[*current].match == m_match)
            m_model.keepOther(*current);
    });
    sides->addWidget(m_keepOther, 1, 1, Qt::AlignLeft);

    m_button = new QPushButton(this);
    m_button->setObjectName(QStringLiteral("compareButton"));
    m_button->setCheckable(true);
    connect(m_button, &QPushButton::toggled, this, &DuplicateCompare::setOpen);

    m_table = new QTableWidget(this);
    m_table->setObjectName(QStringLiteral("compareTable"));
    m_table->setAccessibleName(QStringLiteral("The two records, line by line"));
    m_table->setColumnCount(2);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setWordWrap(false);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_table->setMinimumHeight(160);
    // Tab leaves the table for the next control, and Space ticks the finding's fix, as in the list.
    m_table->setTabKeyNavigation(false);
    m_table->installEventFilter(this);
    m_table->setStyleSheet(QStringLiteral("QTableWidget:focus { border: 2px solid palette(highlight); }"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_evidence);
    layout->addLayout(sides);
    layout->addWidget(m_button, 0, Qt::AlignLeft);
    layout->addWidget(m_table);
    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::document && m_open)
            fill();
    });
    setMatch(std::nullopt);
}

void DuplicateCompare::setMatch(std::optional<DuplicateMatch> match)
{
    m_match = std::move(match);
    setVisible(m_match.has_value());
    if (m_match) {
        m_evidence->setText(QStringLiteral("<b>For:</b> ") + reasonsLine(m_match->reasons) +
                            QStringLiteral("<br><b>Against:</b> ") +
                            (m_match->against.empty() ? QStringLiteral("nothing recorded tells them apart")
                                                      : reasonsLine(m_match->against)));
        m_button->setText(QStringLiteral("Compare the two records (") + fromUtf8(m_match->keep) +
                          QStringLiteral(" and ") + fromUtf8(m_match->remove) + QStringLiteral(")"));
        showKin();
    }
    setOpen(false);
}

void DuplicateCompare::showKin()
{
    const std::optional<GedcomDocument>& document = m_model.document();
    if (!document || !m_match)
        return;
    const auto kin = DuplicateFinder::kinOf(*document, m_match->keep, m_match->remove);
    m_kin[0]->setText(sideText(true, m_match->keep, kin[0], kin[1]));
    m_kin[1]->setText(sideText(false, m_match->remove, kin[1], kin[0]));
    m_keepOther->setAccessibleName(QStringLiteral("Keep This One: ") + fromUtf8(kin[1].name) +
                                   QStringLiteral(" (") + fromUtf8(m_match->remove) + u')');
}

bool DuplicateCompare::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_table || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_Space && key->modifiers() == Qt::NoModifier) {
        const std::optional<std::size_t>& current = m_model.currentFinding();
        if (current && m_model.result()) {
            if (const std::optional<Fix>& fix = m_model.result()->issues[*current].fix)
                m_model.setSelected(fix->id, !m_model.selection().contains(fix->id));
        }
        return true;
    }
    if (key->key() == Qt::Key_Escape) {
        // Closing the comparison hands the keyboard back to the button that opened it.
        setOpen(false);
        m_button->setFocus(Qt::OtherFocusReason);
        return true;
    }
    return false;
}

void DuplicateCompare::setOpen(bool open)
{
    m_open = open && m_match;
    const QSignalBlocker blocker(m_button);
    m_button->setChecked(m_open);
    m_table->setVisible(m_open);
    if (m_open)
        fill();
}

void DuplicateCompare::fill()
{
    const std::optional<GedcomDocument>& document = m_model.document();
    if (!document || !m_match)
        return;
    const auto rows =
        alignLines(recordLines(*document, m_match->keep), recordLines(*document, m_match->remove));
    m_table->setHorizontalHeaderLabels({fromUtf8(m_match->keep) + QStringLiteral(" (kept)"),
                                        fromUtf8(m_match->remove) + QStringLiteral(" (merged into it)")});
    m_table->setRowCount(int(rows.size()));
    const QBrush marked = palette().brush(QPalette::AlternateBase);
    QFont bold = font();
    bold.setBold(true);
    for (int row = 0; row < int(rows.size()); ++row) {
        const auto& [left, right] = rows[std::size_t(row)];
        const bool differs = row > 0 && left != right;
        for (int column = 0; column < 2; ++column) {
            auto* item = new QTableWidgetItem(column == 0 ? left : right);
            if (differs) {
                item->setBackground(marked);
                item->setFont(bold);
                item->setToolTip(QStringLiteral("Only one record has this line as written"));
            }
            m_table->setItem(row, column, item);
        }
    }
    m_table->resizeRowsToContents();
}

} // namespace kinloom
