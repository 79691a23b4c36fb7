// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/GedcomReader.h"

#include "document/TextEncoding.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace kinloom {
namespace {

constexpr const char* readingStage = "Reading the file\u2026";

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// The first line feed or carriage return at or after `p`, or `end`.
const char* nextBreak(const char* p, const char* end)
{
#ifdef __SSE2__
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r');
    for (; end - p >= 16; p += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const int mask =
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(block, lf), _mm_cmpeq_epi8(block, cr)));
        if (mask != 0)
            return p + __builtin_ctz(static_cast<unsigned>(mask));
    }
#endif
    while (p < end && *p != '\n' && *p != '\r')
        ++p;
    return p;
}

/// How many line feeds and carriage returns the text holds: an upper bound on its lines, less one.
std::size_t countBreakBytes(std::string_view text)
{
    std::size_t count = 0;
    const char* p = text.data();
    const char* end = p + text.size();
#ifdef __SSE2__
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r');
    // Matches are minus ones, taken away bytewise; before a byte could overflow the sums are added
    // across the bytes. (A count of bits would call a library function on the baseline processor.)
    while (end - p >= 16) {
        __m128i sums = _mm_setzero_si128();
        for (int blocks = 0; blocks < 255 && end - p >= 16; ++blocks, p += 16) {
            const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            sums = _mm_sub_epi8(sums, _mm_or_si128(_mm_cmpeq_epi8(block, lf), _mm_cmpeq_epi8(block, cr)));
        }
        const __m128i total = _mm_sad_epu8(sums, _mm_setzero_si128());
        count += static_cast<std::size_t>(_mm_cvtsi128_si32(total) + _mm_extract_epi16(total, 4));
    }
#endif
    for (; p < end; ++p)
        count += (*p == '\n' || *p == '\r');
    return count;
}

/// Walks text line by line, counting the kinds of break.
class LineScanner
{
public:
    explicit LineScanner(std::string_view text) : m_p(text.data()), m_end(text.data() + text.size()) {}

    bool next(std::string_view& line)
    {
        if (m_p == m_end)
            return false;
        const char* stop = nextBreak(m_p, m_end);
        line = std::string_view(m_p, static_cast<std::size_t>(stop - m_p));
        if (stop == m_end) {
            m_endsWithNewline = false;
            m_p = stop;
        } else if (*stop == '\n') {
            // A line feed then a carriage return is one break, as some old programs wrote.
            const bool lfcrBreak = stop + 1 < m_end && stop[1] == '\r';
            ++(lfcrBreak ? lfcr : lf);
            m_endsWithNewline = true;
            m_p = stop + (lfcrBreak ? 2 : 1);
        } else if (stop + 1 < m_end && stop[1] == '\n') {
            ++crlf;
            m_endsWithNewline = true;
            m_p = stop + 2;
        } else {
            ++cr;
            m_endsWithNewline = true;
            m_p = stop + 1;
        }
        return true;
    }

    [[nodiscard]] bool endsWithNewline() const { return m_endsWithNewline; }

    std::size_t lf = 0;
    std::size_t crlf = 0;
    std::size_t cr = 0;
    std::size_t lfcr = 0;

private:
    const char* m_p;
    const char* m_end;
    bool m_endsWithNewline = false;
};

// Offsets of a record's lines are kept in 32 bits from their chunk's start; a new chunk begins
// before a record would start beyond this, so texts of any size read.
constexpr std::size_t maxChunkSpan = std::size_t{1} << 31;

/// A chunk of read lines with the first slots of its records.
struct BuiltChunk
{
    std::shared_ptr<detail::NodeChunk> chunk;
    std::vector<std::uint32_t> roots;
};

/// Builds the records of one part of the text. Its lines are numbered later, when the parts are
/// joined: a chunk's ids run on from wherever the lines before it end.
class TreeBuilder
{
public:
    TreeBuilder(std::shared_ptr<const std::string> text, std::string_view part) : m_text(std::move(text))
    {
        startChunk(part.data(), countBreakBytes(part) + 1);
    }

