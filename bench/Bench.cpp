// SPDX-License-Identifier: GPL-3.0-or-later
// Benchmarks on synthetic trees, or on files named: the bare splitter's time as the yardstick,
// reading throughput, peak memory while reading, indexing, each check on its own and the whole scan,
// the report, the cost of copying a document and writing it back, and on large trees applying a
// batch of date fixes and merging a batch of people. Each read runs in a fresh process of this program so
// that its peak memory is its own.
#include "Measure.h"

#include "changes/FixApplier.h"
#include "checks/Checks.h"
#include "checks/Scanner.h"
#include "document/Files.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "document/TextEncoding.h"
#include "family/TreeIndex.h"
#include "output/Report.h"
#include "sample/SampleTree.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <malloc.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace kinloom;
using namespace kinloom::bench;

namespace {

/// Resident memory now, in megabytes (10^6 bytes, as file sizes are given).
double residentMegabytes()
{
    long pages = 0, resident = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(statm);
    }
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Heap memory in use now, in megabytes: what a new value holds even when it reuses memory freed
/// earlier, which resident memory does not show.
double heapMegabytes()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / 1e6;
}

/// Applies 100,000 date fixes as one batch: the time, and the memory the new document adds (only
/// the records touched should cost anything).
void applyDateFixes(const GedcomDocument& document)
{
    std::vector<NodeView> dates;
    document.walk([&](NodeView node) {
        if (node.tag() == "DATE" && node.value())
            dates.push_back(node);
    });
    constexpr std::size_t wanted = 100'000;
    if (dates.size() < wanted)
        return;
    std::vector<Fix> fixes;
    fixes.reserve(wanted);
    const std::size_t step = dates.size() / wanted;
    for (std::size_t i = 0; i < wanted; ++i) {
        const NodeView date = dates[i * step];
        const std::string value(*date.value());
        fixes.push_back({"date-" + std::to_string(date.id()),
                         "Write as ABT",
                         {Edit{Edit::SetValue{date.id(), value, "ABT " + value}}},
                         {},
                         false});
    }
    dates = {};
    const double heapBefore = heapMegabytes();
    const double residentBefore = residentMegabytes();
    const auto start = Clock::now();
    const ApplyResult result = FixApplier::apply(fixes, document, 1);
    const double seconds = secondsSince(start);
    std::printf("  apply  %7.3f s   %zu date fixes, %zu applied  +%.0f MB in use (resident +%.0f MB)\n",
                seconds, fixes.size(), result.entries.size(), heapMegabytes() - heapBefore,
                residentMegabytes() - residentBefore);
}

/// Merges 10,000 pairs of neighbouring people, spread over the file, as one batch.
void mergePeople(const GedcomDocument& document)
{
    std::vector<std::string> people;
    for (NodeView record : document.records()) {
        if (record.tag() == "INDI" && record.xref())
            people.emplace_back(*record.xref());
    }
    constexpr std::size_t wanted = 10'000;
    if (people.size() < 2 * wanted)
        return;
    std::vector<Fix> fixes;
    fixes.reserve(wanted);
    const std::size_t step = people.size() / wanted;
    for (std::size_t i = 0; i < wanted; ++i) {
        const std::string& keep = people[i * step];
        const std::string& remove = people[i * step + 1];
        fixes.push_back({"dup-" + keep, "Merge", {Edit{Edit::Merge{keep, remove}}}, {}, true});
    }
    const auto start = Clock::now();
    const ApplyResult result = FixApplier::apply(fixes, document, 1);
    std::printf("  merge  %7.3f s   %zu pairs, %zu merged\n", secondsSince(start), fixes.size(),
                result.entries.size());
}

/// "(1.62x the splitter)", when the splitter's time is known.
std::string againstSplitter(double seconds, double splitterSeconds)
{
    if (splitterSeconds <= 0)
        return {};
    char text[48];
    std::snprintf(text, sizeof text, "(%.2fx the splitter)", seconds / splitterSeconds);
    return text;
}

/// Times one check on its own, on the calling thread.
template <class Check>
void timeCheck(const char* name, Check check)
{
    const auto start = Clock::now();
    const std::size_t found = check().size();
    std::printf("    %-15s %7.3f s   %zu findings\n", name, secondsSince(start), found);
}

