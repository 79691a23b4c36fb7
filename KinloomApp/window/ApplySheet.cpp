#include "window/ApplySheet.h"

#include "session/AppModel.h"
#include "session/QtText.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace kinloom {

QString ApplySheet::applyTitle(std::size_t count)
{
    return QStringLiteral("Apply ") + QString::number(count) +
           (count == 1 ? QStringLiteral(" Change") : QStringLiteral(" Changes"));
}

ApplySheet::ApplySheet(AppModel& model, QWidget* parent) : QDialog(parent), m_model(model)
{
    setObjectName(QStringLiteral("applySheet"));
    setWindowTitle(QStringLiteral("Review & Apply"));
    setWindowModality(Qt::WindowModal);
    resize(560, 420);

    auto* heading = new QLabel(QStringLiteral("These fixes will be applied:"), this);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("applyList"));
    m_list->setAccessibleName(QStringLiteral("Fixes to apply"));
    m_list->setUniformItemSizes(true);
    auto* note =
        new QLabel(QStringLiteral("Your original file isn’t touched. You can undo, and nothing is written "
                                  "until you choose Save Cleaned Copy."),
                   this);
    note->setObjectName(QStringLiteral("applyNote"));
    note->setWordWrap(true);

    auto* buttons = new QDialogButtonBox(this);
    auto* cancel = buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("applyCancelButton"));
    m_apply = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    m_apply->setObjectName(QStringLiteral("applyButton"));
    m_apply->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        m_model.applySelection();
        accept();
    });
    connect(this, &QDialog::finished, this, [this] { m_model.setShowApply(false); });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading);
    layout->addWidget(m_list, 1);
    layout->addWidget(note);
    layout->addWidget(buttons);

    connect(&m_model, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::showApply) {
            if (m_model.showApply() && !isVisible()) {
                refresh();
                open();
            } else if (!m_model.showApply() && isVisible()) {
                reject();
            }
        } else if (isVisible() &&
                   (field == AppModel::Field::selection || field == AppModel::Field::placeTargets)) {
            refresh();
        }
    });
}

void ApplySheet::refresh()
{
    m_list->clear();
    const std::vector<Fix> fixes = m_model.selectedFixes();
    for (const Fix& fix : fixes) {
        // A title such as "Write as “M”" needs the record it is about beside it.
        QString text = fromUtf8(fix.title);
        if (!fix.preview.empty())
            text += QStringLiteral("  ·  ") + QString::fromStdString(fix.preview.front().context);
        if (fix.needsReview)
            text += QStringLiteral(" (check before applying)");
        m_list->addItem(text);
    }
    m_apply->setText(applyTitle(fixes.size()));
    m_apply->setEnabled(!fixes.empty() && !m_model.busy());
}

} // namespace kinloom
