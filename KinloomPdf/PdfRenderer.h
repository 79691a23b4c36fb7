// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QFont>
#include <QStringView>

#include <string>
#include <string_view>

namespace kinloom::PdfRenderer {

/// What a piece of text is in a laid-out report or change log; each has its own font and colour.
enum class TextRole
{
    title,     ///< "# " lines
    section,   ///< "## " lines
    heading,   ///< "### " lines: a kind of finding within a category
    bracketed, ///< lines beginning with "["
    body,      ///< everything else, empty lines among them
    detail,    ///< change lines and deeper indented lines, monospaced and grey
    footer,    ///< the title and page number at the foot of every page
};

/// How text of one role is set.
struct TextStyle
{
    QFont font;
    QColor colour;
    qreal spaceBefore = 0;      ///< points above the paragraph
    qsizetype markerLength = 0; ///< characters of the line's marker left out ("# ", "## ")
};

/// The role of one line of report or change-log text, chosen by how the line begins.
[[nodiscard]] TextRole lineRole(QStringView line);

/// The font, colour and spacing of a role. Needs a QGuiApplication.
[[nodiscard]] TextStyle textStyle(TextRole role);

/// Lays out report or change-log text (UTF-8) as US Letter pages with a footer made of `title`,
/// " · page " and the page number, and returns the bytes of the PDF document. Needs a QGuiApplication.
[[nodiscard]] std::string render(std::string_view text, std::string_view title);

/// Creates the QGuiApplication that fonts and PDF drawing need in a program with no window of its
/// own, on the offscreen platform when there is no display; does nothing when an application exists.
void ensureGuiApplication();

} // namespace kinloom::PdfRenderer
