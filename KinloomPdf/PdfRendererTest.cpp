// SPDX-License-Identifier: GPL-3.0-or-later
#include "KinloomPdf/PdfRenderer.h"

#include "changes/FixApplier.h"
#include "checks/Scanner.h"
#include "document/GedcomReader.h"
#include "output/Report.h"
#include "sample/SampleTree.h"

#include <QFile>
#include <QFontInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <set>

using namespace kinloom;

void PrintTo(const QString& text, std::ostream* stream)
{
    *stream << '"' << text.toStdString() << '"';
}

namespace {

class PdfRendererTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { PdfRenderer::ensureGuiApplication(); }

    void SetUp() override { ASSERT_TRUE(m_folder.isValid()); }

    /// Writes PDF bytes to a file of the test's temporary folder and returns its path.
    QString save(const std::string& pdf, const QString& name = QStringLiteral("out.pdf"))
    {
        const QString path = m_folder.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(pdf.data(), qint64(pdf.size()));
        return path;
    }

    QTemporaryDir m_folder;
};

/// The standard output of one of the PDF tools, run to its end.
QString poppler(const QString& tool, const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(KINLOOM_POPPLER_DIR "/") + tool, arguments);
    EXPECT_TRUE(process.waitForFinished(60000)) << tool.toStdString();
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return QString::fromUtf8(process.readAllStandardOutput());
}

/// The text of each page of a PDF file, in reading order, one string per page.
QStringList pageTexts(const QString& path)
{
    QStringList pages =
        poppler(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), path, QStringLiteral("-")})
            .split(u'\f');
    pages.removeLast(); // after the last page's form feed
    return pages;
}

/// The height from the top of the page at which each page's first word begins, in points.
QList<qreal> firstWordTops(const QString& path)
{
    const QString boxes =
        poppler(QStringLiteral("pdftotext"), {QStringLiteral("-bbox"), path, QStringLiteral("-")});
    static const QRegularExpression firstWord(
        QString::fromLatin1(R"re(<page[^>]*>\s*<word xMin="[0-9.]+" yMin="([0-9.]+)")re"));
    QList<qreal> tops;
    for (auto match = firstWord.globalMatch(boxes); match.hasNext();)
        tops.append(match.next().captured(1).toDouble());
    return tops;
}

/// Non-empty lines, each with its blanks collapsed.
QStringList wordLines(const QString& text)
{
    QStringList lines;
    for (const QString& line : text.split(u'\n')) {
        if (!line.trimmed().isEmpty())
            lines.append(line.simplified());
    }
    return lines;
}

/// Checks that a PDF holds exactly the lines of `text` in order, markers left out and wrapped lines
/// joined again, with the footer as each page's last line, and that the lines that give a section's
/// page (" · page 13") give the page its heading is on. Returns how many lines give one.
int expectSameText(const QString& path, const std::string& text, const QString& title)
{
    QStringList shown;
    QList<qsizetype> shownPages;
    const QStringList pages = pageTexts(path);
    for (qsizetype page = 0; page < pages.size(); ++page) {
        QStringList lines = wordLines(pages[page]);
        EXPECT_FALSE(lines.isEmpty());
        EXPECT_EQ(lines.takeLast(), title + QStringLiteral(" \u00B7 page ") + QString::number(page + 1));
        shown += lines;
        shownPages.insert(shownPages.size(), lines.size(), page + 1);
    }
    static const QRegularExpression count(QStringLiteral(" \\([0-9]+\\)$"));
    QHash<QString, qsizetype> sectionPages;
    QList<std::pair<QString, qsizetype>> pointers;
    qsizetype next = 0;
    for (QString line : wordLines(QString::fromStdString(text))) {
        const bool section = line.startsWith(u"## ");
        if (line.startsWith(u"### "))
            line.remove(0, 4);
        else if (section)
            line.remove(0, 3);
        else if (line.startsWith(u"# "))
            line.remove(0, 2);
        if (next >= shown.size()) {
            ADD_FAILURE() << "missing: " << line.toStdString();
            return 0;
        }
        const qsizetype page = shownPages[next];
        QString joined = shown[next++];
        while (joined.size() < line.size() && next < shown.size())
            joined += u' ' + shown[next++];
        if (section)
            sectionPages.insert(QString(line).remove(count), page);
        const QString pointer = line + QStringLiteral(" \u00B7 page ");
        if (joined.startsWith(pointer))
            pointers.append({line.section(QStringLiteral(": "), 0, 0), joined.mid(pointer.size()).toInt()});
        else
            EXPECT_EQ(joined, line);
    }
    EXPECT_EQ(next, shown.size());
    for (const auto& [section, page] : pointers)
        EXPECT_EQ(sectionPages.value(section), page) << section.toStdString();
    return int(pointers.size());
}

} // namespace

