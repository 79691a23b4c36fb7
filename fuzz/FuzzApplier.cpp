// SPDX-License-Identifier: GPL-3.0-or-later
// The applier's promises on any document: applying every fix of a scan leaves the given document
// as it was, each fix is applied or reported skipped exactly once, the result can be written and
// read back, and applying the same batch to the result changes nothing more (unless records share
// an ID: merging one of them leaves the other for the next batch).
#include "changes/FixApplier.h"
#include "checks/Scanner.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>

namespace {

void require(bool condition, const char* promise)
{
    if (!condition) {
        std::fprintf(stderr, "applier promise broken: %s\n", promise);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace kinloom;
    const GedcomDocument document =
        GedcomReader::read(std::string(reinterpret_cast<const char*>(data), size));
    const GedcomDocument before = document;
    std::vector<Fix> fixes;
    bool sharedIDs = false;
    for (const Issue& issue : Scanner::scan(document, {}, 1).issues) {
        sharedIDs = sharedIDs || issue.id.starts_with("link-dupid-");
        if (issue.fix)
            fixes.push_back(*issue.fix);
    }

    const ApplyResult result = FixApplier::apply(fixes, document, 1);
    require(document == before, "the given document is not changed");
    std::set<std::string> ids;
    for (const Fix& fix : fixes)
        ids.insert(fix.id);
    require(result.entries.size() <= ids.size(), "at most one entry per fix id");
    for (std::size_t i = 0; i < result.entries.size(); ++i)
        require(result.entries[i].id == static_cast<std::int64_t>(i) + 1, "entry ids run on from firstID");

    const GedcomWriter::Output output = GedcomWriter::write(result.document);
    const GedcomDocument reread = GedcomReader::read(output.data);
    require(GedcomWriter::write(reread).data == output.data, "the result reads back to the same bytes");

    if (!sharedIDs) {
        const ApplyResult again = FixApplier::apply(fixes, result.document, 1);
        require(GedcomWriter::write(again.document).data == output.data, "applying again changes nothing");
    }
    return 0;
}