    void add(std::string_view line)
    {
        const std::optional<detail::LineFields> fields = detail::parseLineFields(line);
        if (!fields) {
            if (m_depth == 0)
                startRecord(line.data());
            detail::NodeSlot slot = lineSlot(line);
            slot.flags = detail::NodeSlot::Malformed;
            append(slot);
            return;
        }
        while (m_depth > 0 && m_open[m_depth - 1].level >= fields->level)
            close();
        if (m_depth == 0)
            startRecord(line.data());
        detail::NodeSlot slot = lineSlot(line);
        if (fields->xrefLength > 0)
            slot.flags = detail::NodeSlot::HasXref;
        if (fields->tagStart < (1u << 7) && fields->tagLength < (1u << 5)) {
            slot.tagStart = fields->tagStart & 0x7F;
            slot.tagLength = fields->tagLength & 0x1F;
        } else {
            slot.flags |= detail::NodeSlot::LongFields;
        }
        m_open[m_depth++] = {fields->level, static_cast<std::uint32_t>(m_chunk->slots.size())};
        append(slot);
    }

    /// Adds a slot as whole words. Copied field by field, its packed fields would be read from the new
    /// memory before they are written, and a read maps a fresh page to the shared zero page, whose
    /// first write then makes every other core running the reader flush its address cache.
    void append(const detail::NodeSlot& slot)
    {
        std::vector<detail::NodeSlot>& slots = m_chunk->slots;
        slots.resize(slots.size() + 1);
        std::memcpy(static_cast<void*>(&slots.back()), &slot, sizeof slot);
    }

    /// Closes what is open; the part's chunks in order.
    std::vector<BuiltChunk> finish()
    {
        while (m_depth > 0)
            close();
        m_built.push_back({std::move(m_chunk), std::move(m_roots)});
        return std::move(m_built);
    }

private:
    struct Open
    {
        int level;
        std::uint32_t index;
    };

    void close()
    {
        const Open open = m_open[--m_depth];
        m_chunk->slots[open.index].size = static_cast<std::uint32_t>(m_chunk->slots.size() - open.index);
    }

    void startRecord(const char* lineStart)
    {
        if (static_cast<std::size_t>(lineStart - m_chunk->base) >= maxChunkSpan) {
            m_built.push_back({std::move(m_chunk), std::move(m_roots)});
            m_roots.clear();
            startChunk(lineStart, 0);
        }
        m_roots.push_back(static_cast<std::uint32_t>(m_chunk->slots.size()));
    }

    void startChunk(const char* base, std::size_t expectedLines)
    {
        auto chunk = std::make_shared<detail::NodeChunk>();
        chunk->text = m_text;
        chunk->base = base;
        chunk->consecutiveIDs = true;
        chunk->slots.reserve(expectedLines);
        m_chunk = std::move(chunk);
    }

    detail::NodeSlot lineSlot(std::string_view line) const
    {
        detail::NodeSlot slot;
        slot.offset = static_cast<std::uint32_t>(line.data() - m_chunk->base);
        slot.length = std::min<std::size_t>(line.size(), detail::NodeSlot::longLine) & 0xFFFF;
        return slot;
    }

    std::shared_ptr<const std::string> m_text;
    std::shared_ptr<detail::NodeChunk> m_chunk;
    std::vector<std::uint32_t> m_roots; ///< first slots of the chunk's records
    std::vector<BuiltChunk> m_built;
    // Open levels strictly increase from the bottom, and levels are at most 99.
    std::array<Open, 100> m_open{};
    std::size_t m_depth = 0;
};

/// What reading one part of the text gave.
struct ReadPart
{
    std::vector<BuiltChunk> chunks;
    LineScanner scanner; ///< its counts of breaks
};

/// Reads one part, telling `report` how many of its bytes are behind each line it reaches.
template <class Report>
ReadPart readPart(const std::shared_ptr<const std::string>& text, std::string_view part, Report&& report)
{
    TreeBuilder builder(text, part);
    LineScanner scanner(part);
    std::string_view line;
    while (scanner.next(line)) {
        report(static_cast<std::size_t>(line.data() - part.data()));
        builder.add(line);
    }
    return {builder.finish(), scanner};
}

