#include "document/GedcomWriter.h"

#include <charconv>

namespace kinloom::GedcomWriter {
namespace {

constexpr const char* writingStage = "Writing the cleaned copy\u2026";

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
        if (const auto raw = node.raw()) {
            out += *raw;
            return;
        }
        // Levels come from the tree, so a moved or added line is written at its true depth.
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
    });
    if (!first && document.endsWithNewline)
        out += ending;
    meter.finish();
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

} // namespace

std::string render(const GedcomDocument& document)
{
    return renderText(document);
}

Output write(const GedcomDocument& document, const ProgressCallback& progress)
{
    const std::string_view mark = document.hasBOM ? byteOrderMark(document.encoding) : std::string_view();
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

    // Some text has no form in the file's encoding: save everything as UTF-8 instead, and make the
    // header's CHAR line say so, on a copy.
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

} // namespace kinloom::GedcomWriter
