// SPDX-License-Identifier: GPL-3.0-or-later
// The reader's promises on any bytes: no crash, ids 1..n in line order, nextID = lines + 1, and
// the nodes render back to the decoded text line for line. The writer's: a document saved without
// edits gives back the bytes it was read from with only the line breaks made uniform, and after
// one edit the same everywhere but the edited line.
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "document/TextEncoding.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void require(bool condition, const char* promise)
{
    if (!condition) {
        std::fprintf(stderr, "reader promise broken: %s\n", promise);
        std::abort();
    }
}

/// The lines of a file's bytes (after any byte-order mark), split at LF, CRLF, CR and LF CR, in bytes or
/// in the two-byte units of UTF-16.
std::vector<std::string> byteLines(std::string_view bytes, kinloom::TextEncoding encoding,
                                   bool& endsWithBreak)
{
    const bool utf16 =
        encoding == kinloom::TextEncoding::utf16LE || encoding == kinloom::TextEncoding::utf16BE;
    const std::size_t unit = utf16 ? 2 : 1;
    const auto valueAt = [&](std::size_t i) -> unsigned {
        const auto* p = reinterpret_cast<const unsigned char*>(bytes.data() + i);
        if (!utf16)
            return p[0];
        return encoding == kinloom::TextEncoding::utf16BE ? (p[0] << 8) | p[1] : (p[1] << 8) | p[0];
    };
    std::vector<std::string> lines;
    endsWithBreak = false;
    std::size_t start = 0;
    std::size_t i = 0;
    while (i + unit <= bytes.size()) {
        const unsigned value = valueAt(i);
        if (value != '\n' && value != '\r') {
            i += unit;
            continue;
        }
        lines.emplace_back(bytes.substr(start, i - start));
        const bool pair = i + 2 * unit <= bytes.size() && valueAt(i + unit) == (value == '\r' ? '\n' : '\r');
        i += (pair ? 2 : 1) * unit;
        start = i;
        endsWithBreak = true;
    }
    if (start < bytes.size()) {
        lines.emplace_back(bytes.substr(start));
        endsWithBreak = false;
    }
    return lines;
}

std::string_view withoutMark(std::string_view bytes, const kinloom::GedcomDocument& document)
{
    if (!document.hasBOM)
        return bytes;
    return bytes.substr(document.encoding == kinloom::TextEncoding::utf8 ? 3 : 2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace kinloom;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const GedcomDocument document = GedcomReader::read(bytes);
    const TextEncodings::DecodedText decoded = TextEncodings::decode(bytes);
    const GedcomReader::SplitText split = GedcomReader::splitLines(decoded.text);

    require(document.nextID == static_cast<std::int64_t>(split.lines.size()) + 1, "nextID is lines + 1");
    std::int64_t expectedID = 1;
    document.walk([&](NodeView node, int depth) {
        require(node.id() == expectedID, "ids are 1..n in line order");
        const std::size_t index = static_cast<std::size_t>(expectedID - 1);
        require(index < split.lines.size(), "no more nodes than lines");
        if (node.raw()) {
            require(*node.raw() == split.lines[index], "raw is the line as read");
        } else {
            require(node.lines(depth).front() == split.lines[index], "rendered node is the line as read");
        }
        if (!node.isMalformed()) {
            const auto line = GedcomReader::parseLine(split.lines[index]);
            require(line && line->tag == node.tag() && line->value == node.value() &&
                        line->xref == node.xref(),
                    "fields are the parsed line's");
        }
        ++expectedID;
    });
    require(expectedID == document.nextID, "every line became a node");

    // Saved unchanged: the same bytes, line for line.
    bool inputEnds = false;
    const std::vector<std::string> input =
        byteLines(withoutMark(bytes, document), document.encoding, inputEnds);
    const GedcomWriter::Output output = GedcomWriter::write(document);
    require(output.encoding == document.encoding && !output.note, "an unchanged file keeps its encoding");
    bool outputEnds = false;
    require(byteLines(withoutMark(output.data, document), document.encoding, outputEnds) == input &&
                outputEnds == inputEnds,
            "an unchanged file is saved as the bytes it was read from");

    // One line edited, chosen by the input, to a value every encoding can write. Its xref and tag
    // stay and are written as text, so only lines whose xref and tag have a form in the encoding
    // can promise to keep it (a byte with no character in a tag is bytes no program wrote).
    std::vector<std::int64_t> editable;
    document.walk([&](NodeView node) {
        if (!node.isMalformed() &&
            TextEncodings::encode(std::string(node.xref().value_or("")) + std::string(node.tag()),
                                  document.encoding))
            editable.push_back(node.id());
    });
    if (editable.empty())
        return 0;
    const std::int64_t edited = editable[size % editable.size()];
    GedcomDocument changed = document;
    changed.update(edited, [](GedcomNode& node) { node.setValue("x"); });
    const GedcomWriter::Output afterEdit = GedcomWriter::write(changed);
    require(afterEdit.encoding == document.encoding, "an edit every encoding can write keeps the encoding");
    const std::vector<std::string> saved =
        byteLines(withoutMark(afterEdit.data, document), document.encoding, outputEnds);
    require(saved.size() == input.size(), "an edit keeps the number of lines");
    for (std::size_t i = 0; i < saved.size(); ++i)
        require(static_cast<std::int64_t>(i) + 1 == edited || saved[i] == input[i],
                "an edit changes only its own line");
    return 0;
}
