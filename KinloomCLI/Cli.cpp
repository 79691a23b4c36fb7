// SPDX-License-Identifier: GPL-3.0-or-later
#include "KinloomCLI/Cli.h"

#include "KinloomPdf/PdfRenderer.h"
#include "changes/FixApplier.h"
#include "checks/Scanner.h"
#include "decisions/Decisions.h"
#include "document/Files.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "document/Progress.h"
#include "family/TreeIndex.h"
#include "output/Report.h"
#include "sample/SampleTree.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

namespace kinloom::Cli {
namespace {

constexpr const char* usageText =
    "usage: kinloom-cli info FILE [--json] [--encoding NAME] [--threads N]\n"
    "       kinloom-cli check FILE [--json] [--report OUT.txt|OUT.pdf] [OPTIONS] [--fail-on warning|error]\n"
    "       kinloom-cli tidy FILE [--out DIR] [--fix WHAT] [--changelog txt|pdf] [OPTIONS]\n"
    "       kinloom-cli sample OUT.ged [--people N] [--seed S]\n"
    "       kinloom-cli dismiss|undismiss FILE ID... [OPTIONS]\n"
    "       kinloom-cli kinds\n"
    "       kinloom-cli --help | --version | COMMAND --help\n"
    "OPTIONS: --numeric-order auto|day-first|month-first  --min-parent-age N  --max-mother-age N\n"
    "         --max-father-age N  --max-lifespan N  --duplicate-threshold X  --encoding NAME\n"
    "         --threads N\n"
    "         --skip KIND,\u2026 leaves those kinds of finding out (may be repeated; kinds lists them)\n"
    "WHAT:    none (default) | all | a comma list of categories (duplicates, impossibleDates,\n"
    "         dateFormats, places, missing, links, file) and/or fix ids; --fix may be given more\n"
    "         than once, and a value that is exactly one of the file\u2019s fix ids is not split\n"
    "DECISIONS: dismiss marks findings (ids as check --json lists them) as not a problem; check and\n"
    "         tidy leave them out (tidy applies their fixes only when named by id) until a record they\n"
    "         name changes. --show-dismissed lists them; --decisions STORE keeps them in STORE instead\n"
    "         of the user\u2019s data folder\n"
    "Exit status: 0 done, 1 check --fail-on found a finding that severe, 2 a wrong command line or an\n"
    "         output that cannot be written, 3 a file that cannot be read or is not a GEDCOM file.\n";

constexpr const char* scanOptionsHelp =
    "\nOPTIONS, which set how FILE is scanned (the defaults in brackets):\n"
    "  --numeric-order auto|day-first|month-first\n"
    "                           how dates such as 03/04/1890 are read [auto: as the file\u2019s other dates "
    "show]\n"
    "  --min-parent-age N       the youngest a parent can be at a child\u2019s birth, in years [12]\n"
    "  --max-mother-age N       the oldest a mother can be at a child\u2019s birth [55]\n"
    "  --max-father-age N       the oldest a father can be at a child\u2019s birth [80]\n"
    "  --max-lifespan N         the longest a life can be [120]\n"
    "  --duplicate-threshold X  how sure, from 0 to 1, a likely duplicate must be to be reported [0.65]\n"
    "  --encoding NAME          read FILE in encoding NAME (UTF-8, ANSEL, Windows-1252, CP1251 \u2026, in "
    "any\n"
    "                           case) instead of the one it declares\n"
    "  --skip KIND,\u2026            leave these kinds of finding out; may be repeated; kinloom-cli kinds "
    "lists them\n"
    "  --threads N              read and check FILE on N threads [every core]; the results are the same\n";

/// One command's help: its usage lines, what it does and its own options, whether the scan's
/// options apply, and examples.
struct CommandHelp
{
    std::string_view usage;
    std::string_view about;
    bool scans;
    std::string_view examples;
};

const CommandHelp decideHelp = {
    "usage: kinloom-cli dismiss FILE ID... [OPTIONS]\n"
    "       kinloom-cli undismiss FILE ID... [OPTIONS]\n",
    "dismiss marks findings of FILE, named by their ids as check --json lists them, as not a problem:\n"
    "check and tidy leave them out until a record they name changes. undismiss brings them back.\n\n"
    "  --decisions STORE  keep the decisions in the file STORE instead of the user\u2019s data folder\n",
    true,
    "  kinloom-cli dismiss tree.ged imp-alive-@I51@\n"
    "  kinloom-cli undismiss tree.ged imp-alive-@I51@\n"};

const std::map<std::string, CommandHelp, std::less<>> commandHelps = {
    {"info",
     {"usage: kinloom-cli info FILE [--json] [--encoding NAME] [--threads N]\n",
      "Prints what reading FILE showed: its GEDCOM version, encoding, byte-order mark, line ending,\n"
      "lines, records and reading notes.\n\n"
      "  --json           print it as one JSON document\n"
      "  --encoding NAME  read FILE in encoding NAME (UTF-8, ANSEL, Windows-1252, CP1251 \u2026, in any\n"
      "                   case) instead of the one it declares\n",
      false,
      "  kinloom-cli info tree.ged\n"
      "  kinloom-cli info old.ged --encoding ANSEL --json\n"}},
    {"check",
     {"usage: kinloom-cli check FILE [--json] [--report OUT.txt|OUT.pdf] [OPTIONS] [--fail-on "
      "warning|error]\n",
      "Scans FILE and prints the findings report.\n\n"
      "  --json                    print the findings as one JSON document, each with its id and fix\n"
      "  --report OUT.txt|OUT.pdf  write the report to the new file OUT.txt, or as pages to OUT.pdf\n"
      "  --fail-on warning|error   exit with status 1 when a finding is that severe or worse\n"
      "  --show-dismissed          list the findings dismissed earlier too, marked as dismissed\n"
      "  --decisions STORE         read the dismissed findings from STORE instead of the user\u2019s data "
      "folder\n",
      true,
      "  kinloom-cli check tree.ged\n"
      "  kinloom-cli check tree.ged --report \"tree report.pdf\" --numeric-order day-first\n"
      "  kinloom-cli check tree.ged --skip dup,dupfam --fail-on error\n"}},
    {"tidy",
     {"usage: kinloom-cli tidy FILE [--out DIR] [--fix WHAT] [--changelog txt|pdf] [OPTIONS]\n",
      "Applies the chosen fixes to a copy of FILE, saved as \u201CNAME (tidied).ged\u201D beside FILE with "
      "its\n"
      "change log; FILE and other existing files are never written over.\n\n"
      "  --out DIR            save the copy and its change log in DIR\n"
      "  --fix WHAT           none (the default), all, or a comma list of categories (duplicates,\n"
      "                       impossibleDates, dateFormats, places, missing, links, file) and fix ids as\n"
      "                       check --json lists them; may be given more than once. all and the categories\n"
      "                       take the fixes that need no review; one that does is applied when named by id\n"
      "  --changelog txt|pdf  write the change log as text [txt] or PDF\n"
      "  --show-dismissed     list the findings dismissed earlier\n"
      "  --decisions STORE    read the dismissed findings from STORE instead of the user\u2019s data "
      "folder\n",
      true,
      "  kinloom-cli tidy tree.ged --fix dateFormats,places\n"
      "  kinloom-cli tidy tree.ged --fix all --out cleaned --changelog pdf\n"}},
    {"sample",
     {"usage: kinloom-cli sample OUT.ged [--people N] [--seed S]\n",
      "Writes the sample tree, with a planted problem of every kind, to the new file OUT.ged.\n\n"
      "  --people N  write a synthetic tree of N people instead\n"
      "  --seed S    which synthetic tree of that size, a whole number [1]\n",
      false,
      "  kinloom-cli sample \"Sample Tree.ged\"\n"
      "  kinloom-cli sample big.ged --people 100000\n"}},
    {"dismiss", decideHelp},
    {"undismiss", decideHelp},
    {"kinds",
     {"usage: kinloom-cli kinds\n",
      "Lists every kind of finding, one a line: its id (what --skip takes), its category and its title.\n",
      false, "  kinloom-cli kinds\n"}},
};

/// A command's usage lines and where to read more, for a command line it refused.
std::string commandUsage(std::string_view command)
{
    const auto help = commandHelps.find(command);
    if (help == commandHelps.end())
        return usageText;
    return std::string(help->second.usage) + "kinloom-cli " + std::string(command) +
           " --help shows its options and examples.\n";
}

std::string commandHelp(const CommandHelp& help)
{
    return std::string(help.usage) + "\n" + std::string(help.about) + (help.scans ? scanOptionsHelp : "") +
           "\nExamples:\n" + std::string(help.examples);
}

/// A command's arguments: positional ones in order, options by name ("--json" → "" when a flag),
/// and the values of options that may be repeated, in order.
struct Arguments
{
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
    std::map<std::string, std::vector<std::string>> repeated;
};

/// Options whose values add up rather than replace each other.
const std::set<std::string> repeatableOptions = {"--fix", "--skip"};

/// Splits a command's arguments (after the command's name) by the options it knows. Every command
/// takes one file; an unknown option, a missing value or another number of files is an error.
std::optional<Arguments> parseArguments(const std::vector<std::string>& arguments,
                                        const std::map<std::string, bool>& known, std::ostream& err,
                                        bool idsAfterFile = false)
{
    Arguments parsed;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        // "-" alone is a file name (standard input or output, to whoever reads it).
        if (!argument.starts_with("-") || argument == "-") {
            parsed.positional.push_back(argument);
            continue;
        }
        const auto option = known.find(argument);
        if (option == known.end()) {
            err << "kinloom-cli: unknown option " << argument << "\n" << commandUsage(arguments[0]);
            return std::nullopt;
        }
        if (!option->second) {
            parsed.options[argument] = "";
            continue;
        }
        if (i + 1 == arguments.size()) {
            err << "kinloom-cli: " << argument << " needs a value\n" << commandUsage(arguments[0]);
            return std::nullopt;
        }
        const std::string& value = arguments[++i];
        if (repeatableOptions.contains(argument)) {
            parsed.repeated[argument].push_back(value);
        } else if (!parsed.options.emplace(argument, value).second) {
            err << "kinloom-cli: " << argument << " can be given only once\n" << commandUsage(arguments[0]);
            return std::nullopt;
        }
    }
    if (idsAfterFile ? parsed.positional.size() < 2 : parsed.positional.size() != 1) {
        err << commandUsage(arguments[0]);
        return std::nullopt;
    }
    return parsed;
}

std::optional<std::uint64_t> parseCount(const std::string& text)
{
    std::uint64_t value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

/// The options that set a scan's thresholds, each taking a value; for commands that scan. The
/// encoding to read the file in goes with them.
const std::map<std::string, bool> scanOptionFlags = {
    {"--numeric-order", true},  {"--min-parent-age", true}, {"--max-mother-age", true},
    {"--max-father-age", true}, {"--max-lifespan", true},   {"--duplicate-threshold", true},
    {"--encoding", true},       {"--skip", true},           {"--threads", true},
};

/// How to read the file: in the encoding --encoding names, or as the file says; none after saying
/// that the name is unknown.
std::optional<GedcomReader::ReadOptions> readOptions(const Arguments& parsed, std::ostream& err)
{
    GedcomReader::ReadOptions options;
    if (const auto threads = parsed.options.find("--threads"); threads != parsed.options.end()) {
        unsigned count = 0;
        const std::string& text = threads->second;
        const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), count);
        if (ec != std::errc() || end != text.data() + text.size() || count == 0 || count > 1024) {
            err << "kinloom-cli: --threads needs a whole number from 1 to 1024, not \u201C" << text
                << "\u201D\n";
            return std::nullopt;
        }
        options.threads = count;
    }
    const auto option = parsed.options.find("--encoding");
    if (option == parsed.options.end())
        return options;
    options.encoding = textEncodingFromUserName(option->second);
    if (!options.encoding) {
        err << "Kinloom doesn\u2019t know the encoding \u201C" << option->second << "\u201D. Use one of ";
        for (std::size_t i = 0; i < allTextEncodings.size(); ++i) {
            const TextEncoding encoding = allTextEncodings[i];
            // The two UTF-16s share a short name; their converter names tell them apart.
            const std::string_view name = encoding == TextEncoding::utf16LE   ? "UTF-16LE"
                                          : encoding == TextEncoding::utf16BE ? "UTF-16BE"
                                                                              : shortName(encoding);
            err << (i == 0 ? "" : i + 1 == allTextEncodings.size() ? " or " : ", ") << name;
        }
        err << " (in any case), or a converter\u2019s name such as CP1251.\n";
        return std::nullopt;
    }
    return options;
}