/// The start of the first level-0 line after a line break at or after `from`, or the text's size.
/// A line following a run of breaks starts there however the run pairs its breaks, and a level-0
/// line starts a record whatever came before it: the text can be split there.
std::size_t recordStartAfter(std::string_view text, std::size_t from)
{
    const char* end = text.data() + text.size();
    const char* p = nextBreak(text.data() + from, end);
    for (;;) {
        while (p < end && (*p == '\n' || *p == '\r'))
            ++p;
        if (p == end)
            return text.size();
        const char* lineEnd = nextBreak(p, end);
        const auto fields = detail::parseLineFields({p, static_cast<std::size_t>(lineEnd - p)});
        if (fields && fields->level == 0)
            return static_cast<std::size_t>(p - text.data());
        p = lineEnd;
    }
}

/// Where the parts of the text start, near even shares of it.
std::vector<std::size_t> partStarts(std::string_view text, std::size_t parts)
{
    std::vector<std::size_t> starts{0};
    for (std::size_t k = 1; k < parts; ++k) {
        const std::size_t start =
            recordStartAfter(text, std::max(text.size() / parts * k, starts.back() + 1));
        if (start == text.size())
            break;
        starts.push_back(start);
    }
    return starts;
}

} // namespace

namespace detail {

std::optional<LineFields> parseLineFields(std::string_view line)
{
    const std::size_t n = line.size();
    std::size_t i = 0;
    while (i < n && (line[i] == ' ' || line[i] == '\t'))
        ++i;
    LineFields fields;
    std::size_t digits = 0;
    while (i < n && isDigit(line[i]) && digits < 3) {
        fields.level = fields.level * 10 + (line[i] - '0');
        ++i;
        ++digits;
    }
    if (digits == 0 || digits > 2 || i == n || line[i] != ' ')
        return std::nullopt;
    while (i < n && line[i] == ' ')
        ++i;
    if (i < n && line[i] == '@') {
        const std::size_t close = line.find('@', i + 1);
        if (close == std::string_view::npos || close - i + 1 < 3 || close + 1 >= n || line[close + 1] != ' ')
            return std::nullopt;
        fields.xrefStart = static_cast<std::uint32_t>(i);
        fields.xrefLength = static_cast<std::uint32_t>(close - i + 1);
        i = close + 1;
        while (i < n && line[i] == ' ')
            ++i;
    }
    const std::size_t tagStart = i;
    while (i < n && line[i] != ' ')
        ++i;
    if (i == tagStart)
        return std::nullopt;
    fields.tagStart = static_cast<std::uint32_t>(tagStart);
    fields.tagLength = static_cast<std::uint32_t>(i - tagStart);
    fields.hasValue = i < n;
    return fields;
}

} // namespace detail

