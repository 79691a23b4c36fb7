#include "document/TextEncoding.h"

#include "document/Ansel.h"
#include "document/GedcomReader.h"
#include "document/Text.h"

#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace kinloom {
using Text::isBlank;

namespace {

struct EncodingNames
{
    TextEncoding encoding;
    std::string_view display;
    std::string_view raw;
};

constexpr std::array<EncodingNames, 9> encodingNames{{
    {TextEncoding::utf8, "UTF-8", "utf8"},
    {TextEncoding::utf16LE, "UTF-16 (little-endian)", "utf16LE"},
    {TextEncoding::utf16BE, "UTF-16 (big-endian)", "utf16BE"},
    {TextEncoding::ansel, "ANSEL", "ansel"},
    {TextEncoding::ascii, "ASCII", "ascii"},
    {TextEncoding::windows1252, "ANSI (Windows-1252)", "windows1252"},
    {TextEncoding::macRoman, "Mac Roman", "macRoman"},
    {TextEncoding::ibmPC, "IBM PC", "ibmPC"},
    {TextEncoding::latin1, "Latin-1", "latin1"},
}};

const EncodingNames& namesOf(TextEncoding encoding)
{
    return encodingNames[static_cast<std::size_t>(encoding)];
}

constexpr std::string_view replacementUTF8 = "\xEF\xBF\xBD";

constexpr std::string_view noteRepairedUTF8 = "Some bytes weren’t valid UTF-8 and were replaced with �.";
constexpr std::string_view noteAnselIsUTF8 =
    "The file says ANSEL but its text is UTF-8; it was read (and will be saved) as UTF-8.";
constexpr std::string_view noteAnselReplaced =
    "Some ANSEL bytes had no known character and were replaced with �.";
constexpr std::string_view noteAsciiIsUTF8 = "The file says ASCII but has UTF-8 characters; read as UTF-8.";
constexpr std::string_view noteAsciiIs1252 =
    "The file says ASCII but has other characters; read as Windows-1252.";
constexpr std::string_view noteNotUTF8 =
    "The file says UTF-8 but has bytes that aren’t; read as Windows-1252.";
constexpr std::string_view noteReadAsLatin1 = "Read as Latin-1.";

// ---- UTF-8 ----------------------------------------------------------------------------------

constexpr std::uint64_t highBits = 0x8080808080808080ULL;

/// How many leading bytes are below 0x80, looked at a word at a time.
std::size_t asciiPrefix(const unsigned char* p, std::size_t n)
{
    std::size_t i = 0;
    while (i + 16 <= n) {
        std::uint64_t a;
        std::uint64_t b;
        std::memcpy(&a, p + i, 8);
        std::memcpy(&b, p + i + 8, 8);
        if (((a | b) & highBits) != 0)
            break;
        i += 16;
    }
    if constexpr (std::endian::native == std::endian::little) {
        // The lowest set high bit marks the first non-ASCII byte of the word.
        while (i + 8 <= n) {
            std::uint64_t word;
            std::memcpy(&word, p + i, 8);
            if (const std::uint64_t high = word & highBits; high != 0)
                return i + static_cast<std::size_t>(std::countr_zero(high)) / 8;
            i += 8;
        }
    }
    while (i < n && p[i] < 0x80)
        ++i;
    return i;
}

struct Sequence
{
    std::size_t length; ///< bytes of the sequence, or of the maximal invalid subpart
    bool valid;
};

/// The sequence at p, judged by the well-formed byte ranges of UTF-8 (no overlongs, no
/// surrogates, nothing above U+10FFFF). An invalid one reports its maximal subpart: the longest
/// prefix that could still have begun a well-formed sequence, at least one byte.
Sequence sequenceAt(const unsigned char* p, std::size_t available)
{
    const unsigned lead = p[0];
    if (lead < 0x80)
        return {1, true};
    std::size_t trail = 0;
    unsigned low = 0x80;
    unsigned high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        trail = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trail = 2;
        if (lead == 0xE0)
            low = 0xA0;
        if (lead == 0xED)
            high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trail = 3;
        if (lead == 0xF0)
            low = 0x90;
        if (lead == 0xF4)
            high = 0x8F;
    } else {
        return {1, false};
    }
    if (available < 2 || p[1] < low || p[1] > high)
        return {1, false};
    for (std::size_t k = 2; k <= trail; ++k) {
        if (k >= available || (p[k] & 0xC0) != 0x80)
            return {k, false};
    }
    return {trail + 1, true};
}