/// Known options: the command's own and the scan options.
std::map<std::string, bool> withScanOptions(std::map<std::string, bool> own)
{
    own.insert(scanOptionFlags.begin(), scanOptionFlags.end());
    return own;
}

std::optional<double> parseNumber(const std::string& text, double lowest, double highest)
{
    double value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size() || !std::isfinite(value) || value < lowest ||
        value > highest)
        return std::nullopt;
    return value;
}

/// The scan's thresholds from the command line, the defaults where an option is not given, or
/// none after saying which value was wrong.
std::optional<ScanOptions> scanOptions(const Arguments& parsed, std::ostream& err)
{
    ScanOptions options;
    options.currentYear = Scanner::currentYear();
    if (const auto option = parsed.options.find("--numeric-order"); option != parsed.options.end()) {
        static const std::map<std::string, NumericDateOrder> orders = {
            {"auto", NumericDateOrder::automatic},
            {"day-first", NumericDateOrder::dayFirst},
            {"month-first", NumericDateOrder::monthFirst},
        };
        const auto order = orders.find(option->second);
        if (order == orders.end()) {
            err << "kinloom-cli: --numeric-order needs auto, day-first or month-first\n";
            return std::nullopt;
        }
        options.numericOrder = order->second;
    }
    struct Threshold
    {
        const char* flag;
        double ScanOptions::*field;
        double highest;
        const char* needs;
    };
    constexpr double years = 1000;
    const Threshold thresholds[] = {
        {"--min-parent-age", &ScanOptions::minParentAge, years, "a number of years"},
        {"--max-mother-age", &ScanOptions::maxMotherAge, years, "a number of years"},
        {"--max-father-age", &ScanOptions::maxFatherAge, years, "a number of years"},
        {"--max-lifespan", &ScanOptions::maxLifespan, years, "a number of years"},
        {"--duplicate-threshold", &ScanOptions::duplicateThreshold, 1, "a score from 0 to 1"},
    };
    for (const Threshold& threshold : thresholds) {
        const auto option = parsed.options.find(threshold.flag);
        if (option == parsed.options.end())
            continue;
        const std::optional<double> value = parseNumber(option->second, 0, threshold.highest);
        if (!value) {
            err << "kinloom-cli: " << threshold.flag << " needs " << threshold.needs << ", not \u201C"
                << option->second << "\u201D\n";
            return std::nullopt;
        }
        options.*threshold.field = *value;
    }
    if (const auto skip = parsed.repeated.find("--skip"); skip != parsed.repeated.end()) {
        for (const std::string& list : skip->second) {
            for (std::size_t start = 0; start <= list.size();) {
                const std::size_t end = std::min(list.find(',', start), list.size());
                const std::string kind = list.substr(start, end - start);
                start = end + 1;
                const auto kinds = allFindingKinds();
                if (std::none_of(kinds.begin(), kinds.end(),
                                 [&](const FindingKind& known) { return known.id == kind; })) {
                    err << "kinloom-cli: --skip names \u201C" << kind
                        << "\u201D, which is not a kind of finding; kinloom-cli kinds lists them\n";
                    return std::nullopt;
                }
                options.skippedKinds.push_back(kind);
            }
        }
        std::sort(options.skippedKinds.begin(), options.skippedKinds.end());
        options.skippedKinds.erase(std::unique(options.skippedKinds.begin(), options.skippedKinds.end()),
                                   options.skippedKinds.end());
    }
    return options;
}

