// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/GedcomWriter.h"

#include <charconv>

namespace kinloom::GedcomWriter {
namespace {

constexpr const char* writingStage = "Writing the cleaned copy\u2026";

/// Appends one node's line as new text, from its fields, at its depth in the tree.
void appendFields(std::string& out, NodeView node, int depth)
{
    char digits[12];
    const auto [end, ec] = std::to_chars(digits, digits + sizeof digits, depth);
    (void)ec;
    out.append(digits, end);
    if (const auto xref = node.xref()) {
        out += ' ';
        out += *xref;
    }
    out += ' ';
    out += node.tag();
    if (const auto value = node.value()) {
        out += ' ';
        out += *value;
    }
}

/// Appends the rendered text to `out`, which may already hold a byte-order mark. Progress goes by
/// records, between `from` and `to`.
void renderInto(const GedcomDocument& document, std::string& out, const ProgressCallback& progress,
                double from, double to)
{
    const std::string& ending = document.lineEnding;
    bool first = true;
    ProgressMeter meter(progress, writingStage, static_cast<double>(document.recordCount()), from, to);
    double records = 0;
    document.walk([&](NodeView node, int depth) {
        if (depth == 0)
            meter.advance(records++);
        if (!first)
            out += ending;
        first = false;
        if (const auto raw = node.raw())
            out += *raw;
        else
            appendFields(out, node, depth);
    });
    if (!first && document.endsWithNewline)
        out += ending;
    meter.finish();
}

/// The document in its own encoding, with each unchanged line that keeps its bytes written as
/// those bytes and the text between them encoded; none when some edited or added text has no form
/// in the encoding.
std::optional<std::string> encodeKeepingBytes(const GedcomDocument& document, std::string_view mark,
                                              const ProgressCallback& progress)
{
    const std::string& ending = document.lineEnding;
    std::string out(mark);
    std::string pending;
    bool failed = false;
    const auto flush = [&] {
        if (pending.empty() || failed)
            return;
        if (auto encoded = TextEncodings::encode(pending, document.encoding))
            out += *encoded;
        else
            failed = true;
        pending.clear();
    };
    bool first = true;
    ProgressMeter meter(progress, writingStage, static_cast<double>(document.recordCount()), 0, 1);
    double records = 0;
    document.walk([&](NodeView node, int depth) {
        if (failed)
            return;
        if (depth == 0)
            meter.advance(records++);
        if (!first)
            pending += ending;
        first = false;
        const auto raw = node.raw();
        if (!raw) {
            appendFields(pending, node, depth);
        } else if (const std::string* bytes = document.keptBytes(node.id())) {
            flush();
            out += *bytes;
        } else {
            pending += *raw;
        }
    });
    if (!first && document.endsWithNewline)
        pending += ending;
    flush();
    meter.finish();
    if (failed)
        return std::nullopt;
    return out;
}

std::size_t estimatedSize(const GedcomDocument& document)
{
    // Read lines sit back to back in their text, so the text's size is a close estimate.
    std::size_t size = 0;
    for (NodeView record : document.records())
        size += record.subtreeSize() * (24 + document.lineEnding.size());
    return size;
}

std::string renderText(const GedcomDocument& document, const ProgressCallback& progress = {}, double from = 0,
                       double to = 1)
{
    std::string text;
    text.reserve(estimatedSize(document));
    renderInto(document, text, progress, from, to);
    return text;
}

std::string_view byteOrderMark(TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::utf8:
        return "\xEF\xBB\xBF";
    case TextEncoding::utf16LE:
        return "\xFF\xFE";
    case TextEncoding::utf16BE:
        return "\xFE\xFF";
    default:
        return {};
    }
}

/// Some text has no form in the file's encoding: everything is saved as UTF-8 instead, with the
/// header's CHAR line saying so, on a copy.
Output fallBackToUTF8(const GedcomDocument& document, const ProgressCallback& progress)
{
    GedcomDocument copy = document;
    for (NodeView record : document.records()) {
        if (record.tag() != "HEAD")
            continue;
        // A CHAR line that already says UTF-8 keeps its text; any other is written anew.
        if (const auto charLine = record.firstChild("CHAR"))
            copy.update(charLine->id(), [](GedcomNode& node) { node.setValue("UTF-8"); });
        break;
    }
    std::string data = renderText(copy, progress, 0.5, 1);
    return {std::move(data), TextEncoding::utf8,
            "Some text has no " + std::string(displayName(document.encoding)) +
                " form, so the file was saved as UTF-8 (its CHAR line now says UTF-8)."};
}

} // namespace

std::string render(const GedcomDocument& document)
{
    return renderText(document);
}

Output write(const GedcomDocument& document, const ProgressCallback& progress)
{
    const std::string_view mark = document.hasBOM ? byteOrderMark(document.encoding) : std::string_view();
    if (document.hasKeptBytes()) {
        if (std::optional<std::string> data = encodeKeepingBytes(document, mark, progress))
            return {std::move(*data), document.encoding, std::nullopt};
        return fallBackToUTF8(document, progress);
    }
    if (document.encoding == TextEncoding::utf8) {
        // UTF-8 text is the output itself: render straight after the mark, no conversion.
        std::string data;
        data.reserve(mark.size() + estimatedSize(document));
        data += mark;
        renderInto(document, data, progress, 0, 1);
        return {std::move(data), TextEncoding::utf8, std::nullopt};
    }
    // Rendering is the first half of the work and converting the text the second.
    const std::string text = renderText(document, progress, 0, 0.5);
    if (std::optional<std::string> encoded = TextEncodings::encode(text, document.encoding)) {
        if (progress)
            progress({writingStage, 1.0});
        if (mark.empty())
            return {std::move(*encoded), document.encoding, std::nullopt};
        std::string data(mark);
        data += *encoded;
        return {std::move(data), document.encoding, std::nullopt};
    }

    return fallBackToUTF8(document, progress);
}

} // namespace kinloom::GedcomWriter