TEST(PdfRendererRoles, ChosenByHowTheLineBegins)
{
    using enum PdfRenderer::TextRole;
    const std::pair<const char16_t*, PdfRenderer::TextRole> cases[] = {
        {u"# Kinloom report: Smith.ged", title},
        {u"## Likely duplicates (3)", section},
        {u"### The same person twice (3)", heading},
        {u"#Not a title", body},
        {u"[Private]", bracketed},
        {u"      six blanks", detail},
        {u"    + 1 NOTE added", detail},
        {u"    John Smith (@I1@) \u00B7 BIRT DATE: \u201C12  MAR 1890\u201D \u2192 \u201C12 MAR 1890\u201D",
         detail},
        {u"    John Smith (@I1@) \u00B7 BIRT DATE: \u201C12  MAR 1890\u201D", body},
        {u"    a\u2192b", body},
        {u"  Fix: Merge @I7@ into @I4@ \u2192 \u201Cx\u201D", body},
        {u"", body},
    };
    for (const auto& [line, role] : cases)
        EXPECT_EQ(PdfRenderer::lineRole(line), role) << QString::fromUtf16(line).toStdString();
}

TEST_F(PdfRendererTest, FontsAndColoursOfEachRole)
{
    using enum PdfRenderer::TextRole;
    struct Case
    {
        PdfRenderer::TextRole role;
        const char* family; ///< as fontconfig resolves it
        qreal points;
        bool bold;
        float grey;
        qreal spaceBefore;
        qsizetype markerLength;
    };
    const Case cases[] = {
        {title, "Nimbus Sans", 17, true, 0.08f, 0, 2},
        {section, "Nimbus Sans", 12.5, true, 0.08f, 6, 3},
        {bracketed, "Nimbus Sans", 9.5, true, 0.08f, 0, 0},
        {body, "Nimbus Sans", 9.5, false, 0.08f, 0, 0},
        {detail, "DejaVu Sans Mono", 8.5, false, 0.35f, 0, 0},
        {footer, "Nimbus Sans", 8, false, 0.35f, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(c.role));
        const PdfRenderer::TextStyle style = PdfRenderer::textStyle(c.role);
        const QFontInfo info(style.font);
        EXPECT_EQ(info.family().section(QStringLiteral(" ["), 0, 0), c.family); // without the foundry
        EXPECT_EQ(info.bold(), c.bold);
        EXPECT_EQ(style.font.pointSizeF(), c.points);
        EXPECT_EQ(style.colour, QColor::fromRgbF(c.grey, c.grey, c.grey));
        EXPECT_EQ(style.spaceBefore, c.spaceBefore);
        EXPECT_EQ(style.markerLength, c.markerLength);
    }
}

TEST_F(PdfRendererTest, EmbedsItsFontsAndNamesTheDocument)
{
    const std::string text =
        "# Kinloom change log\nOriginal: Smith.ged (not changed)\n\n## 1. Write as "
        "\u201C12 MAR 1890\u201D\n    John Smith (@I1@) \u00B7 BIRT DATE: \u201C12  MAR 1890\u201D "
        "\u2192 \u201C12 MAR 1890\u201D\n";
    const QString path = save(PdfRenderer::render(text, "Kinloom change log: Smith (tidied).ged"));

    const QStringList fonts = poppler(QStringLiteral("pdffonts"), {path}).split(u'\n', Qt::SkipEmptyParts);
    QStringList names;
    for (const QString& line : fonts.mid(2)) {
        const QStringList columns = line.split(u' ', Qt::SkipEmptyParts);
        names.append(columns[0]);
        // Every font is embedded and maps its glyphs back to text, so the text can be searched.
        EXPECT_TRUE(line.contains(QStringLiteral(" yes "))) << line.toStdString();
        EXPECT_EQ(columns[columns.size() - 3], QStringLiteral("yes")) << line.toStdString();
    }
    names.sort();
    EXPECT_EQ(names, QStringList({"DejaVuSansMono", "NimbusSans-Bold", "NimbusSans-Regular"}));

    const QString info = poppler(QStringLiteral("pdfinfo"), {path});
    EXPECT_TRUE(info.contains(QStringLiteral("Title:           Kinloom change log: Smith (tidied).ged\n")))
        << info.toStdString();
    EXPECT_TRUE(info.contains(QStringLiteral("Creator:         Kinloom\n")));
    EXPECT_TRUE(info.contains(QStringLiteral("Page size:       612 x 792 pts (letter)\n")));
    expectSameText(path, text, QStringLiteral("Kinloom change log: Smith (tidied).ged"));
}