std::string_view lineEndingName(std::string_view ending)
{
    if (ending == "\r\n")
        return "CRLF";
    if (ending == "\r")
        return "CR";
    if (ending == "\n\r")
        return "LF CR";
    return "LF";
}

/// The progress of a command on a large file, shown on the terminal as one line that each stage
/// overwrites ("Checking place names… 33%") and that is cleared before anything else is printed.
class ProgressLine
{
public:
    ProgressLine(const ProgressTerminal& terminal, const std::string& path)
    {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(path, error);
        if (terminal.stream && !error && size > terminal.minimumFileSize)
            m_stream = terminal.stream;
    }
    ~ProgressLine() { clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// A callback that shows the engine's progress here, under another stage text when one is
    /// given; none when nothing is shown, so that the engine does no work for it.
    ProgressCallback callback(std::string stage = {})
    {
        if (!m_stream)
            return {};
        return [this, stage = std::move(stage)](const Progress& progress) {
            show(stage.empty() ? progress : Progress{stage, progress.fraction});
        };
    }

    void show(const Progress& progress)
    {
        if (!m_stream)
            return;
        std::string line = progress.stage;
        if (progress.fraction)
            line += " " + std::to_string(static_cast<int>(*progress.fraction * 100)) + "%";
        if (line == m_shown)
            return;
        // Back to the line's start and erase it, so a shorter line leaves nothing of a longer one.
        *m_stream << "\r\x1B[K" << line << std::flush;
        m_shown = std::move(line);
    }

    void clear()
    {
        if (!m_stream || m_shown.empty())
            return;
        *m_stream << "\r\x1B[K" << std::flush;
        m_shown.clear();
    }

private:
    std::ostream* m_stream = nullptr;
    std::string m_shown;
};

/// A file's name for a progress line: long names are shortened, so that the line fits on one row
/// of the terminal and is overwritten whole.
std::string shortName(const std::string& name)
{
    constexpr std::size_t longest = 40;
    std::size_t characters = 0;
    std::size_t cut = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if ((static_cast<unsigned char>(name[i]) & 0xC0) == 0x80)
            continue;
        if (characters == longest - 1)
            cut = i;
        if (++characters > longest)
            return name.substr(0, cut) + "\u2026";
    }
    return name;
}