struct UTF8Facts
{
    bool valid = true;
    bool ascii = true;
};

UTF8Facts scanUTF8(std::string_view bytes)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    UTF8Facts facts;
    std::size_t i = 0;
    while (i < n) {
        i += asciiPrefix(p + i, n - i);
        // Names with accents come in short bursts: step through them, then back to the word loop.
        while (i < n && p[i] >= 0x80) {
            facts.ascii = false;
            const Sequence sequence = sequenceAt(p + i, n - i);
            if (!sequence.valid) {
                facts.valid = false;
                return facts;
            }
            i += sequence.length;
        }
    }
    return facts;
}

/// Invalid input becomes U+FFFD, one per maximal subpart (the Unicode "substitution of maximal
/// subparts" practice, as most converters do), so "E0 80" gives two and a cut-off "E2 82" one.
std::string repairUTF8(std::string_view bytes)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    std::string out;
    out.reserve(n + n / 8 + 16);
    std::size_t runStart = 0;
    std::size_t i = 0;
    while (i < n) {
        i += asciiPrefix(p + i, n - i);
        if (i >= n)
            break;
        const Sequence sequence = sequenceAt(p + i, n - i);
        if (!sequence.valid) {
            out.append(bytes.substr(runStart, i - runStart));
            out.append(replacementUTF8);
            runStart = i + sequence.length;
        }
        i += sequence.length;
    }
    out.append(bytes.substr(runStart));
    return out;
}

void appendUTF8(std::string& out, char32_t scalar)
{
    if (scalar < 0x80) {
        out.push_back(static_cast<char>(scalar));
    } else if (scalar < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (scalar >> 6)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    } else if (scalar < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (scalar >> 12)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (scalar >> 18)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    }
}

/// The scalar of a sequence already known to be well formed.
char32_t scalarOf(const unsigned char* p, std::size_t length)
{
    switch (length) {
    case 1:
        return p[0];
    case 2:
        return (char32_t(p[0] & 0x1F) << 6) | (p[1] & 0x3F);
    case 3:
        return (char32_t(p[0] & 0x0F) << 12) | (char32_t(p[1] & 0x3F) << 6) | (p[2] & 0x3F);
    default:
        return (char32_t(p[0] & 0x07) << 18) | (char32_t(p[1] & 0x3F) << 12) | (char32_t(p[2] & 0x3F) << 6) |
               (p[3] & 0x3F);
    }
}

// ---- iconv ----------------------------------------------------------------------------------

/// One whole-buffer conversion; none when the converter refuses anything, including a
/// cut-off tail or a character it could only give approximately.
std::optional<std::string> convert(const char* from, const char* to, std::string_view in,
                                   std::size_t capacity)
{
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1))
        return std::nullopt;
    std::string out(capacity, '\0');
    char* inPtr = const_cast<char*>(in.data());
    std::size_t inLeft = in.size();
    char* outPtr = out.data();
    std::size_t outLeft = out.size();
    std::size_t irreversible = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
    if (irreversible == 0)
        irreversible = iconv(cd, nullptr, nullptr, &outPtr, &outLeft);
    iconv_close(cd);
    if (irreversible != 0 || inLeft != 0)
        return std::nullopt;
    out.resize(out.size() - outLeft);
    return out;
}

const char* utf16Name(TextEncoding encoding)
{
    return encoding == TextEncoding::utf16LE ? "UTF-16LE" : "UTF-16BE";
}

// ---- single-byte character sets -------------------------------------------------------------

/// A stateless single-byte character set as the platform converter sees it, asked once per byte.
struct ByteTable
{
    std::array<std::array<char, 4>, 256> utf8{};
    std::array<std::uint8_t, 256> length{};                 ///< 0: the converter refuses the byte
    bool asciiIdentity = true;                              ///< bytes below 0x80 are themselves
    std::vector<std::pair<char32_t, std::uint8_t>> reverse; ///< sorted by scalar

    void set(unsigned byte, std::string_view text)
    {
        length[byte] = static_cast<std::uint8_t>(text.size());
        std::copy(text.begin(), text.end(), utf8[byte].begin());
    }
};

