// The reader's promises on any bytes: no crash, ids 1..n in line order, nextID = lines + 1, and
// the nodes render back to the decoded text line for line.
#include "document/GedcomReader.h"
#include "document/TextEncoding.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char* promise)
{
    if (!condition) {
        std::fprintf(stderr, "reader promise broken: %s\n", promise);
        std::abort();
    }
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
    return 0;
}