/// Reads and parses a file, or says why not in the app's own words.
std::optional<GedcomDocument> openDocument(const std::string& path, const GedcomReader::ReadOptions& options,
                                           std::ostream& err, ProgressLine& progress)
{
    const std::string name = Files::fileName(path);
    const std::string stage = "Reading " + shortName(name) + "\u2026";
    progress.show({stage, std::nullopt});
    std::string error;
    std::optional<std::string> bytes = Files::readFile(path, error);
    if (!bytes) {
        progress.clear();
        err << "Couldn\u2019t read \u201C" << name << "\u201D: " << error << "\n";
        return std::nullopt;
    }
    GedcomDocument document = GedcomReader::read(std::move(*bytes), options, progress.callback(stage));
    if (!document.hasWellFormedRecord()) {
        progress.clear();
        err << "\u201C" << name << "\u201D doesn\u2019t look like a family-tree (GEDCOM) file.\n";
        return std::nullopt;
    }
    return document;
}

/// Scans with its progress shown, cleared again for what the command prints next.
ScanResult scanShowingProgress(const GedcomDocument& document, const ScanOptions& options, unsigned threads,
                               ProgressLine& progress)
{
    ScanResult result = Scanner::scan(document, options, threads, progress.callback());
    progress.clear();
    return result;
}

/// The options of the commands that heed earlier decisions.
std::map<std::string, bool> withDecisionOptions(std::map<std::string, bool> own)
{
    own.insert({{"--decisions", true}, {"--show-dismissed", false}});
    return own;
}

/// The store --decisions names, else the user's.
std::filesystem::path decisionStore(const Arguments& parsed)
{
    const auto option = parsed.options.find("--decisions");
    return option != parsed.options.end() ? std::filesystem::path(option->second)
                                          : Decisions::defaultStorePath();
}

/// The stored decisions; a store that cannot be used is said on stderr, and none apply.
std::vector<Decision> storedDecisions(const std::filesystem::path& store, std::ostream& err)
{
    Decisions::Loaded loaded = Decisions::load(store);
    if (loaded.problem)
        err << *loaded.problem << "\n";
    return std::move(loaded.decisions);
}

/// A scan, and which of its findings were dismissed earlier.
struct Scanned
{
    ScanResult result;
    std::vector<bool> dismissed;
};

/// Scans with its progress shown, and tells the findings dismissed earlier while the scan's index
/// is still there to find their records.
Scanned scanHeedingDecisions(const Arguments& parsed, const GedcomDocument& document,
                             const ScanOptions& options, unsigned threads, ProgressLine& progress,
                             std::ostream& err)
{
    const Decisions::Loaded loaded = Decisions::load(decisionStore(parsed));
    Scanned scanned;
    scanned.result = Scanner::scan(document, options, threads, progress.callback(),
                                   [&](const TreeIndex& index, std::span<const Issue> issues) {
                                       scanned.dismissed =
                                           Decisions::decided(document, issues, loaded.decisions, &index);
                                   });
    progress.clear();
    if (loaded.problem)
        err << *loaded.problem << "\n";
    return scanned;
}

std::string hiddenSentence(std::size_t hidden)
{
    return std::to_string(hidden) + (hidden == 1 ? " finding" : " findings") +
           " hidden by earlier decisions; --show-dismissed lists them\n";
}

int info(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
         const ProgressTerminal& terminal)
{
    const auto parsed =
        parseArguments(arguments, {{"--json", false}, {"--encoding", true}, {"--threads", true}}, err);
    if (!parsed)
        return usage;
    const std::optional<GedcomReader::ReadOptions> reading = readOptions(*parsed, err);
    if (!reading)
        return usage;
    const std::string& path = parsed->positional[0];
    ProgressLine progress(terminal, path);
    const std::optional<GedcomDocument> document = openDocument(path, *reading, err, progress);
    if (!document)
        return unreadable;

    const std::int64_t lines = document->nextID - 1;
    progress.show({"Indexing people and families\u2026", std::nullopt});
    const TreeIndex index = TreeIndex::build(*document, NumericDateOrder::automatic, reading->threads);
    progress.clear();
    if (parsed->options.contains("--json")) {
        nlohmann::json json = {
            {"file", Files::fileName(path)},
            {"version", document->version().displayName()},
            {"encoding", displayName(document->encoding)},
            {"encodingRawValue", rawValue(document->encoding)},
            {"byteOrderMark", document->hasBOM},
            {"lineEnding", lineEndingName(document->lineEnding)},
            {"endsWithNewline", document->endsWithNewline},
            {"lines", lines},
            {"records", document->recordCount()},
            {"people", index.people.size()},
            {"families", index.families.size()},
            {"sources", index.sourceRecords},
            {"otherRecords", index.otherRecords},
            {"dates", index.dateValues},
            {"places", index.placeValues},
            {"readNotes", document->readNotes},
        };
        out << json.dump(2) << "\n";
        return done;
    }
    out << "File:            " << Files::fileName(path) << "\n"
        << "Version:         " << document->version().displayName() << "\n"
        << "Encoding:        " << displayName(document->encoding) << "\n"
        << "Byte-order mark: " << (document->hasBOM ? "yes" : "no") << "\n"
        << "Line ending:     " << lineEndingName(document->lineEnding)
        << (document->endsWithNewline ? "" : " (no final line break)") << "\n"
        << "Lines:           " << lines << "\n"
        << "Records:         " << document->recordCount() << "\n"
        << "People:          " << index.people.size() << "\n"
        << "Families:        " << index.families.size() << "\n"
        << "Sources:         " << index.sourceRecords << "\n"
        << "Other records:   " << index.otherRecords << "\n"
        << "DATE values:     " << index.dateValues << "\n"
        << "PLAC values:     " << index.placeValues << "\n";
    if (document->readNotes.empty()) {
        out << "Reading notes:   none\n";
    } else {
        out << "Reading notes:\n";
        for (const std::string& note : document->readNotes)
            out << "  - " << note << "\n";
    }
    return done;
}

// Stable field names for scripts: every finding with its fix, edits and preview as values, and
// absent parts as null so that every key is always there. Keys keep the order written here.
using Json = nlohmann::ordered_json;

Json optionalText(const std::optional<std::string>& text)
{
    return text ? Json(*text) : Json(nullptr);
}

