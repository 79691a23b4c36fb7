// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "document/GedcomDocument.h"
#include "document/Progress.h"
#include "document/TextEncoding.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kinloom::GedcomReader {

/// One parsed line.
struct Line
{
    int level = 0;
    std::optional<std::string> xref;
    std::string tag;
    std::optional<std::string> value;

    bool operator==(const Line&) const = default;
};

/// A line (without its break) parsed by the line grammar, or none when it does not follow it.
[[nodiscard]] std::optional<Line> parseLine(std::string_view line);

/// How to read a file.
struct ReadOptions
{
    /// The encoding to read in, chosen by the user: no detection, no notes about the header.
    std::optional<TextEncoding> encoding;
    /// Threads that read the text, each a part of whole records: 0 for every core, 1 for the calling
    /// thread alone. The document is the same for any number.
    unsigned threads = 0;
    /// No part is smaller than this, so a small text is read on the calling thread alone.
    std::size_t minPartBytes = std::size_t{2} << 20;

    bool operator==(const ReadOptions&) const = default;
};

/// Reads a file's bytes into a document. Never fails: unparseable lines are kept as malformed
/// nodes and decoding problems become reading notes. Progress goes by the bytes read.
[[nodiscard]] GedcomDocument read(std::string bytes, const ProgressCallback& progress = {});
[[nodiscard]] GedcomDocument read(std::string bytes, const ReadOptions& options,
                                  const ProgressCallback& progress = {});

/// Text split into lines at LF, CRLF, CR and LF CR, with the breaks counted by kind.
struct SplitText
{
    std::vector<std::string_view> lines;
    std::size_t lf = 0;
    std::size_t crlf = 0;
    std::size_t cr = 0;
    std::size_t lfcr = 0; ///< a line feed then a carriage return
    bool endsWithNewline = false;
};
[[nodiscard]] SplitText splitLines(std::string_view text);

/// The line ending a file is written with, chosen from its counts of breaks.
[[nodiscard]] std::string_view chooseLineEnding(std::size_t lf, std::size_t crlf, std::size_t cr,
                                                std::size_t lfcr = 0);

} // namespace kinloom::GedcomReader

namespace kinloom::detail {

/// Where the parts of a well-formed line sit, as offsets into the line.
struct LineFields
{
    int level = 0;
    std::uint32_t xrefStart = 0;
    std::uint32_t xrefLength = 0; ///< zero when the line has no xref
    std::uint32_t tagStart = 0;
    std::uint32_t tagLength = 0;
    bool hasValue = false; ///< the value starts one past the tag and runs to the end of the line
};

/// The line grammar, on bytes; none for a malformed line.
[[nodiscard]] std::optional<LineFields> parseLineFields(std::string_view line);

} // namespace kinloom::detail