/// In a child process: read the file, copy the document, index it, run each check on its own and
/// all of them as `check` does, make the report, and write the document back.
int readOne(const std::string& path, double splitterSeconds)
{
    std::string error;
    auto bytes = Files::readFile(path, error);
    if (!bytes) {
        std::fprintf(stderr, "cannot read %s: %s\n", path.c_str(), error.c_str());
        return 1;
    }
    const double megabytes = static_cast<double>(bytes->size()) / 1e6;
    auto start = Clock::now();
    GedcomDocument document = GedcomReader::read(std::move(*bytes));
    const double readSeconds = secondsSince(start);
    const double readPeak = peakMegabytes();
    const double documentMegabytes = residentMegabytes();
    std::printf("%9.1f MB, %lld lines, %s\n", megabytes, static_cast<long long>(document.nextID - 1),
                displayName(document.encoding).data());
    std::printf("  read   %7.3f s  %5.0f MB/s   peak %6.0f MB (%.2fx the file) %s\n", readSeconds,
                megabytes / readSeconds, readPeak, readPeak / megabytes,
                againstSplitter(readSeconds, splitterSeconds).c_str());

    start = Clock::now();
    GedcomDocument copy = document;
    std::printf("  copy   %7.3f ms\n", secondsSince(start) * 1e3);

    start = Clock::now();
    std::size_t people = 0;
    {
        const TreeIndex index = TreeIndex::build(copy);
        const double indexSeconds = secondsSince(start);
        people = index.people.size();
        std::printf("  index  %7.3f s   %zu people, %zu families  +%.0f MB (%.2fx the document's %.0f MB)\n",
                    indexSeconds, index.people.size(), index.families.size(),
                    residentMegabytes() - documentMegabytes,
                    (residentMegabytes() - documentMegabytes) / documentMegabytes, documentMegabytes);
        std::printf("  read and index %7.3f s %s\n", readSeconds + indexSeconds,
                    againstSplitter(readSeconds + indexSeconds, splitterSeconds).c_str());
        std::printf("  each check on one thread:\n");
        const ScanOptions options;
        timeCheck("impossible", [&] { return Checks::impossibleDates(index, options); });
        timeCheck("places", [&] { return Checks::places(copy); });
        timeCheck("missing", [&] { return Checks::missing(index, copy); });
        timeCheck("links", [&] { return Checks::links(index, copy); });
        timeCheck("duplicates", [&] { return Checks::duplicates(index, copy, options); });
    }

    start = Clock::now();
    {
        const ScanResult result = Scanner::scan(copy);
        const double scanSeconds = secondsSince(start);
        const double scanPeak = peakMegabytes();
        std::printf("  scan   %7.3f s   %zu findings   peak %6.0f MB (%.2fx the document)\n", scanSeconds,
                    result.issues.size(), scanPeak, scanPeak / documentMegabytes);
        std::printf("  read and scan  %7.3f s %s\n", readSeconds + scanSeconds,
                    againstSplitter(readSeconds + scanSeconds, splitterSeconds).c_str());
        start = Clock::now();
        const std::string report = Report::reportText(result, path, std::chrono::system_clock::now());
        std::printf("  report %7.3f s   %.1f MB of text\n", secondsSince(start),
                    static_cast<double>(report.size()) / 1e6);
    }

    if (people >= 100'000) {
        applyDateFixes(copy);
        mergePeople(copy);
    }

    // The first write pays for the kernel handing out fresh pages for the output; the second reuses
    // them, which is what a session saving more than once sees. Both are shown.
    for (const char* label : {"write ", "again "}) {
        start = Clock::now();
        const GedcomWriter::Output output = GedcomWriter::write(copy);
        const double seconds = secondsSince(start);
        std::printf("  %s %7.3f s  %5.0f MB/s   %s\n", label, seconds,
                    static_cast<double>(output.data.size()) / 1e6 / seconds,
                    displayName(output.encoding).data());
    }
    return 0;
}

