// SPDX-License-Identifier: GPL-3.0-or-later
#include "decisions/Decisions.h"

#include "changes/FixApplier.h"
#include "document/Files.h"
#include "document/Text.h"
#include "family/TreeIndex.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>
#include <utf8proc.h>

namespace kinloom::Decisions {
namespace {

/// Whether a kind's findings are about one place, named by its spellings rather than its records.
bool isPlace(std::string_view kind)
{
    return kind == "place" || kind == "place-alike" || kind == "place-which";
}

/// FNV-1a: fingerprints only need to tell contents apart, not resist anyone.
class Hash
{
public:
    void add(std::string_view text)
    {
        for (const char c : text) {
            m_value ^= static_cast<unsigned char>(c);
            m_value *= 0x100000001B3ULL;
        }
    }
    void add(char c) { add(std::string_view(&c, 1)); }
    [[nodiscard]] std::uint64_t value() const { return m_value; }
    [[nodiscard]] std::string hex() const
    {
        char text[17];
        std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(m_value));
        return text;
    }

private:
    std::uint64_t m_value = 0xCBF29CE484222325ULL;
};

/// Text as composed characters: a file exported in ANSEL or by another program may write "é" as
/// "e" and a combining accent.
std::string composed(std::string_view text)
{
    if (Text::isAscii(text))
        return std::string(text);
    std::string source(text);
    utf8proc_uint8_t* result = utf8proc_NFC(reinterpret_cast<const utf8proc_uint8_t*>(source.c_str()));
    if (!result)
        return source;
    std::string out(reinterpret_cast<const char*>(result));
    std::free(result);
    return out;
}

/// Lines programs write for themselves when they save or export a record (change dates, their
/// own record numbers and ids), which say nothing about the people.
bool isHousekeeping(std::string_view tag)
{
    return tag == "CHAN" || tag == "CREA" || tag == "_UID" || tag == "UID" || tag == "RIN" || tag == "_UPD";
}

bool isContinuation(std::string_view tag)
{
    return tag == "CONC" || tag == "CONT";
}

/// A line's value as read, joined with its continuation lines (which a re-export may cut elsewhere),
/// or the line itself when it was unreadable.
std::string valueOf(NodeView node)
{
    if (node.isMalformed())
        return composed(node.raw().value_or(""));
    const bool continued = std::any_of(node.children().begin(), node.children().end(),
                                       [](NodeView child) { return isContinuation(child.tag()); });
    return composed(continued ? node.fullValue() : std::string(node.value().value_or("")));
}

void feed(Hash& hash, NodeView node, int depth)
{
    if (depth > 0 && (isHousekeeping(node.tag()) || isContinuation(node.tag())))
        return;
    hash.add(static_cast<char>('0' + std::min(depth, 60)));
    hash.add(node.tag());
    hash.add('\x1F');
    // The record's own xref is left out: where it has a _UID the xref may differ between exports.
    if (depth > 0 || node.isMalformed()) {
        // Most lines are plain ASCII without continuation lines: hashed where they lie.
        const std::optional<std::string_view> value = node.value();
        const bool plain = !node.isMalformed() && (!value || Text::isAscii(*value)) &&
                           std::none_of(node.children().begin(), node.children().end(),
                                        [](NodeView child) { return isContinuation(child.tag()); });
        if (plain)
            hash.add(value.value_or(""));
        else
            hash.add(valueOf(node));
    }
    hash.add('\x1E');
    for (NodeView child : node.children())
        feed(hash, child, depth + 1);
}

/// Works out keys for one document, finding each record and fingerprinting it at most once.
class KeyMaker
{
public:
    explicit KeyMaker(const GedcomDocument& document) : m_document(document) {}

    /// Finds the records of these findings: people and families in the index when there is one, the
    /// rest in one pass over the file, which is far quicker than building an index of every record
    /// when the findings name a small part of it.
    void locate(std::span<const Issue> findings, std::span<const std::size_t> which, const TreeIndex* index)
    {
        std::size_t left = 0;
        m_records.reserve(which.size() * 2);
        for (const std::size_t i : which) {
            for (const std::string& xref : findings[i].records) {
                const auto [entry, added] = m_records.emplace(xref, std::nullopt);
                if (!added)
                    continue;
                if (const Person* person = index ? index->person(xref) : nullptr)
                    entry->second = person->record;
                else if (const Family* family = index ? index->family(xref) : nullptr)
                    entry->second = family->record;
                else
                    ++left;
            }
        }
        const std::size_t count = m_document.recordCount();
        for (std::size_t i = 0; i < count && left > 0; ++i) {
            // Records lie far apart in memory: ask for the ones ahead before they are needed.
            if (i + 32 < count)
                m_document.record(i + 32).prefetch(false);
            if (i + 16 < count)
                m_document.record(i + 16).prefetch(true);
            const NodeView record = m_document.record(i);
            const auto xref = record.xref();
            if (!xref)
                continue;
            const auto found = m_records.find(*xref);
            // The first of two records that share an xref is the one links lead to.
            if (found != m_records.end() && !found->second) {
                found->second = record;
                --left;
            }
        }
    }