void finishTable(ByteTable& table)
{
    for (unsigned byte = 0; byte < 256; ++byte) {
        const std::size_t length = table.length[byte];
        if (byte < 0x80 && !(length == 1 && static_cast<unsigned char>(table.utf8[byte][0]) == byte))
            table.asciiIdentity = false;
        if (length == 0)
            continue;
        const char32_t scalar =
            scalarOf(reinterpret_cast<const unsigned char*>(table.utf8[byte].data()), length);
        table.reverse.emplace_back(scalar, static_cast<std::uint8_t>(byte));
    }
    // Should two bytes give one character, the lower byte is the one written back.
    std::stable_sort(table.reverse.begin(), table.reverse.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
}

ByteTable buildTable(const char* charset)
{
    ByteTable table;
    iconv_t cd = iconv_open("UTF-8", charset);
    if (cd != reinterpret_cast<iconv_t>(-1)) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            char in = static_cast<char>(byte);
            char* inPtr = &in;
            std::size_t inLeft = 1;
            std::array<char, 8> out{};
            char* outPtr = out.data();
            std::size_t outLeft = out.size();
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
            const std::size_t result = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
            const std::string_view text(out.data(), out.size() - outLeft);
            // Anything but exactly one well-formed character is a refusal.
            const auto* p = reinterpret_cast<const unsigned char*>(text.data());
            if (result == 0 && inLeft == 0 && !text.empty() && text.size() <= 4) {
                const Sequence sequence = sequenceAt(p, text.size());
                if (sequence.valid && sequence.length == text.size())
                    table.set(byte, text);
            }
        }
        iconv_close(cd);
    }
    return table;
}

const ByteTable& latin1Table()
{
    static const ByteTable table = [] {
        ByteTable built = buildTable("LATIN1");
        // Latin-1 is every byte as the scalar of the same number; it must never refuse.
        for (unsigned byte = 0; byte < 256; ++byte) {
            if (built.length[byte] != 0)
                continue;
            std::string text;
            appendUTF8(text, byte);
            built.set(byte, text);
        }
        finishTable(built);
        return built;
    }();
    return table;
}

const ByteTable& tableFor(TextEncoding encoding)
{
    const auto make = [](const char* charset) {
        ByteTable table = buildTable(charset);
        finishTable(table);
        return table;
    };
    switch (encoding) {
    case TextEncoding::windows1252: {
        static const ByteTable table = make("CP1252");
        return table;
    }
    case TextEncoding::macRoman: {
        static const ByteTable table = make("MACINTOSH");
        return table;
    }
    case TextEncoding::ibmPC: {
        static const ByteTable table = make("CP437");
        return table;
    }
    case TextEncoding::ascii: {
        static const ByteTable table = make("ASCII");
        return table;
    }
    default:
        return latin1Table();
    }
}

/// The bytes through a table, or none when the table refuses one of them.
std::optional<std::string> decodeWithTable(const ByteTable& table, std::string_view bytes)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    // First pass: the exact length, and whether anything is refused.
    std::size_t total = 0;
    for (std::size_t i = 0; i < n;) {
        if (table.asciiIdentity) {
            const std::size_t run = asciiPrefix(p + i, n - i);
            total += run;
            i += run;
            if (i >= n)
                break;
        }
        if (table.length[p[i]] == 0)
            return std::nullopt;
        total += table.length[p[i]];
        ++i;
    }
    std::string out(total, '\0');
    char* o = out.data();
    for (std::size_t i = 0; i < n;) {
        if (table.asciiIdentity) {
            const std::size_t run = asciiPrefix(p + i, n - i);
            std::memcpy(o, p + i, run);
            o += run;
            i += run;
            if (i >= n)
                break;
        }
        const std::size_t length = table.length[p[i]];
        std::memcpy(o, table.utf8[p[i]].data(), length);
        o += length;
        ++i;
    }
    return out;
}

std::optional<std::string> encodeWithTable(const ByteTable& table, std::string_view text)
{
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    std::string out;
    out.reserve(n);
    for (std::size_t i = 0; i < n;) {
        if (table.asciiIdentity) {
            const std::size_t run = asciiPrefix(p + i, n - i);
            out.append(text.substr(i, run));
            i += run;
            if (i >= n)
                break;
        }
        const Sequence sequence = sequenceAt(p + i, n - i);
        if (!sequence.valid)
            return std::nullopt;
        const char32_t scalar = scalarOf(p + i, sequence.length);
        const auto found = std::lower_bound(table.reverse.begin(), table.reverse.end(), scalar,
                                            [](const auto& entry, char32_t s) { return entry.first < s; });
        if (found == table.reverse.end() || found->first != scalar)
            return std::nullopt;
        out.push_back(static_cast<char>(found->second));
        i += sequence.length;
    }
    return out;
}