/// Runs the bare splitter beside this program on the file, in a process of its own, and passes on
/// what it prints; its time in seconds, or 0 when it could not run.
double runSplitter(const char* self, const std::string& path)
{
    const std::string splitter =
        (std::filesystem::path(self).parent_path() / "kinloom-bench-splitter").string();
    std::fflush(stdout);
    FILE* out = popen(("'" + splitter + "' '" + path + "'").c_str(), "r");
    if (!out)
        return 0;
    char line[256] = {};
    double seconds = 0;
    if (std::fgets(line, sizeof line, out)) {
        std::printf("  %s", line);
        if (const char* in = std::strstr(line, " in "))
            seconds = std::strtod(in + 4, nullptr);
    }
    pclose(out);
    return seconds;
}

void runChild(const char* self, const std::string& path)
{
    const std::string splitterSeconds = std::to_string(runSplitter(self, path));
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        execl(self, self, "--read-one", path.c_str(), splitterSeconds.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
}

std::string withCharLine(std::string text, const std::string& charValue)
{
    const std::string from = "1 CHAR UTF-8\n";
    const std::size_t at = text.find(from);
    if (at != std::string::npos)
        text.replace(at, from.size(), "1 CHAR " + charValue + "\n");
    return text;
}

} // namespace

/// Reads and writes every file of a folder, as a user opening and saving each would.
int corpusRoundTrip(const std::string& folder)
{
    double seconds = 0;
    double megabytes = 0;
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::string error;
        auto bytes = Files::readFile(entry.path().string(), error);
        if (!bytes || !(entry.path().extension() == ".ged" || entry.path().extension() == ".GED"))
            continue;
        megabytes += static_cast<double>(bytes->size()) / 1e6;
        const auto start = Clock::now();
        const GedcomWriter::Output output = GedcomWriter::write(GedcomReader::read(std::move(*bytes)));
        seconds += secondsSince(start);
        ++files;
    }
    std::printf("Corpus: read and wrote %d files (%.1f MB) in %.3f s\n", files, megabytes, seconds);
    return 0;
}

int main(int argc, char** argv)
{
    if ((argc == 3 || argc == 4) && std::string(argv[1]) == "--read-one")
        return readOne(argv[2], argc == 4 ? std::strtod(argv[3], nullptr) : 0.0);
    if (argc == 3 && std::string(argv[1]) == "--corpus")
        return corpusRoundTrip(argv[2]);

    std::printf("Each file in a fresh process, after the bare splitter on it: read (decode + parse + tree),\n"
                "copy, index, each check, scan, report, apply and merge (from 100,000 people), write.\n");
    std::vector<std::size_t> sizes{10'000, 100'000, 1'000'000};
    if (argc > 1) {
        sizes.clear();
        for (int i = 1; i < argc; ++i) {
            // A file of one's own, a real tree, is measured as it is.
            if (std::filesystem::is_regular_file(argv[i])) {
                std::printf("%s:\n", argv[i]);
                runChild(argv[0], argv[i]);
            } else {
                sizes.push_back(std::strtoull(argv[i], nullptr, 10));
            }
        }
    }
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("kinloom-bench-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);

    for (std::size_t people : sizes) {
        const auto start = Clock::now();
        std::string text = SampleTree::syntheticText(people, 1);
        std::printf("%zu people (generated in %.2f s):\n", people, secondsSince(start));
        const std::string path = (folder / ("utf8-" + std::to_string(people) + ".ged")).string();
        if (auto error = Files::writeNewFile(path, text)) {
            std::fprintf(stderr, "%s\n", error->c_str());
            return 1;
        }
        runChild(argv[0], path);
        std::filesystem::remove(path);

        if (people != 100'000)
            continue;
        for (auto [encoding, charValue] :
             {std::pair{TextEncoding::windows1252, "ANSI"}, std::pair{TextEncoding::ansel, "ANSEL"}}) {
            const auto encoded = TextEncodings::encode(withCharLine(text, charValue), encoding);
            if (!encoded) {
                std::fprintf(stderr, "the synthetic tree has no %s form\n", displayName(encoding).data());
                continue;
            }
            const std::string variant = (folder / (std::string(rawValue(encoding)) + ".ged")).string();
            if (auto error = Files::writeNewFile(variant, *encoded)) {
                std::fprintf(stderr, "%s\n", error->c_str());
                return 1;
            }
            runChild(argv[0], variant);
            std::filesystem::remove(variant);
        }
    }
    std::filesystem::remove_all(folder);
    return 0;
}