    /// The records part of a finding's key: empty for a place group, whose records are every record
    /// that writes the place and change for reasons that have nothing to do with its spellings.
    std::vector<std::string> records(const Issue& finding, std::string_view kind)
    {
        std::vector<std::string> identities;
        if (isPlace(kind))
            return identities;
        for (const std::string& xref : finding.records)
            identities.push_back(entry(xref).identity);
        return identities;
    }

    /// The kind and records of a finding as one number, to tell at little cost whether a decision
    /// may be about it.
    std::uint64_t about(const Issue& finding, std::string_view kind)
    {
        Hash hash;
        hash.add(kind);
        if (!isPlace(kind)) {
            for (const std::string& xref : finding.records) {
                hash.add('\x1F');
                hash.add(entry(xref).identity);
            }
        }
        return hash.value();
    }

    DecisionKey key(const Issue& finding)
    {
        const std::string_view kind = kindOf(finding.id);
        DecisionKey key{std::string(kind), records(finding, kind), at(finding, kind), {}};
        Hash hash;
        if (key.records.empty()) {
            hash.add(treeFingerprint());
        } else {
            for (const std::string& xref : finding.records)
                hash.add(entry(xref).fingerprint());
        }
        key.fingerprint = hash.hex();
        return key;
    }

private:
    struct Entry
    {
        std::optional<NodeView> record;
        std::string identity;
        std::string hex;
        std::string_view fingerprint()
        {
            if (hex.empty()) {
                Hash hash;
                if (record)
                    feed(hash, *record, 0);
                hex = hash.hex();
            }
            return hex;
        }
    };

    Entry& entry(const std::string& xref)
    {
        const auto found = m_entries.find(xref);
        if (found != m_entries.end())
            return found->second;
        Entry made;
        made.identity = xref;
        const auto located = m_records.find(xref);
        if (located != m_records.end() && located->second) {
            made.record = located->second;
            for (NodeView child : made.record->children()) {
                if (child.tag() != "_UID" && child.tag() != "UID")
                    continue;
                const std::string_view value = Text::trimmed(child.value().value_or(""));
                if (!value.empty()) {
                    made.identity = std::string(value);
                    break;
                }
            }
        }
        return m_entries.emplace(xref, std::move(made)).first->second;
    }

    /// For findings about the whole file: the tree, told by its first person and their name, which
    /// cleaned copies keep (tidying removes empty families and merged people, and the list of records
    /// would change with them) and other trees do not share.
    std::string_view treeFingerprint()
    {
        if (m_tree.empty()) {
            Hash hash;
            for (NodeView record : m_document.records()) {
                if (record.tag() != "INDI" || !record.xref())
                    continue;
                hash.add(entry(std::string(*record.xref())).identity);
                hash.add('\x1E');
                if (const auto name = record.firstChild("NAME"))
                    hash.add(valueOf(*name));
                break;
            }
            m_tree = hash.hex();
        }
        return m_tree;
    }

