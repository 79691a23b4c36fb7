// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/HelpView.h"

#include "session/PlatformServices.h"
#include "session/QtText.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace kinloom {

QString HelpView::categoryLine(IssueCategory category)
{
    switch (category) {
    case IssueCategory::duplicates:
        return QStringLiteral("People or families that seem to be recorded twice, compared by their names, "
                              "dates, places and relatives.");
    case IssueCategory::impossibleDates:
        return QStringLiteral("Dates that cannot all be right, or are hard to believe: a child born before a "
                              "parent, a burial before a death, a life far too long.");
    case IssueCategory::dateFormats:
        return QStringLiteral("Dates written in a way other programs may misread, such as 12/03/1890 or "
                              "“abt. 1850”, with the standard way to write each.");
    case IssueCategory::places:
        return QStringLiteral("One place spelled several ways, a place name with extra spaces, or a date "
                              "typed where the place goes.");
    case IssueCategory::missing:
        return QStringLiteral("Names and sexes that are not recorded, or not written the standard way: a "
                              "surname not marked as one, a title inside the name.");
    case IssueCategory::links:
        return QStringLiteral("Links between people and families that lead nowhere, go one way only or "
                              "repeat, and records that nothing links to.");
    case IssueCategory::file:
        return QStringLiteral("How the file was read and how it is built: lines the GEDCOM standard does not "
                              "allow where they stand, which other programs may drop, and lines that could not "
                              "be read, which are kept as they are.");
    }
    return {};
}

QString HelpView::page()
{
    const QString computer = computerWord();
    QString categories;
    for (IssueCategory category : allIssueCategories)
        categories += QStringLiteral("<p><b>") + fromUtf8(title(category)).toHtmlEscaped() +
                      QStringLiteral(".</b> ") + categoryLine(category).toHtmlEscaped() +
                      QStringLiteral("</p>");
    return QStringLiteral(
               "<h2>What Kinloom does</h2>"
               "<p>Kinloom reads a family-tree (GEDCOM) file from any program, lists what looks wrong in "
               "it, and shows every fix line by line before it makes it. Nothing changes until you apply a "
               "fix, and even then your own file is never changed: the result is written to a new copy. "
               "Help › Open Sample Tree opens a small tree with a problem of every kind, to try it on.</p>"
               "<h2>The lists</h2>"
               "<p>The Overview counts the people, families, sources and dates in the file and how its "
               "dates are written. Each list after it holds one kind of problem; the number beside it is "
               "how many findings it has. Each finding is an error, a warning or a note, and the buttons "
               "above a list show or hide each.</p>") +
           categories +
           QStringLiteral(
               "<h2>Ticking and applying</h2>"
               "<p>A finding with a suggested fix has a tick box. Open it with the arrow beside it to see "
               "its preview: each line the fix changes, as it is now and as it would be. Tick the fixes "
               "you want, one by one or with “Tick every fix in this list”, then choose Review &amp; Apply "
               "to look over the ticked fixes once more and apply them together.</p>"
               "<p>A finding without a fix is only flagged: Kinloom leaves it for you to check against "
               "your sources. “Not a Problem” takes a finding you have checked off the list until one of "
               "its records changes; View › Show Dismissed brings it back. Undo Last Batch, Redo and "
               "Undo All Changes take back what you applied.</p>"
               "<h2>Check before applying</h2>"
               "<p>Most fixes only write what the file already says in the standard way. Some make a "
               "judgement instead: merging two records, reading a date written in words or one that could "
               "mean two things, adding a sex from the person’s place as husband or wife, moving a date "
               "out of a place name. Such "
               "a fix may change what a record says, so it is marked “check before applying”.</p>"
               "<p>“Tick every fix in this list” and a group’s “Tick all” leave these fixes out. Read the "
               "preview, compare it with your sources, and tick each one yourself; Review &amp; Apply "
               "marks them again before anything is applied.</p>"
               "<h2>Merging two records</h2>"
               "<p>A likely duplicate offers to compare the two records side by side, with their parents, "
               "spouses and children, and to merge them. A merge keeps one record and moves into it every "
               "name, event, source and note of the other that it lacks; lines both records share are "
               "kept once. Where the two disagree, nothing is overwritten: a different sex is kept as a "
               "note. Every link to the merged record then leads to the one kept. “Keep This One” chooses "
               "which of the two records stays.</p>"
               "<h2>Your file, the copy and the change log</h2>"
               "<p>Your file is only read, never changed. Save Cleaned Copy asks for a folder and writes "
               "two new files there: the tree with your changes, named after your file with “(tidied)”, "
               "and its change log, which lists every edit line by line. A name already taken gets a "
               "number, so nothing in the folder is ever overwritten. Settings chooses whether the change "
               "log is text or PDF.</p>"
               "<p>The Report button saves the list of findings as text or PDF, wherever you choose. "
               "Nothing leaves this ") +
           computer +
           QStringLiteral(": Kinloom makes no network connections, and writes only the files you ask "
                          "for.</p>");
}

HelpView::HelpView(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("helpWindow"));
    setWindowTitle(QStringLiteral("How Kinloom Works"));

    auto* text = new QTextBrowser(this);
    text->setObjectName(QStringLiteral("helpText"));
    text->setAccessibleName(QStringLiteral("How Kinloom Works"));
    text->setOpenLinks(false);
    // The page has no links: Tab goes on to the Close button, and the arrow keys scroll.
    text->setTabChangesFocus(true);
    text->setHtml(page());

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->button(QDialogButtonBox::Close)->setObjectName(QStringLiteral("helpCloseButton"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(text, 1);
    layout->addWidget(buttons);
    resize(620, 640);
    text->setFocus();
}

} // namespace kinloom
