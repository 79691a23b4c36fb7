#include "KinloomCLI/Cli.h"

#include "KinloomKit/Files.h"
#include "KinloomKit/GedcomReader.h"
#include "KinloomKit/GedcomWriter.h"
#include "KinloomKit/Report.h"
#include "KinloomKit/SampleTree.h"
#include "KinloomKit/SaveError.h"

#include <charconv>
#include <chrono>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

namespace kinloom::Cli {
namespace {

constexpr const char* usageText = "usage: kinloom-cli info FILE [--json]\n"
                                  "       kinloom-cli tidy FILE [--out DIR]\n"
                                  "       kinloom-cli sample OUT.ged [--people N] [--seed S]\n";

/// A command's arguments: positional ones in order, options by name ("--json" → "" when a flag).
struct Arguments
{
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
};

/// Splits arguments by the options a command knows; an unknown option or a missing value is an error.
std::optional<Arguments> parseArguments(const std::vector<std::string>& arguments, std::size_t first,
                                        const std::map<std::string, bool>& known, std::ostream& err)
{
    Arguments parsed;
    for (std::size_t i = first; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!argument.starts_with("--")) {
            parsed.positional.push_back(argument);
            continue;
        }
        const auto option = known.find(argument);
        if (option == known.end()) {
            err << "kinloom-cli: unknown option " << argument << "\n" << usageText;
            return std::nullopt;
        }
        if (!option->second) {
            parsed.options[argument] = "";
            continue;
        }
        if (i + 1 == arguments.size()) {
            err << "kinloom-cli: " << argument << " needs a value\n" << usageText;
            return std::nullopt;
        }
        parsed.options[argument] = arguments[++i];
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

std::string_view lineEndingName(std::string_view ending)
{
    if (ending == "\r\n")
        return "CRLF";
    if (ending == "\r")
        return "CR";
    return "LF";
}

/// Reads and parses a file, or says why not in the app's own words.
std::optional<GedcomDocument> openDocument(const std::string& path, std::ostream& err)
{
    const std::string name = Files::fileName(path);
    std::string error;
    std::optional<std::string> bytes = Files::readFile(path, error);
    if (!bytes) {
        err << "Couldn\u2019t read \u201C" << name << "\u201D: " << error << "\n";
        return std::nullopt;
    }
    GedcomDocument document = GedcomReader::read(std::move(*bytes));
    if (!document.hasWellFormedRecord()) {
        err << "\u201C" << name << "\u201D doesn\u2019t look like a family-tree (GEDCOM) file.\n";
        return std::nullopt;
    }
    return document;
}

int info(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    const auto parsed = parseArguments(arguments, 1, {{"--json", false}}, err);
    if (!parsed)
        return usage;
    if (parsed->positional.size() != 1) {
        err << usageText;
        return usage;
    }
    const std::string& path = parsed->positional[0];
    const std::optional<GedcomDocument> document = openDocument(path, err);
    if (!document)
        return unreadable;

    const std::int64_t lines = document->nextID - 1;
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
        << "Records:         " << document->recordCount() << "\n";
    if (document->readNotes.empty()) {
        out << "Reading notes:   none\n";
    } else {
        out << "Reading notes:\n";
        for (const std::string& note : document->readNotes)
            out << "  - " << note << "\n";
    }
    return done;
}

/// Writes the cleaned copy ("NAME (tidied).ged", numbered when taken) and its change log beside it.
int tidy(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    const auto parsed = parseArguments(arguments, 1, {{"--out", true}}, err);
    if (!parsed)
        return usage;
    if (parsed->positional.size() != 1) {
        err << usageText;
        return usage;
    }
    const std::string& path = parsed->positional[0];
    const std::optional<GedcomDocument> document = openDocument(path, err);
    if (!document)
        return unreadable;

    const std::filesystem::path opened = std::filesystem::absolute(path);
    const auto option = parsed->options.find("--out");
    const std::filesystem::path folder =
        option != parsed->options.end() ? std::filesystem::path(option->second) : opened.parent_path();
    const std::string originalName = Files::fileName(path);
    const std::string stem = Files::baseName(originalName) + " (tidied)";
    const std::filesystem::path copyPath = Files::freeName(folder, stem, "ged");
    if (Files::isSameFile(copyPath, opened)) {
        err << SaveError{SaveError::SameAsOriginal{}}.description() << "\n";
        return usage;
    }
    const GedcomWriter::Output output = GedcomWriter::write(*document);
    if (const auto error = Files::writeNewFile(copyPath.string(), output.data)) {
        err << *error << "\n";
        return usage;
    }
    const std::string copyName = copyPath.filename().string();
    const std::filesystem::path logPath =
        Files::freeName(folder, copyPath.stem().string() + " change log", "txt");
    const std::string log =
        Report::changeLogText({}, originalName, copyName, std::chrono::system_clock::now(), output.note);
    if (const auto error = Files::writeNewFile(logPath.string(), log)) {
        err << *error << "\n";
        return usage;
    }
    if (output.note)
        out << *output.note << "\n";
    out << "Saved \u201C" << copyName << "\u201D and its change log.\n";
    return done;
}

int sample(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    const auto parsed = parseArguments(arguments, 1, {{"--people", true}, {"--seed", true}}, err);
    if (!parsed)
        return usage;
    if (parsed->positional.size() != 1) {
        err << usageText;
        return usage;
    }
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
    const std::string& path = parsed->positional[0];
    const std::string text = people ? SampleTree::syntheticText(*people, seed) : SampleTree::sampleText();
    if (const auto error = Files::writeNewFile(path, text)) {
        err << *error << "\n";
        return usage;
    }
    out << "Wrote " << path << "\n";
    return done;
}

} // namespace

int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.empty()) {
        err << usageText;
        return usage;
    }
    const std::string& command = arguments[0];
    if (command == "info")
        return info(arguments, out, err);
    if (command == "tidy")
        return tidy(arguments, out, err);
    if (command == "sample")
        return sample(arguments, out, err);
    if (command == "--help" || command == "help") {
        out << usageText;
        return done;
    }
    err << "kinloom-cli: unknown command " << command << "\n" << usageText;
    return usage;
}

} // namespace kinloom::Cli