    std::string at(const Issue& finding, std::string_view kind)
    {
        if (isPlace(kind) && finding.places) {
            std::vector<std::string> spellings;
            for (const PlaceSpelling& spelling : finding.places->spellings)
                spellings.push_back(composed(spelling.text));
            std::sort(spellings.begin(), spellings.end());
            std::string joined;
            for (const std::string& spelling : spellings)
                joined += (joined.empty() ? "" : " | ") + spelling;
            return joined;
        }
        // Reading notes are numbered in the order they were made; what they say is what they are about.
        if (kind == "file-read")
            return finding.detail;
        std::string rest = finding.id.substr(std::min(finding.id.size(), kind.size() + 1));
        if (!rest.empty() &&
            std::all_of(rest.begin(), rest.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            // The line as a person would point at it ("BIRT DATE: abt. 1890"): its id differs in every
            // copy. It is looked for in the records the finding names, else in the whole file.
            const std::int64_t id = std::stoll(rest);
            for (const std::string& xref : finding.records) {
                const Entry& named = entry(xref);
                if (const auto node = named.record ? named.record->find(id) : std::nullopt)
                    return tagPath(*named.record, id) + ": " + valueOf(*node);
            }
            if (!m_locator)
                m_locator.emplace(m_document);
            if (const auto place = m_locator->find(id))
                return tagPath(m_document.record(place->record), id) + ": " + valueOf(place->node);
            return rest;
        }
        for (std::size_t i = 0; i < finding.records.size(); ++i) {
            const std::string& xref = finding.records[i];
            for (std::size_t at = 0; !xref.empty() && (at = rest.find(xref, at)) != std::string::npos;) {
                const std::string mark = "#" + std::to_string(i);
                rest.replace(at, xref.size(), mark);
                at += mark.size();
            }
        }
        return rest;
    }

    const GedcomDocument& m_document;
    std::unordered_map<std::string_view, std::optional<NodeView>>
        m_records; ///< keys view the findings' xrefs
    std::unordered_map<std::string, Entry> m_entries;
    std::optional<NodeLocator> m_locator;
    std::string m_tree;
};

using Json = nlohmann::ordered_json;

/// The decisions in a store's text; none when it is not a decisions file.
std::optional<std::vector<Decision>> parse(const std::string& text)
{
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object() || !json.contains("decisions") || !json["decisions"].is_array())
        return std::nullopt;
    std::vector<Decision> decisions;
    for (const Json& item : json["decisions"]) {
        if (!item.is_object())
            return std::nullopt;
        const auto isText = [&](const char* name) { return item.contains(name) && item[name].is_string(); };
        if (!isText("kind") || !isText("at") || !isText("fingerprint") || !item.contains("records") ||
            !item["records"].is_array() || (item.contains("title") && !item["title"].is_string()))
            return std::nullopt;
        Decision decision;
        decision.key.kind = item["kind"].get<std::string>();
        decision.key.at = item["at"].get<std::string>();
        decision.key.fingerprint = item["fingerprint"].get<std::string>();
        for (const Json& record : item["records"]) {
            if (!record.is_string())
                return std::nullopt;
            decision.key.records.push_back(record.get<std::string>());
        }
        if (item.contains("title"))
            decision.title = item["title"].get<std::string>();
        decisions.push_back(std::move(decision));
    }
    return decisions;
}

std::string quotedPath(const std::filesystem::path& path)
{
    return "\u201C" + path.string() + "\u201D";
}

/// Renames the store to the first free "NAME (set aside).json", " 2" … beside it, never replacing a
/// file; returns the new name, or none with `error` set to the system's reason.
std::optional<std::string> setAside(const std::filesystem::path& store, std::string& error)
{
    const std::string name = store.filename().string();
    const std::string stem = Files::baseName(name) + " (set aside)";
    const std::string extension = name.size() > Files::baseName(name).size()
                                      ? name.substr(Files::baseName(name).size())
                                      : std::string();
    for (int counter = 1;; ++counter) {
        const std::string candidate =
            counter == 1 ? stem + extension : stem + " " + std::to_string(counter) + extension;
        const std::string target = (store.parent_path() / candidate).string();
        int failure = 0;
        if (::renameat2(AT_FDCWD, store.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0)
            failure = errno;
        // File systems without the no-replace rename: a hard link fails on an existing name too.
        if ((failure == EINVAL || failure == ENOSYS) && ::link(store.c_str(), target.c_str()) == 0) {
            ::unlink(store.c_str());
            failure = 0;
        } else if (failure == EINVAL || failure == ENOSYS) {
            failure = errno;
        }
        if (failure == 0)
            return candidate;
        if (failure != EEXIST) {
            error = std::strerror(failure);
            return std::nullopt;
        }
    }
}

} // namespace

std::filesystem::path defaultStorePath()
{
    // A relative XDG_DATA_HOME is to be ignored, as the base directory rules say.
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data && data[0] == '/')
        return std::filesystem::path(data) / "kinloom" / "decisions.json";
    const char* home = std::getenv("HOME");
    if (home && home[0] != '\0')
        return std::filesystem::path(home) / ".local" / "share" / "kinloom" / "decisions.json";
    return {};
}

Loaded load(const std::filesystem::path& store)
{
    std::error_code ignored;
    if (store.empty() ||
        std::filesystem::symlink_status(store, ignored).type() == std::filesystem::file_type::not_found)
        return {};
    std::string reason;
    const std::optional<std::string> text = Files::readFile(store.string(), reason);
    std::optional<std::vector<Decision>> decisions;
    if (text)
        decisions = parse(*text);
    if (decisions)
        return {std::move(*decisions), std::nullopt};

    const std::string what =
        "The decisions stored in " + quotedPath(store) +
        (text ? " aren\u2019t readable as decisions" : " couldn\u2019t be read (" + reason + ")");
    std::string error;
    if (const std::optional<std::string> aside = setAside(store, error))
        return {{}, what + ", so they were set aside as \u201C" + *aside + "\u201D and none of them apply."};
    return {{}, what + " and couldn\u2019t be set aside (" + error + "), so none of them apply."};
}