Json editJSON(const Edit& edit)
{
    struct Visitor
    {
        Json operator()(const Edit::SetValue& set) const
        {
            return {{"kind", "setValue"},
                    {"node", set.node},
                    {"from", optionalText(set.from)},
                    {"to", optionalText(set.to)}};
        }
        Json operator()(const Edit::Rewrite& rewrite) const
        {
            return {{"kind", "rewrite"},
                    {"node", rewrite.node},
                    {"from", rewrite.from},
                    {"to", rewrite.to},
                    {"trimValue", rewrite.trimValue}};
        }
        Json operator()(const Edit::Remove& remove) const
        {
            return {{"kind", "remove"}, {"node", remove.node}};
        }
        Json operator()(const Edit::Add& add) const
        {
            Json below = Json::array();
            for (const auto& [tag, value] : add.below)
                below.push_back({{"tag", tag}, {"value", value}});
            return {{"kind", "add"},
                    {"record", add.record},
                    {"under", add.under ? Json(*add.under) : Json(nullptr)},
                    {"tag", add.tag},
                    {"value", optionalText(add.value)},
                    {"below", below}};
        }
        Json operator()(const Edit::AddRecord& add) const
        {
            return {{"kind", "addRecord"}, {"xref", add.xref}, {"tag", add.tag}};
        }
        Json operator()(const Edit::Merge& merge) const
        {
            return {{"kind", "merge"}, {"keep", merge.keep}, {"remove", merge.remove}};
        }
    };
    return std::visit(Visitor{}, edit.value);
}

Json fixJSON(const Fix& fix)
{
    Json edits = Json::array();
    for (const Edit& edit : fix.edits)
        edits.push_back(editJSON(edit));
    Json preview = Json::array();
    for (const PreviewLine& line : fix.preview)
        preview.push_back({{"context", line.context},
                           {"before", optionalText(line.before)},
                           {"after", optionalText(line.after)}});
    return {{"id", fix.id},
            {"title", fix.title},
            {"needsReview", fix.needsReview},
            {"edits", std::move(edits)},
            {"preview", std::move(preview)}};
}

Json placesJSON(const PlaceGroup& group)
{
    Json spellings = Json::array();
    for (const PlaceSpelling& spelling : group.spellings)
        spellings.push_back(
            {{"text", spelling.text}, {"count", spelling.count}, {"nodes", spelling.nodeIDs}});
    return {{"key", group.key}, {"suggested", group.suggested}, {"spellings", std::move(spellings)}};
}

Json matchJSON(const DuplicateMatch& match)
{
    return {{"keep", match.keep},       {"remove", match.remove},
            {"score", match.score},     {"likelihood", match.likelihood()},
            {"reasons", match.reasons}, {"against", match.against}};
}

std::string_view severityName(Severity severity)
{
    switch (severity) {
    case Severity::info:
        return "info";
    case Severity::warning:
        return "warning";
    case Severity::error:
        return "error";
    }
    return {};
}

Json findingJSON(const Issue& issue)
{
    return {
        {"id", issue.id},
        {"kind", kindOf(issue.id)},
        {"category", rawValue(issue.category)},
        {"severity", severityName(issue.severity)},
        {"title", issue.title},
        {"detail", issue.detail},
        {"records", issue.records},
        {"fix", issue.fix ? fixJSON(*issue.fix) : Json(nullptr)},
        {"places", issue.places ? placesJSON(*issue.places) : Json(nullptr)},
        {"match", issue.match ? matchJSON(*issue.match) : Json(nullptr)},
    };
}

/// The file's name and the statistics: the scan's JSON document up to its findings.
Json scanHeadJSON(const ScanResult& result, const std::string& fileName)
{
    const TreeStats& stats = result.stats;
    Json dateStyles = Json::array();
    for (const DateStyleCount& style : stats.dateStyles)
        dateStyles.push_back({{"style", style.style}, {"count", style.count}});
    return {
        {"file", fileName},
        {"statistics",
         {
             {"people", stats.people},
             {"families", stats.families},
             {"sources", stats.sources},
             {"otherRecords", stats.otherRecords},
             {"dates", stats.dates},
             {"places", stats.places},
             {"placeSpellings", stats.placeSpellings ? Json(*stats.placeSpellings) : Json(nullptr)},
             {"distinctPlaces", stats.distinctPlaces ? Json(*stats.distinctPlaces) : Json(nullptr)},
             {"lines", stats.lines},
             {"version", stats.version},
             {"encoding", stats.encoding},
             {"dateStyles", std::move(dateStyles)},
             {"numericOrder", stats.numericOrder ? Json(rawValue(*stats.numericOrder)) : Json(nullptr)},
         }},
    };
}

/// Prints the scan as one JSON document laid out as `dump(2)` lays it out, one finding at a time,
/// so that printing adds no more than a finding's worth of memory to the scan's: on a
/// million-person tree the whole document is some 300 MB of text. With flags for dismissed findings
/// (--show-dismissed), each finding says whether it was dismissed.
void printScanJSON(const ScanResult& result, const std::string& fileName, std::ostream& out,
                   const std::vector<bool>& dismissed)
{
    std::string text = scanHeadJSON(result, fileName).dump(2);
    // The head's closing "\n}" gives way to the findings, which come last.
    text.resize(text.size() - 2);
    text += ",\n  \"findings\": [";
    constexpr std::size_t flushSize = std::size_t{1} << 16;
    bool first = true;
    for (std::size_t i = 0; i < result.issues.size(); ++i) {
        const Issue& issue = result.issues[i];
        text += first ? "\n    " : ",\n    ";
        first = false;
        // A finding sits two levels deep. Line breaks inside strings are written escaped, so every
        // break in the dump is one of its layout.
        Json json = findingJSON(issue);
        if (!dismissed.empty())
            json["dismissed"] = static_cast<bool>(dismissed[i]);
        const std::string finding = json.dump(2);
        std::size_t start = 0;
        for (std::size_t end; (end = finding.find('\n', start)) != std::string::npos; start = end + 1) {
            text.append(finding, start, end + 1 - start);
            text += "    ";
        }
        text.append(finding, start);
        if (text.size() >= flushSize) {
            out << text;
            text.clear();
        }
    }
    text += first ? "]\n}\n" : "\n  ]\n}\n";
    out << text;
}