TEST_F(PdfRendererTest, FlowsOverPagesWithFooters)
{
    std::string text;
    for (int i = 1; i <= 130; ++i)
        text += "Line " + std::to_string(i) + " of a text long enough for three pages\n";
    const QString path = save(PdfRenderer::render(text, "Kinloom report: Long.ged"));
    const QStringList pages = pageTexts(path);
    ASSERT_EQ(pages.size(), 3);
    for (qsizetype page = 0; page < pages.size(); ++page)
        EXPECT_EQ(wordLines(pages[page]).last(),
                  QStringLiteral("Kinloom report: Long.ged \u00B7 page %1").arg(page + 1));
    // Every line is whole on one page, in order.
    expectSameText(path, text, QStringLiteral("Kinloom report: Long.ged"));

    // Blank lines separate lines but never open a page: every page's text begins at the top of
    // the frame, and blank lines at the end add no page of their own.
    std::string spaced;
    for (int i = 1; i <= 100; ++i)
        spaced += "Line " + std::to_string(i) + "\n\n";
    spaced += std::string(100, '\n');
    const QString spacedPath = save(PdfRenderer::render(spaced, "Kinloom report: Spaced.ged"), "spaced.pdf");
    const QList<qreal> tops = firstWordTops(spacedPath);
    ASSERT_GE(tops.size(), 3);
    for (const qreal top : tops)
        EXPECT_NEAR(top, tops[0], 0.01);
    EXPECT_GT(wordLines(pageTexts(spacedPath).last()).size(), 1);

    const QStringList empty =
        pageTexts(save(PdfRenderer::render("", "Kinloom report: Empty.ged"), "empty.pdf"));
    ASSERT_EQ(empty.size(), 1);
    EXPECT_EQ(wordLines(empty[0]), QStringList({"Kinloom report: Empty.ged \u00B7 page 1"}));

    // A title too long for the footer loses its middle, never the page number.
    const std::string longTitle = "Kinloom report: " + std::string(300, 'x') + ".ged";
    const QStringList footer = wordLines(pageTexts(save(PdfRenderer::render("", longTitle), "long.pdf"))[0]);
    ASSERT_EQ(footer.size(), 1);
    EXPECT_TRUE(footer[0].startsWith(QStringLiteral("Kinloom report: xxx"))) << footer[0].toStdString();
    EXPECT_TRUE(footer[0].contains(u'\u2026'));
    EXPECT_TRUE(footer[0].endsWith(QStringLiteral("xxx.ged \u00B7 page 1")));
}

TEST_F(PdfRendererTest, SampleTreeReportAndChangeLog)
{
    const GedcomDocument document = GedcomReader::read(SampleTree::sampleText());
    const ScanResult scan = Scanner::scan(document);
    std::vector<Fix> fixes;
    for (const Issue& issue : scan.issues) {
        if (issue.fix)
            fixes.push_back(*issue.fix);
    }
    const auto date = std::chrono::system_clock::from_time_t(0);
    const std::string report = Report::reportText(scan, "Sample Tree.ged", date);
    std::set<IssueCategory> found;
    for (const Issue& issue : scan.issues)
        found.insert(issue.category);
    const int categories = int(found.size());
    const std::string log =
        Report::changeLogText(FixApplier::apply(fixes, document, 1).entries, "Sample Tree.ged",
                              "Sample Tree (tidied).ged", date, std::nullopt);

    const std::pair<std::string, std::string> documents[] = {
        {"Kinloom report: Sample Tree.ged", report},
        {"Kinloom change log: Sample Tree (tidied).ged", log},
    };
    for (const auto& [title, text] : documents) {
        SCOPED_TRACE(title);
        const QString path = save(PdfRenderer::render(text, title));
        // The report's summary gives the page of each category's section.
        EXPECT_EQ(expectSameText(path, text, QString::fromStdString(title)),
                  title.starts_with("Kinloom report") ? categories : 0);
        // The first page as a picture in the build folder, for a person to look at.
        const QString picture = QStringLiteral(KINLOOM_PICTURE_DIR "/") +
                                (title.starts_with("Kinloom report") ? "sample report" : "sample change log");
        poppler(QStringLiteral("pdftoppm"), {"-png", "-r", "80", "-singlefile", path, picture});
        EXPECT_TRUE(QFile::exists(picture + ".png"));
    }
}