void decodeSingleByte(std::string& bytes, bool pureASCII, TextEncoding target,
                      std::optional<std::string_view> leadingNote, TextEncodings::DecodedText& result)
{
    result.encoding = target;
    if (leadingNote)
        result.notes.emplace_back(*leadingNote);
    const ByteTable& table = tableFor(target);
    if (pureASCII && table.asciiIdentity) {
        result.text = std::move(bytes);
        return;
    }
    if (auto text = decodeWithTable(table, bytes)) {
        result.text = std::move(*text);
        return;
    }
    // Windows-1252 files with a stray unassigned byte are common enough not to mention.
    result.text = decodeWithTable(latin1Table(), bytes).value_or(std::string());
    if (target != TextEncoding::windows1252)
        result.notes.emplace_back(noteReadAsLatin1);
}

} // namespace

std::string_view displayName(TextEncoding encoding)
{
    return namesOf(encoding).display;
}

std::string_view rawValue(TextEncoding encoding)
{
    return namesOf(encoding).raw;
}

std::optional<TextEncoding> textEncodingFromRawValue(std::string_view raw)
{
    for (const auto& names : encodingNames) {
        if (names.raw == raw)
            return names.encoding;
    }
    return std::nullopt;
}

namespace TextEncodings {

DecodedText decode(std::string bytes)
{
    DecodedText result;
    const std::string_view view(bytes);

    if (view.starts_with("\xEF\xBB\xBF")) {
        result.hasBOM = true;
        bytes.erase(0, 3);
        if (isValidUTF8(bytes)) {
            result.text = std::move(bytes);
        } else {
            result.text = repairUTF8(bytes);
            result.notes.emplace_back(noteRepairedUTF8);
        }
        return result;
    }

    std::optional<TextEncoding> utf16;
    std::size_t skip = 0;
    if (view.starts_with("\xFF\xFE")) {
        utf16 = TextEncoding::utf16LE;
        skip = 2;
    } else if (view.starts_with("\xFE\xFF")) {
        utf16 = TextEncoding::utf16BE;
        skip = 2;
    } else if (view.size() >= 2 && view[0] != '\0' && view[1] == '\0') {
        utf16 = TextEncoding::utf16LE;
    } else if (view.size() >= 2 && view[0] == '\0' && view[1] != '\0') {
        utf16 = TextEncoding::utf16BE;
    }
    if (utf16) {
        result.encoding = *utf16;
        result.hasBOM = skip != 0;
        const std::string_view units = view.substr(skip);
        // Every two-byte unit gives at most three bytes of UTF-8 (a pair of units, four).
        result.text =
            convert(utf16Name(*utf16), "UTF-8", units, units.size() / 2 * 3 + 4).value_or(std::string());
        return result;
    }

    const auto declaredValue = declaredCharValue(view);
    const auto declared = declaredValue ? encodingFromCharValue(*declaredValue) : std::nullopt;
    const UTF8Facts facts = scanUTF8(view);

    const auto readAsUTF8 = [&](std::optional<std::string_view> note) {
        result.encoding = TextEncoding::utf8;
        result.text = std::move(bytes);
        if (note)
            result.notes.emplace_back(*note);
    };

    switch (declared.value_or(TextEncoding::utf8)) {
    case TextEncoding::ansel:
        if (!facts.ascii && facts.valid) {
            readAsUTF8(noteAnselIsUTF8);
        } else {
            Ansel::Decoded decoded = Ansel::decode(view);
            result.encoding = TextEncoding::ansel;
            result.text = std::move(decoded.text);
            if (decoded.replaced)
                result.notes.emplace_back(noteAnselReplaced);
        }
        break;
    case TextEncoding::windows1252:
    case TextEncoding::latin1:
    case TextEncoding::macRoman:
    case TextEncoding::ibmPC:
        decodeSingleByte(bytes, facts.ascii, *declared, std::nullopt, result);
        break;
    case TextEncoding::ascii:
        if (facts.ascii) {
            result.encoding = TextEncoding::ascii;
            result.text = std::move(bytes);
        } else if (facts.valid) {
            readAsUTF8(noteAsciiIsUTF8);
        } else {
            decodeSingleByte(bytes, false, TextEncoding::windows1252, noteAsciiIs1252, result);
        }
        break;
    default:
        if (facts.valid)
            readAsUTF8(std::nullopt);
        else
            decodeSingleByte(bytes, false, TextEncoding::windows1252, noteNotUTF8, result);
        break;
    }
    return result;
}

std::optional<TextEncoding> encodingFromCharValue(std::string_view charValue)
{
    while (!charValue.empty() && isBlank(charValue.front()))
        charValue.remove_prefix(1);
    while (!charValue.empty() && isBlank(charValue.back()))
        charValue.remove_suffix(1);
    std::string upper(charValue);
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }

    struct Spelling
    {
        std::string_view value;
        TextEncoding encoding;
    };
    static constexpr std::array<Spelling, 16> spellings{{
        {"ANSEL", TextEncoding::ansel},
        {"ANSI", TextEncoding::windows1252},
        {"WINDOWS-1252", TextEncoding::windows1252},
        {"CP1252", TextEncoding::windows1252},
        {"WINDOWS", TextEncoding::windows1252},
        {"IBM WINDOWS", TextEncoding::windows1252},
        {"ISO-8859-1", TextEncoding::latin1},
        {"ISO8859-1", TextEncoding::latin1},
        {"LATIN1", TextEncoding::latin1},
        {"LATIN-1", TextEncoding::latin1},
        {"MACINTOSH", TextEncoding::macRoman},
        {"MACROMAN", TextEncoding::macRoman},
        {"IBMPC", TextEncoding::ibmPC},
        {"IBM PC", TextEncoding::ibmPC},
        {"IBM DOS", TextEncoding::ibmPC},
        {"ASCII", TextEncoding::ascii},
    }};
    for (const auto& spelling : spellings) {
        if (spelling.value == upper)
            return spelling.encoding;
    }
    return std::nullopt;
}

std::optional<std::string> declaredCharValue(std::string_view bytes)
{
    const std::size_t n = bytes.size();
    // The next LF is looked up again only once passed, and a CR only inside the line it bounds,
    // so finding the header on top costs a few lines, not a sweep of the whole file.
    std::size_t nextLF = std::min(bytes.find('\n'), n);
    bool inHead = false;
    std::size_t pos = 0;
    while (pos < n) {
        if (nextLF < pos)
            nextLF = std::min(bytes.find('\n', pos), n);
        const std::size_t cr = bytes.substr(pos, nextLF - pos).find('\r');
        const std::size_t end = cr == std::string_view::npos ? nextLF : pos + cr;
        const std::string_view line = bytes.substr(pos, end - pos);
        if (const auto fields = detail::parseLineFields(line)) {
            const std::string_view tag = line.substr(fields->tagStart, fields->tagLength);
            if (fields->level == 0) {
                if (inHead)
                    return std::nullopt;
                inHead = tag == "HEAD";
            } else if (inHead && tag == "CHAR") {
                const std::string_view value = fields->hasValue
                                                   ? line.substr(fields->tagStart + fields->tagLength + 1)
                                                   : std::string_view();
                return isValidUTF8(value) ? std::string(value) : repairUTF8(value);
            }
        }
        pos = end + 1;
        if (end < n && bytes[end] == '\r' && pos < n && bytes[pos] == '\n')
            ++pos;
    }
    return std::nullopt;
}

bool isValidUTF8(std::string_view bytes)
{
    return scanUTF8(bytes).valid;
}

std::optional<std::string> encode(std::string_view text, TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::utf8:
        return std::string(text);
    case TextEncoding::utf16LE:
    case TextEncoding::utf16BE:
        // Every byte of UTF-8 gives at most two bytes of UTF-16.
        return convert("UTF-8", utf16Name(encoding), text, text.size() * 2 + 4);
    case TextEncoding::ansel:
        return Ansel::encode(text);
    case TextEncoding::windows1252:
        // A file whose bytes Windows-1252 refused was read as Latin-1; writing it the same way
        // gives its bytes back.
        if (auto encoded = encodeWithTable(tableFor(encoding), text))
            return encoded;
        return encodeWithTable(latin1Table(), text);
    case TextEncoding::ascii:
    case TextEncoding::macRoman:
    case TextEncoding::ibmPC:
    case TextEncoding::latin1:
        return encodeWithTable(tableFor(encoding), text);
    }
    return std::nullopt;
}

} // namespace TextEncodings
} // namespace kinloom