/// Whether a path ends in the extension, in any case (".TXT" as ".txt").
bool hasExtension(const std::string& path, std::string_view extension)
{
    std::string actual = std::filesystem::path(path).extension().string();
    std::transform(actual.begin(), actual.end(), actual.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return actual == extension;
}

/// The text laid out as PDF pages, for a report or change log asked for as PDF.
std::string pdfBytes(const std::string& text, const std::string& title)
{
    PdfRenderer::ensureGuiApplication();
    return PdfRenderer::render(text, title);
}

/// What every command that scans a file reads from its arguments first.
struct ScanArguments
{
    Arguments parsed;
    ScanOptions options;
    GedcomReader::ReadOptions reading;
};

/// The arguments, the scan's options and the reading options, or none after saying what was wrong.
std::optional<ScanArguments> scanArguments(const std::vector<std::string>& arguments,
                                           const std::map<std::string, bool>& known, std::ostream& err,
                                           bool idsAfterFile = false)
{
    std::optional<Arguments> parsed = parseArguments(arguments, withScanOptions(known), err, idsAfterFile);
    if (!parsed)
        return std::nullopt;
    std::optional<ScanOptions> options = scanOptions(*parsed, err);
    if (!options)
        return std::nullopt;
    const std::optional<GedcomReader::ReadOptions> reading = readOptions(*parsed, err);
    if (!reading)
        return std::nullopt;
    return ScanArguments{std::move(*parsed), std::move(*options), *reading};
}

/// Scans a file and prints its findings report (or JSON); with --report writes the report beside.
int check(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
          const ProgressTerminal& terminal)
{
    const auto settled = scanArguments(
        arguments, withDecisionOptions({{"--json", false}, {"--report", true}, {"--fail-on", true}}), err);
    if (!settled)
        return usage;
    const auto& [parsed, options, reading] = *settled;

    std::optional<Severity> failOn;
    if (const auto option = parsed.options.find("--fail-on"); option != parsed.options.end()) {
        if (option->second == "warning") {
            failOn = Severity::warning;
        } else if (option->second == "error") {
            failOn = Severity::error;
        } else {
            err << "kinloom-cli: --fail-on needs warning or error\n";
            return usage;
        }
    }
    // The output's kind is settled before the file is read, so a wrong name costs no scan.
    std::optional<std::string> reportPath;
    if (const auto option = parsed.options.find("--report"); option != parsed.options.end()) {
        if (!hasExtension(option->second, ".txt") && !hasExtension(option->second, ".pdf")) {
            err << "kinloom-cli: --report needs a file name ending in .txt or .pdf\n"
                << commandUsage("check");
            return usage;
        }
        reportPath = option->second;
    }

    const std::string& path = parsed.positional[0];
    ProgressLine progress(terminal, path);
    const std::optional<GedcomDocument> document = openDocument(path, reading, err, progress);
    if (!document)
        return unreadable;
    const auto scanDate = std::chrono::system_clock::now();
    auto [result, dismissed] =
        scanHeedingDecisions(parsed, *document, options, reading.threads, progress, err);
    const std::string fileName = Files::fileName(path);
    const bool json = parsed.options.contains("--json");

    // Dismissed findings are left out, or with --show-dismissed listed as dismissed; either way they
    // never fail the check.
    const auto hidden = static_cast<std::size_t>(std::count(dismissed.begin(), dismissed.end(), true));
    bool failed = false;
    for (std::size_t i = 0; i < result.issues.size(); ++i)
        failed = failed || (failOn && !dismissed[i] && result.issues[i].severity >= *failOn);
    const bool showDismissed = parsed.options.contains("--show-dismissed");
    if (!showDismissed) {
        std::size_t i = 0;
        std::erase_if(result.issues, [&](const Issue&) { return dismissed[i++]; });
        dismissed.clear();
    } else if (!json) {
        for (std::size_t i = 0; i < result.issues.size(); ++i) {
            if (dismissed[i])
                result.issues[i].title += " (dismissed)";
        }
    }

    if (reportPath) {
        // A saved report says how many findings it leaves out; on the screen the sentence below does.
        std::string text = Report::reportText(result, fileName, scanDate, showDismissed ? 0 : hidden);
        if (hasExtension(*reportPath, ".pdf"))
            text = pdfBytes(text, "Kinloom report: " + fileName);
        if (const auto error = Files::writeNewFile(*reportPath, text)) {
            err << *error << "\n";
            return usage;
        }
    }
    if (json) {
        printScanJSON(result, fileName, out, dismissed);
    } else if (reportPath) {
        out << "Saved \u201C" << Files::fileName(*reportPath) << "\u201D.\n";
    } else {
        out << Report::reportText(result, fileName, scanDate);
    }
    if (hidden > 0 && !showDismissed)
        (json ? err : out) << hiddenSentence(hidden);
    return failed ? foundProblems : done;
}

/// What `--fix` asks for: every fix that needs no review in the named categories (all of them for
/// "all"), and the fixes named by id whether they need review or not.
struct FixChoice
{
    std::set<IssueCategory> categories;
    std::vector<std::string> ids;
};

/// Reads each WHAT given: "none", "all", or a comma list of categories and fix ids. A value that is
/// exactly one of the file's fix ids is taken whole, since place fix ids hold commas.
std::optional<FixChoice> parseFixChoice(const std::vector<std::string>& values,
                                        const std::set<std::string>& fixIDs, std::ostream& err)
{
    FixChoice choice;
    for (const std::string& what : values) {
        if (what == "none")
            continue;
        if (fixIDs.contains(what)) {
            choice.ids.push_back(what);
            continue;
        }
        std::size_t start = 0;
        while (start <= what.size()) {
            const std::size_t end = std::min(what.find(',', start), what.size());
            const std::string item = what.substr(start, end - start);
            start = end + 1;
            if (item.empty() || item == "none") {
                err << "kinloom-cli: --fix needs none, all, or a comma list of categories and fix ids\n";
                return std::nullopt;
            }
            if (item == "all")
                choice.categories.insert(allIssueCategories.begin(), allIssueCategories.end());
            else if (const auto category = issueCategoryFromRawValue(item))
                choice.categories.insert(*category);
            else
                choice.ids.push_back(item);
        }
    }
    return choice;
}

/// The chosen fixes in the order of the findings, or none after naming an id this file has no fix for.
std::optional<std::vector<Fix>> chosenFixes(const FixChoice& choice, const ScanResult& result,
                                            std::ostream& err)
{
    std::set<std::string> unknown(choice.ids.begin(), choice.ids.end());
    for (const Issue& issue : result.issues) {
        if (issue.fix)
            unknown.erase(issue.fix->id);
    }
    if (!unknown.empty()) {
        err << "kinloom-cli: --fix names \u201C" << *unknown.begin()
            << "\u201D, which is neither a category nor a fix found in this file\n";
        return std::nullopt;
    }
    const std::set<std::string> named(choice.ids.begin(), choice.ids.end());
    std::vector<Fix> fixes;
    for (const Issue& issue : result.issues) {
        if (!issue.fix)
            continue;
        if (named.contains(issue.fix->id) ||
            (choice.categories.contains(issue.category) && !issue.fix->needsReview))
            fixes.push_back(*issue.fix);
    }
    return fixes;
}

/// Writes the cleaned copy ("NAME (tidied).ged", numbered when taken) and its change log beside it,
/// after applying the chosen fixes as one batch.
int tidy(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
         const ProgressTerminal& terminal)
{
    const auto settled = scanArguments(
        arguments, withDecisionOptions({{"--out", true}, {"--fix", true}, {"--changelog", true}}), err);
    if (!settled)
        return usage;
    const auto& [parsed, options, reading] = *settled;
    const auto logOption = parsed.options.find("--changelog");
    const std::string logKind = logOption != parsed.options.end() ? logOption->second : "txt";
    if (logKind != "txt" && logKind != "pdf") {
        err << "kinloom-cli: --changelog needs txt or pdf\n";
        return usage;
    }
    const auto fixOption = parsed.repeated.find("--fix");
    const std::vector<std::string> fixValues =
        fixOption != parsed.repeated.end() ? fixOption->second : std::vector<std::string>();

    const std::string& path = parsed.positional[0];
    ProgressLine progress(terminal, path);
    const std::optional<GedcomDocument> document = openDocument(path, reading, err, progress);
    if (!document)
        return unreadable;

    // The values are read against the file's fix ids, so only a scan can tell what they ask for.
    std::optional<ApplyResult> applied;
    std::vector<std::string> dismissedLines;
    if (std::any_of(fixValues.begin(), fixValues.end(),
                    [](const std::string& what) { return what != "none"; })) {
        const auto [result, dismissed] =
            scanHeedingDecisions(parsed, *document, options, reading.threads, progress, err);
        std::set<std::string> fixIDs;
        for (const Issue& issue : result.issues) {
            if (issue.fix)
                fixIDs.insert(issue.fix->id);
        }
        const std::optional<FixChoice> choice = parseFixChoice(fixValues, fixIDs, err);
        if (!choice)
            return usage;
        std::optional<std::vector<Fix>> fixes = chosenFixes(*choice, result, err);
        if (!fixes)
            return usage;
        // A dismissed finding's fix is applied only when named by its id.
        const std::set<std::string> named(choice->ids.begin(), choice->ids.end());
        std::set<std::string> leftAlone;
        for (std::size_t i = 0; i < result.issues.size(); ++i) {
            if (!dismissed[i])
                continue;
            const Issue& issue = result.issues[i];
            dismissedLines.push_back("Dismissed: " + issue.id + ": " + issue.title + "\n");
            if (issue.fix && !named.contains(issue.fix->id))
                leftAlone.insert(issue.fix->id);
        }
        std::erase_if(*fixes, [&](const Fix& fix) { return leftAlone.contains(fix.id); });
        const std::size_t count = fixes->size();
        progress.show(
            {"Applying " + std::to_string(count) + (count == 1 ? " change\u2026" : " changes\u2026"),
             std::nullopt});
        applied = FixApplier::apply(*fixes, *document, 1);
        progress.clear();
    }
    const GedcomDocument& cleaned = applied ? applied->document : *document;

    const std::filesystem::path opened = std::filesystem::absolute(path);
    const auto option = parsed.options.find("--out");
    const std::filesystem::path folder =
        option != parsed.options.end() ? std::filesystem::path(option->second) : opened.parent_path();
    const std::string originalName = Files::fileName(path);
    const std::string stem = Files::baseName(originalName) + " (tidied)";
    const GedcomWriter::Output output = GedcomWriter::write(cleaned, progress.callback());
    progress.clear();
    // The name is settled as the file is created, so tidying at the same moment into one folder takes
    // the next number instead of failing; the opened file's own name is never free.
    std::string error;
    const std::optional<std::filesystem::path> copyPath =
        Files::writeNewNumberedFile(folder, stem, "ged", output.data, error);
    if (!copyPath) {
        err << error << "\n";
        return usage;
    }
    const std::string copyName = copyPath->filename().string();
    const std::vector<ChangeEntry> entries = applied ? applied->entries : std::vector<ChangeEntry>();
    std::string log =
        Report::changeLogText(entries, originalName, copyName, std::chrono::system_clock::now(), output.note);
    if (logKind == "pdf")
        log = pdfBytes(log, "Kinloom change log: " + copyName);
    if (!Files::writeNewNumberedFile(folder, copyPath->stem().string() + " change log", logKind, log,
                                     error)) {
        err << error << "\n";
        return usage;
    }
    if (applied) {
        const std::size_t n = applied->entries.size();
        const std::size_t skipped = applied->skipped.size();
        out << "Applied " << n << (n == 1 ? " fix" : " fixes");
        if (skipped > 0)
            out << "; " << skipped << " skipped because another change had already altered those lines.\n";
        else
            out << ".\n";
    }
    if (output.note)
        out << *output.note << "\n";
    out << "Saved \u201C" << copyName << "\u201D and its change log.\n";
    if (parsed.options.contains("--show-dismissed")) {
        for (const std::string& line : dismissedLines)
            out << line;
    } else if (!dismissedLines.empty()) {
        out << hiddenSentence(dismissedLines.size());
    }
    return done;
}

/// Records (`dismiss`) or lifts (`undismiss`) decisions about findings of a file, named by their ids.
int decide(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
           const ProgressTerminal& terminal, bool dismiss)
{
    const auto settled = scanArguments(arguments, {{"--decisions", true}}, err, true);
    if (!settled)
        return usage;
    const auto& [parsed, options, reading] = *settled;
    const std::filesystem::path store = decisionStore(parsed);
    if (store.empty()) {
        err << "kinloom-cli: there is no home folder to keep decisions in; name a store with --decisions\n";
        return usage;
    }

    const std::string& path = parsed.positional[0];
    ProgressLine progress(terminal, path);
    const std::optional<GedcomDocument> document = openDocument(path, reading, err, progress);
    if (!document)
        return unreadable;
    const ScanResult result = scanShowingProgress(*document, options, reading.threads, progress);
    std::map<std::string_view, const Issue*> byID;
    for (const Issue& issue : result.issues)
        byID.emplace(issue.id, &issue);
    std::vector<Issue> chosen;
    for (std::size_t i = 1; i < parsed.positional.size(); ++i) {
        const std::string& id = parsed.positional[i];
        const auto found = byID.find(id);
        if (found == byID.end()) {
            err << "kinloom-cli: \u201C" << id << "\u201D is not a finding of \u201C" << Files::fileName(path)
                << "\u201D; check --json lists their ids\n";
            return usage;
        }
        chosen.push_back(*found->second);
    }

    std::vector<Decision> stored = storedDecisions(store, err);
    const std::vector<DecisionKey> keys = Decisions::keys(*document, chosen);
    std::size_t count = 0;
    if (dismiss) {
        std::vector<Decision> added;
        for (std::size_t i = 0; i < chosen.size(); ++i)
            added.push_back({keys[i], chosen[i].title});
        count = std::set<DecisionKey>(keys.begin(), keys.end()).size();
        stored = Decisions::changed(std::move(stored), added, {});
    } else {
        const std::vector<bool> decided = Decisions::decided(*document, chosen, stored);
        count = static_cast<std::size_t>(std::count(decided.begin(), decided.end(), true));
        stored = Decisions::changed(std::move(stored), {}, keys);
    }
    if (const auto error = Decisions::save(store, stored)) {
        err << *error << "\n";
        return usage;
    }
    if (dismiss)
        out << "Dismissed " << count
            << (count == 1
                    ? " finding; check and tidy leave it out until one of its records changes.\n"
                    : " findings; check and tidy leave them out until one of their records changes.\n");
    else
        out << "Brought back " << count << (count == 1 ? " finding.\n" : " findings.\n");
    return done;
}

/// A count rounded down to its two leading digits (43,817,112 → 43,000,000), for estimates.
std::uint64_t roughly(std::uint64_t count)
{
    std::uint64_t unit = 1;
    while (count / unit >= 100)
        unit *= 10;
    return count / unit * unit;
}

int sample(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    const auto parsed = parseArguments(arguments, {{"--people", true}, {"--seed", true}}, err);
    if (!parsed)
        return usage;
    std::optional<std::uint64_t> people;
    std::uint64_t seed = 1;
    if (const auto option = parsed->options.find("--people"); option != parsed->options.end()) {
        people = parseCount(option->second);
        if (!people) {
            err << "kinloom-cli: --people needs a whole number\n";
            return usage;
        }
    }
    if (const auto option = parsed->options.find("--seed"); option != parsed->options.end()) {
        const auto value = parseCount(option->second);
        if (!value) {
            err << "kinloom-cli: --seed needs a whole number\n";
            return usage;
        }
        seed = *value;
    }
    // A generated tree of a million people peaks at 0.61 GB while it is made and written.
    constexpr std::uint64_t bytesPerPerson = 640;
    if (const std::uint64_t room = Files::availableMemory() / bytesPerPerson; people && *people > room) {
        err << "kinloom-cli: a tree of " << *people
            << " people needs more memory than this computer has available; it has room for about "
            << roughly(room) << "\n";
        return usage;
    }
    const std::string& path = parsed->positional[0];
    const std::string text = people ? SampleTree::syntheticText(*people, seed) : SampleTree::sampleText();
    if (const auto error = Files::writeNewFile(path, text)) {
        err << *error << "\n";
        return usage;
    }
    out << "Wrote " << path << "\n";
    return done;
}

/// Every kind of finding, one a line: its id (what --skip takes), its category and its title.
int kinds(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.size() != 1) {
        if (arguments[1].starts_with("-"))
            err << "kinloom-cli: unknown option " << arguments[1] << "\n";
        err << commandUsage("kinds");
        return usage;
    }
    std::size_t idWidth = 0, categoryWidth = 0;
    for (const FindingKind& kind : allFindingKinds()) {
        idWidth = std::max(idWidth, kind.id.size());
        categoryWidth = std::max(categoryWidth, rawValue(kind.category).size());
    }
    for (const FindingKind& kind : allFindingKinds()) {
        const std::string_view category = rawValue(kind.category);
        out << kind.id << std::string(idWidth + 2 - kind.id.size(), ' ') << category
            << std::string(categoryWidth + 2 - category.size(), ' ') << kind.title << "\n";
    }
    return done;
}

} // namespace