namespace GedcomReader {

std::optional<Line> parseLine(std::string_view line)
{
    const std::optional<detail::LineFields> fields = detail::parseLineFields(line);
    if (!fields)
        return std::nullopt;
    Line result;
    result.level = fields->level;
    if (fields->xrefLength > 0)
        result.xref = std::string(line.substr(fields->xrefStart, fields->xrefLength));
    result.tag = std::string(line.substr(fields->tagStart, fields->tagLength));
    if (fields->hasValue)
        result.value = std::string(line.substr(fields->tagStart + fields->tagLength + 1));
    return result;
}

SplitText splitLines(std::string_view text)
{
    SplitText split;
    LineScanner scanner(text);
    std::string_view line;
    while (scanner.next(line))
        split.lines.push_back(line);
    split.lf = scanner.lf;
    split.crlf = scanner.crlf;
    split.cr = scanner.cr;
    split.lfcr = scanner.lfcr;
    split.endsWithNewline = scanner.endsWithNewline();
    return split;
}

std::string_view chooseLineEnding(std::size_t lf, std::size_t crlf, std::size_t cr, std::size_t lfcr)
{
    if (lfcr > lf && lfcr > crlf && lfcr > cr)
        return "\n\r";
    if (crlf > 0 && crlf >= lf && crlf >= cr)
        return "\r\n";
    if (lf < cr)
        return "\r";
    return "\n";
}

GedcomDocument read(std::string bytes, const ProgressCallback& progress)
{
    return read(std::move(bytes), ReadOptions{}, progress);
}

GedcomDocument read(std::string bytes, const ReadOptions& options, const ProgressCallback& progress)
{
    if (progress)
        progress({readingStage, 0.0});
    TextEncodings::DecodedText decoded = TextEncodings::decode(std::move(bytes), options.encoding);
    GedcomDocument document;
    document.encoding = decoded.encoding;
    document.hasBOM = decoded.hasBOM;
    document.readNotes = std::move(decoded.notes);
    if (!decoded.keptLines.empty()) {
        // Lines are numbered from 1 in the order they were split, as the tree builder numbers nodes.
        std::vector<std::pair<std::int64_t, std::string>> kept;
        kept.reserve(decoded.keptLines.size());
        for (auto& [index, lineBytes] : decoded.keptLines)
            kept.emplace_back(static_cast<std::int64_t>(index) + 1, std::move(lineBytes));
        document.setKeptBytes(std::move(kept));
    }

    const auto text = std::make_shared<const std::string>(std::move(decoded.text));
    const std::string_view all(*text);
    const unsigned threads =
        options.threads != 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
    const std::vector<std::size_t> starts = partStarts(
        all, std::min<std::size_t>(threads, all.size() / std::max<std::size_t>(options.minPartBytes, 1)));
    const auto partAt = [&](std::size_t k) {
        const std::size_t end = k + 1 < starts.size() ? starts[k + 1] : all.size();
        return all.substr(starts[k], end - starts[k]);
    };

    // Helpers read the later parts and say now and then how far they got; this thread reads the
    // first and tells the progress. Decoding is quick next to building the tree: a tenth of the
    // way. The lines, measured by their bytes, take the rest.
    constexpr std::size_t reportEvery = std::size_t{1} << 20;
    std::atomic<std::size_t> helpersDone{0};
    std::vector<std::future<ReadPart>> helpers;
    for (std::size_t k = 1; k < starts.size(); ++k) {
        helpers.push_back(std::async(std::launch::async, [&, part = partAt(k)] {
            std::size_t told = 0;
            ReadPart read = readPart(text, part, [&](std::size_t done) {
                if (done - told >= reportEvery) {
                    helpersDone.fetch_add(done - told, std::memory_order_relaxed);
                    told = done;
                }
            });
            helpersDone.fetch_add(part.size() - told, std::memory_order_relaxed);
            return read;
        }));
    }
    ProgressMeter meter(progress, readingStage, static_cast<double>(all.size()), 0.1);
    std::vector<ReadPart> parts;
    parts.reserve(starts.size());
    parts.push_back(readPart(text, partAt(0), [&](std::size_t done) {
        meter.advance(static_cast<double>(done + helpersDone.load(std::memory_order_relaxed)));
    }));
    for (std::future<ReadPart>& helper : helpers) {
        if (progress) {
            while (helper.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready)
                meter.advance(
                    static_cast<double>(partAt(0).size() + helpersDone.load(std::memory_order_relaxed)));
        }
        parts.push_back(helper.get());
    }

    // Joined in order, the parts number their lines from 1 on as the file has them.
    std::int64_t lines = 0;
    std::size_t lf = 0, crlf = 0, cr = 0, lfcr = 0;
    for (ReadPart& part : parts) {
        for (BuiltChunk& built : part.chunks) {
            built.chunk->firstID = lines + 1;
            lines += static_cast<std::int64_t>(built.chunk->slots.size());
            document.appendChunk(std::move(built.chunk), built.roots);
        }
        lf += part.scanner.lf;
        crlf += part.scanner.crlf;
        cr += part.scanner.cr;
        lfcr += part.scanner.lfcr;
    }
    document.nextID = lines + 1;
    document.lineEnding = std::string(chooseLineEnding(lf, crlf, cr, lfcr));
    document.endsWithNewline = parts.back().scanner.endsWithNewline();
    meter.finish();
    return document;
}

} // namespace GedcomReader
} // namespace kinloom