std::optional<std::string> save(const std::filesystem::path& store, std::span<const Decision> decisions)
{
    const std::string failed = "Couldn\u2019t save the decisions in " + quotedPath(store) + ": ";
    std::error_code ignored;
    if (std::filesystem::symlink_status(store, ignored).type() != std::filesystem::file_type::not_found) {
        std::string reason;
        const std::optional<std::string> text = Files::readFile(store.string(), reason);
        if (!text || !parse(*text))
            return failed + "the file there isn\u2019t readable as decisions and is never replaced.";
    }
    std::error_code error;
    std::filesystem::create_directories(store.parent_path(), error);
    if (error)
        return failed + error.message() + ".";

    Json list = Json::array();
    for (const Decision& decision : decisions)
        list.push_back({{"kind", decision.key.kind},
                        {"records", decision.key.records},
                        {"at", decision.key.at},
                        {"fingerprint", decision.key.fingerprint},
                        {"title", decision.title}});
    const std::string bytes = Json{{"decisions", std::move(list)}}.dump(2) + "\n";

    // Written beside the store and put in its place in one rename, so a reader sees the old store
    // or the new one, never part of either.
    std::string temporary =
        (store.parent_path() / ("." + store.filename().string() + ".kinloom-XXXXXX")).string();
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return failed + std::strerror(errno) + ".";
    std::size_t written = 0;
    int failure = 0;
    while (written < bytes.size() && failure == 0) {
        const ssize_t put = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (put >= 0)
            written += static_cast<std::size_t>(put);
        else if (errno != EINTR)
            failure = errno;
    }
    if (failure == 0 && ::fsync(fd) != 0)
        failure = errno;
    if (::close(fd) != 0 && failure == 0)
        failure = errno;
    if (failure == 0 && ::rename(temporary.c_str(), store.c_str()) != 0)
        failure = errno;
    if (failure != 0) {
        ::unlink(temporary.c_str());
        return failed + std::strerror(failure) + ".";
    }
    return std::nullopt;
}

std::vector<DecisionKey> keys(const GedcomDocument& document, std::span<const Issue> findings)
{
    KeyMaker maker(document);
    std::vector<std::size_t> all(findings.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    maker.locate(findings, all, nullptr);
    std::vector<DecisionKey> made;
    made.reserve(findings.size());
    for (const Issue& finding : findings)
        made.push_back(maker.key(finding));
    return made;
}

std::vector<bool> decided(const GedcomDocument& document, std::span<const Issue> findings,
                          std::span<const Decision> decisions, const TreeIndex* index)
{
    std::vector<bool> result(findings.size(), false);
    if (decisions.empty())
        return result;
    std::set<DecisionKey> stored;
    std::unordered_set<std::string_view> kinds;
    std::unordered_set<std::uint64_t> about;
    // Where every decided record is known by its xref (no _UID), a finding can match only when all its
    // records are among them: the others need not be looked up.
    std::unordered_set<std::string_view> xrefs;
    bool byXrefOnly = true;
    for (const Decision& decision : decisions) {
        stored.insert(decision.key);
        kinds.insert(decision.key.kind);
        for (const std::string& record : decision.key.records) {
            byXrefOnly = byXrefOnly && record.size() > 2 && record.front() == '@' && record.back() == '@';
            xrefs.insert(record);
        }
        Hash hash;
        hash.add(decision.key.kind);
        for (const std::string& record : decision.key.records) {
            hash.add('\x1F');
            hash.add(record);
        }
        about.insert(hash.value());
    }

    std::vector<std::size_t> candidates;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const std::vector<std::string>& records = findings[i].records;
        const std::string_view kind = kindOf(findings[i].id);
        // A place group's key names no records (see KeyMaker::records).
        if (kinds.contains(kind) &&
            (!byXrefOnly || isPlace(kind) ||
             std::all_of(records.begin(), records.end(),
                         [&](const std::string& xref) { return xrefs.contains(xref); })))
            candidates.push_back(i);
    }
    KeyMaker maker(document);
    maker.locate(findings, candidates, index);
    for (const std::size_t i : candidates) {
        if (about.contains(maker.about(findings[i], kindOf(findings[i].id))))
            result[i] = stored.contains(maker.key(findings[i]));
    }
    return result;
}

std::vector<Decision> changed(std::vector<Decision> stored, std::span<const Decision> added,
                              std::span<const DecisionKey> lifted)
{
    std::map<DecisionKey, Decision> byKey;
    for (Decision& decision : stored)
        byKey.insert_or_assign(decision.key, std::move(decision));
    for (const Decision& decision : added)
        byKey.insert_or_assign(decision.key, decision);
    for (const DecisionKey& key : lifted)
        byKey.erase(key);
    std::vector<Decision> result;
    result.reserve(byKey.size());
    for (auto& [key, decision] : byKey)
        result.push_back(std::move(decision));
    return result;
}

} // namespace kinloom::Decisions