int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
        const ProgressTerminal& terminal)
{
    if (arguments.empty()) {
        err << usageText;
        return usage;
    }
    const std::string& command = arguments[0];
    if (command == "--version") {
        out << "kinloom-cli " KINLOOM_VERSION "\n";
        return done;
    }
    if (command == "--help" || command == "-h" || command == "help") {
        // "help COMMAND" is "COMMAND --help".
        const auto help = arguments.size() == 2 ? commandHelps.find(arguments[1]) : commandHelps.end();
        out << (help != commandHelps.end() ? commandHelp(help->second) : usageText);
        return done;
    }
    // --help anywhere after a command asks for its help rather than running it.
    if (const auto help = commandHelps.find(command);
        help != commandHelps.end() &&
        std::any_of(arguments.begin() + 1, arguments.end(),
                    [](const std::string& argument) { return argument == "--help" || argument == "-h"; })) {
        out << commandHelp(help->second);
        return done;
    }
    if (command == "info")
        return info(arguments, out, err, terminal);
    if (command == "check")
        return check(arguments, out, err, terminal);
    if (command == "tidy")
        return tidy(arguments, out, err, terminal);
    if (command == "sample")
        return sample(arguments, out, err);
    if (command == "kinds")
        return kinds(arguments, out, err);
    if (command == "dismiss" || command == "undismiss")
        return decide(arguments, out, err, terminal, command == "dismiss");
    err << "kinloom-cli: unknown " << (command.starts_with("-") ? "option " : "command ") << command << "\n"
        << usageText;
    return usage;
}

} // namespace kinloom::Cli
