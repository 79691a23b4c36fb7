// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/TextEncoding.h"

#include "document/Ansel.h"
#include "document/EncodingGuess.h"
#include "document/GedcomReader.h"
#include "document/Text.h"

#include <iconv.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <utility>

namespace kinloom {
using Text::isBlank;

namespace {

struct EncodingNames
{
    TextEncoding encoding;
    std::string_view display;
    std::string_view shortName;
    std::string_view raw;
    const char* converter; ///< the platform converter's name; none for our own decoders
};

constexpr std::array<EncodingNames, 36> encodingNames{{
    {TextEncoding::utf8, "UTF-8", "UTF-8", "utf8", "UTF-8"},
    {TextEncoding::utf16LE, "UTF-16 (little-endian)", "UTF-16", "utf16LE", "UTF-16LE"},
    {TextEncoding::utf16BE, "UTF-16 (big-endian)", "UTF-16", "utf16BE", "UTF-16BE"},
    {TextEncoding::ansel, "ANSEL", "ANSEL", "ansel", nullptr},
    {TextEncoding::ascii, "ASCII", "ASCII", "ascii", "ASCII"},
    {TextEncoding::windows1252, "ANSI (Windows-1252)", "Windows-1252", "windows1252", "CP1252"},
    {TextEncoding::macRoman, "Mac Roman", "Mac Roman", "macRoman", "MACINTOSH"},
    {TextEncoding::ibmPC, "IBM PC", "IBM PC", "ibmPC", "CP437"},
    {TextEncoding::latin1, "Latin-1", "Latin-1", "latin1", "LATIN1"},
    {TextEncoding::windows1250, "Windows-1250 (Central European)", "Windows-1250", "windows1250", "CP1250"},
    {TextEncoding::windows1251, "Windows-1251 (Cyrillic)", "Windows-1251", "windows1251", "CP1251"},
    {TextEncoding::windows1253, "Windows-1253 (Greek)", "Windows-1253", "windows1253", "CP1253"},
    {TextEncoding::windows1254, "Windows-1254 (Turkish)", "Windows-1254", "windows1254", "CP1254"},
    {TextEncoding::windows1255, "Windows-1255 (Hebrew)", "Windows-1255", "windows1255", "CP1255"},
    {TextEncoding::windows1256, "Windows-1256 (Arabic)", "Windows-1256", "windows1256", "CP1256"},
    {TextEncoding::windows1257, "Windows-1257 (Baltic)", "Windows-1257", "windows1257", "CP1257"},
    {TextEncoding::windows1258, "Windows-1258 (Vietnamese)", "Windows-1258", "windows1258", "CP1258"},
    {TextEncoding::iso8859_2, "ISO-8859-2 (Central European)", "ISO-8859-2", "iso8859_2", "ISO-8859-2"},
    {TextEncoding::iso8859_3, "ISO-8859-3 (South European)", "ISO-8859-3", "iso8859_3", "ISO-8859-3"},
    {TextEncoding::iso8859_4, "ISO-8859-4 (Baltic)", "ISO-8859-4", "iso8859_4", "ISO-8859-4"},
    {TextEncoding::iso8859_5, "ISO-8859-5 (Cyrillic)", "ISO-8859-5", "iso8859_5", "ISO-8859-5"},
    {TextEncoding::iso8859_6, "ISO-8859-6 (Arabic)", "ISO-8859-6", "iso8859_6", "ISO-8859-6"},
    {TextEncoding::iso8859_7, "ISO-8859-7 (Greek)", "ISO-8859-7", "iso8859_7", "ISO-8859-7"},
    {TextEncoding::iso8859_8, "ISO-8859-8 (Hebrew)", "ISO-8859-8", "iso8859_8", "ISO-8859-8"},
    {TextEncoding::iso8859_9, "ISO-8859-9 (Turkish)", "ISO-8859-9", "iso8859_9", "ISO-8859-9"},
    {TextEncoding::iso8859_10, "ISO-8859-10 (Nordic)", "ISO-8859-10", "iso8859_10", "ISO-8859-10"},
    {TextEncoding::iso8859_11, "ISO-8859-11 (Thai)", "ISO-8859-11", "iso8859_11", "ISO-8859-11"},
    {TextEncoding::iso8859_13, "ISO-8859-13 (Baltic)", "ISO-8859-13", "iso8859_13", "ISO-8859-13"},
    {TextEncoding::iso8859_14, "ISO-8859-14 (Celtic)", "ISO-8859-14", "iso8859_14", "ISO-8859-14"},
    {TextEncoding::iso8859_15, "ISO-8859-15 (Western European)", "ISO-8859-15", "iso8859_15", "ISO-8859-15"},
    {TextEncoding::iso8859_16, "ISO-8859-16 (South-Eastern European)", "ISO-8859-16", "iso8859_16",
     "ISO-8859-16"},
    {TextEncoding::koi8R, "KOI8-R (Cyrillic)", "KOI8-R", "koi8R", "KOI8-R"},
    {TextEncoding::koi8U, "KOI8-U (Ukrainian)", "KOI8-U", "koi8U", "KOI8-U"},
    {TextEncoding::dos850, "DOS 850 (Western European)", "DOS 850", "dos850", "CP850"},
    {TextEncoding::dos852, "DOS 852 (Central European)", "DOS 852", "dos852", "CP852"},
    {TextEncoding::dos866, "DOS 866 (Cyrillic)", "DOS 866", "dos866", "CP866"},
}};

const EncodingNames& namesOf(TextEncoding encoding)
{
    return encodingNames[static_cast<std::size_t>(encoding)];
}

std::string upperCase(std::string_view text)
{
    std::string upper(text);
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return upper;
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
/// Every byte decodes to something: a byte the converter refuses becomes the control character of
/// the same number when it lies in 0x80–0x9F (as Latin-1 would read it, and writable back), or
/// else U+FFFD.
struct ByteTable
{
    std::array<std::array<char, 4>, 256> utf8{};
    std::array<std::uint8_t, 256> length{};
    std::array<bool, 256> lossy{}; ///< does not encode back to itself
    bool anyLossy = false;
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
        const char32_t scalar =
            scalarOf(reinterpret_cast<const unsigned char*>(table.utf8[byte].data()), length);
        if (scalar == 0xFFFD)
            table.lossy[byte] = true;
        else
            table.reverse.emplace_back(scalar, static_cast<std::uint8_t>(byte));
    }
    // Should two bytes give one character, the lower byte is the one written back.
    std::stable_sort(table.reverse.begin(), table.reverse.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t i = 1; i < table.reverse.size(); ++i) {
        if (table.reverse[i].first == table.reverse[i - 1].first)
            table.lossy[table.reverse[i].second] = true;
    }
    table.anyLossy = std::find(table.lossy.begin(), table.lossy.end(), true) != table.lossy.end();
}

ByteTable buildTable(const char* charset, bool fillControls)
{
    ByteTable table;
    iconv_t cd = iconv_open("UTF-8", charset);
    for (unsigned byte = 0; byte < 256; ++byte) {
        if (cd != reinterpret_cast<iconv_t>(-1)) {
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
                if (sequence.valid && sequence.length == text.size()) {
                    table.set(byte, text);
                    continue;
                }
            }
        }
        std::string fill;
        appendUTF8(fill, (fillControls && byte >= 0x80 && byte <= 0x9F) || byte < 0x80 ? byte : 0xFFFD);
        table.set(byte, fill);
    }
    if (cd != reinterpret_cast<iconv_t>(-1))
        iconv_close(cd);
    finishTable(table);
    return table;
}

bool isSingleByte(TextEncoding encoding)
{
    return encoding != TextEncoding::utf8 && encoding != TextEncoding::utf16LE &&
           encoding != TextEncoding::utf16BE && encoding != TextEncoding::ansel;
}

const ByteTable& tableFor(TextEncoding encoding)
{
    static std::array<std::once_flag, encodingNames.size()> once;
    static std::array<ByteTable, encodingNames.size()> tables;
    const auto index = static_cast<std::size_t>(encoding);
    std::call_once(once[index], [&] {
        tables[index] = buildTable(namesOf(encoding).converter, encoding != TextEncoding::ascii);
    });
    return tables[index];
}

/// The bytes through a table; `lossy` tells whether some byte will not encode back to itself.
std::string decodeWithTable(const ByteTable& table, std::string_view bytes, bool& lossy)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    // First pass: the exact length.
    std::size_t total = 0;
    for (std::size_t i = 0; i < n;) {
        if (table.asciiIdentity) {
            const std::size_t run = asciiPrefix(p + i, n - i);
            total += run;
            i += run;
            if (i >= n)
                break;
        }
        total += table.length[p[i]];
        lossy = lossy || table.lossy[p[i]];
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

// ---- UTF-16 -----------------------------------------------------------------------------------

std::uint32_t unitAt(const unsigned char* p, bool bigEndian)
{
    return bigEndian ? (std::uint32_t{p[0]} << 8) | p[1] : (std::uint32_t{p[1]} << 8) | p[0];
}

/// UTF-16 as UTF-8; an unpaired surrogate or a lone last byte becomes U+FFFD and sets `repaired`.
std::string decodeUTF16(std::string_view bytes, bool bigEndian, bool& repaired)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    std::string out;
    out.reserve(n / 2 * 3 / 2 + 4);
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const std::uint32_t unit = unitAt(p + i, bigEndian);
        if (unit < 0x80) {
            out.push_back(static_cast<char>(unit));
        } else if (unit >= 0xD800 && unit <= 0xDBFF && i + 4 <= n && unitAt(p + i + 2, bigEndian) >= 0xDC00 &&
                   unitAt(p + i + 2, bigEndian) <= 0xDFFF) {
            appendUTF8(out, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(p + i + 2, bigEndian) - 0xDC00));
            i += 2;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            out.append(replacementUTF8);
            repaired = true;
        } else {
            appendUTF8(out, unit);
        }
    }
    if (i < n) {
        out.append(replacementUTF8);
        repaired = true;
    }
    return out;
}

// ---- lines that keep their bytes ---------------------------------------------------------------

/// Walks lines split at LF, CRLF and CR, in text or in the code units of UTF-16 bytes.
class LineCursor
{
public:
    LineCursor(std::string_view data, std::size_t unit, bool bigEndian)
        : m_data(data), m_unit(unit), m_bigEndian(bigEndian)
    {}

    bool next(std::string_view& line)
    {
        const std::size_t n = m_data.size();
        if (m_pos >= n)
            return false;
        std::size_t i = m_pos;
        while (i + m_unit <= n && !isBreak(valueAt(i)))
            i += m_unit;
        if (i + m_unit > n)
            i = n;
        line = m_data.substr(m_pos, i - m_pos);
        if (i >= n) {
            m_pos = n;
        } else {
            const bool crlf = valueAt(i) == '\r' && i + 2 * m_unit <= n && valueAt(i + m_unit) == '\n';
            m_pos = i + (crlf ? 2 : 1) * m_unit;
        }
        return true;
    }

private:
    static bool isBreak(std::uint32_t value) { return value == '\n' || value == '\r'; }
    std::uint32_t valueAt(std::size_t i) const
    {
        const auto* p = reinterpret_cast<const unsigned char*>(m_data.data() + i);
        return m_unit == 1 ? p[0] : unitAt(p, m_bigEndian);
    }

    std::string_view m_data;
    std::size_t m_unit;
    bool m_bigEndian;
    std::size_t m_pos = 0;
};

std::optional<std::string> encodeLine(std::string_view text, TextEncoding encoding);

/// The lines whose text does not encode back to the bytes they came from, with those bytes. Only
/// called when the decoder says some may not; lines of plain ASCII always do.
std::vector<std::pair<std::size_t, std::string>> keptLinesOf(std::string_view bytes, std::string_view text,
                                                             TextEncoding encoding)
{
    const bool utf16 = encoding == TextEncoding::utf16LE || encoding == TextEncoding::utf16BE;
    LineCursor byteLines(bytes, utf16 ? 2 : 1, encoding == TextEncoding::utf16BE);
    LineCursor textLines(text, 1, false);
    std::vector<std::pair<std::size_t, std::string>> kept;
    std::string_view byteLine;
    std::string_view textLine;
    for (std::size_t index = 0; byteLines.next(byteLine); ++index) {
        if (!textLines.next(textLine))
            textLine = {};
        if (!utf16 && asciiPrefix(reinterpret_cast<const unsigned char*>(byteLine.data()), byteLine.size()) ==
                          byteLine.size())
            continue;
        const std::optional<std::string> encoded = encodeLine(textLine, encoding);
        if (!encoded || *encoded != byteLine)
            kept.emplace_back(index, std::string(byteLine));
    }
    return kept;
}

std::string mislabelledNote(std::string_view said, TextEncoding found)
{
    return "The file says " + std::string(said) + " but its text looks like " +
           std::string(displayName(found)) + "; it was read (and will be saved) as " +
           std::string(shortName(found)) + ".";
}

std::string isUTF8Note(std::string_view said)
{
    return "The file says " + std::string(said) +
           " but its text is UTF-8; it was read (and will be saved) as UTF-8.";
}

std::optional<std::string> encodeLine(std::string_view text, TextEncoding encoding)
{
    return TextEncodings::encode(text, encoding);
}

/// A code page named by number, as ANSI's VERS line or a spelling such as CP1250 gives it.
std::optional<TextEncoding> codePage(int number)
{
    switch (number) {
    case 437:
        return TextEncoding::ibmPC;
    case 850:
        return TextEncoding::dos850;
    case 852:
        return TextEncoding::dos852;
    case 866:
        return TextEncoding::dos866;
    case 1250:
        return TextEncoding::windows1250;
    case 1251:
        return TextEncoding::windows1251;
    case 1252:
        return TextEncoding::windows1252;
    case 1253:
        return TextEncoding::windows1253;
    case 1254:
        return TextEncoding::windows1254;
    case 1255:
        return TextEncoding::windows1255;
    case 1256:
        return TextEncoding::windows1256;
    case 1257:
        return TextEncoding::windows1257;
    case 1258:
        return TextEncoding::windows1258;
    default:
        return std::nullopt;
    }
}

std::optional<TextEncoding> isoPart(int part)
{
    static constexpr std::array<TextEncoding, 17> parts{
        TextEncoding::latin1,     TextEncoding::latin1,     TextEncoding::iso8859_2,
        TextEncoding::iso8859_3,  TextEncoding::iso8859_4,  TextEncoding::iso8859_5,
        TextEncoding::iso8859_6,  TextEncoding::iso8859_7,  TextEncoding::iso8859_8,
        TextEncoding::iso8859_9,  TextEncoding::iso8859_10, TextEncoding::iso8859_11,
        TextEncoding::latin1,     TextEncoding::iso8859_13, TextEncoding::iso8859_14,
        TextEncoding::iso8859_15, TextEncoding::iso8859_16,
    };
    if (part < 1 || part > 16 || part == 12)
        return std::nullopt;
    return parts[static_cast<std::size_t>(part)];
}

/// The number at the end of a spelling after one of the prefixes (and an optional "-", "_" or
/// blank): "CP1250", "WINDOWS-1250", "ISO_8859-2"; none when it is not all digits.
std::optional<int> numberAfter(std::string_view upper, std::initializer_list<std::string_view> prefixes)
{
    for (const std::string_view prefix : prefixes) {
        if (!upper.starts_with(prefix))
            continue;
        std::string_view rest = upper.substr(prefix.size());
        if (!rest.empty() && (rest.front() == '-' || rest.front() == '_' || rest.front() == ' '))
            rest.remove_prefix(1);
        if (rest.empty() || rest.size() > 5)
            continue;
        int number = 0;
        const auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
        if (ec == std::errc() && end == rest.data() + rest.size())
            return number;
    }
    return std::nullopt;
}

/// A code-page spelling beyond the fixed ones: Windows, DOS and ISO numbers, LATIN2…, KOI8.
std::optional<TextEncoding> codePageSpelling(std::string_view upper)
{
    if (upper == "KOI8-R" || upper == "KOI8R" || upper == "KOI8_R")
        return TextEncoding::koi8R;
    if (upper == "KOI8-U" || upper == "KOI8U" || upper == "KOI8_U")
        return TextEncoding::koi8U;
    if (const auto number =
            numberAfter(upper, {"WINDOWS", "WIN", "MS", "CP", "ANSI", "IBM", "DOS", "MS-DOS"})) {
        if (const auto encoding = codePage(*number))
            return encoding;
    }
    if (const auto part = numberAfter(upper, {"ISO-8859", "ISO8859", "ISO_8859", "ISO 8859"}))
        return isoPart(*part);
    if (const auto latin = numberAfter(upper, {"LATIN"})) {
        // The Latin alphabets' numbers are not the ISO parts' numbers beyond 4.
        static constexpr std::array<int, 11> isoOfLatin{0, 1, 2, 3, 4, 9, 10, 13, 14, 15, 16};
        if (*latin >= 1 && *latin <= 10)
            return isoPart(isoOfLatin[static_cast<std::size_t>(*latin)]);
    }
    return std::nullopt;
}

/// The code page of a header language, for ANSI files that state no number.
std::optional<TextEncoding> codePageOfLanguage(std::string_view language)
{
    const std::string upper = upperCase(Text::trimmed(language));
    static constexpr std::array<std::pair<std::string_view, TextEncoding>, 16> languages{{
        {"POLISH", TextEncoding::windows1250},
        {"CZECH", TextEncoding::windows1250},
        {"SLOVAK", TextEncoding::windows1250},
        {"HUNGARIAN", TextEncoding::windows1250},
        {"SLOVENIAN", TextEncoding::windows1250},
        {"CROATIAN", TextEncoding::windows1250},
        {"RUSSIAN", TextEncoding::windows1251},
        {"UKRAINIAN", TextEncoding::windows1251},
        {"BELARUSIAN", TextEncoding::windows1251},
        {"BULGARIAN", TextEncoding::windows1251},
        {"SERBIAN", TextEncoding::windows1251},
        {"GREEK", TextEncoding::windows1253},
        {"TURKISH", TextEncoding::windows1254},
        {"LITHUANIAN", TextEncoding::windows1257},
        {"LATVIAN", TextEncoding::windows1257},
        {"ESTONIAN", TextEncoding::windows1257},
    }};
    for (const auto& [name, encoding] : languages) {
        if (upper == name)
            return encoding;
    }
    return std::nullopt;
}

} // namespace

const std::array<TextEncoding, 36> allTextEncodings = [] {
    std::array<TextEncoding, 36> all{};
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = encodingNames[i].encoding;
    return all;
}();

std::string_view displayName(TextEncoding encoding)
{
    return namesOf(encoding).display;
}

std::string_view shortName(TextEncoding encoding)
{
    return namesOf(encoding).shortName;
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

std::optional<TextEncoding> textEncodingFromUserName(std::string_view name)
{
    const std::string upper = upperCase(Text::trimmed(name));
    for (const auto& names : encodingNames) {
        if (upperCase(names.raw) == upper || upperCase(names.shortName) == upper ||
            (names.converter && upper == names.converter))
            return names.encoding;
    }
    if (upper == "UTF8")
        return TextEncoding::utf8;
    if (upper == "UTF-16" || upper == "UTF16LE")
        return TextEncoding::utf16LE;
    if (upper == "UTF16BE")
        return TextEncoding::utf16BE;
    return TextEncodings::encodingFromCharValue(upper);
}

namespace TextEncodings {

DecodedText decode(std::string bytes, std::optional<TextEncoding> forced)
{
    DecodedText result;
    const std::string_view view(bytes);

    // `knownValid` when the bytes were already checked: a large file is looked through only once.
    const auto readUTF8 = [&](std::size_t skip, bool knownValid = false) {
        result.encoding = TextEncoding::utf8;
        const std::string_view rest = view.substr(skip);
        if (knownValid || isValidUTF8(rest)) {
            bytes.erase(0, skip);
            result.text = std::move(bytes);
            return;
        }
        result.text = repairUTF8(rest);
        result.notes.emplace_back(noteRepairedUTF8);
        result.keptLines = keptLinesOf(rest, result.text, TextEncoding::utf8);
    };
    const auto readUTF16 = [&](TextEncoding encoding, std::size_t skip) {
        result.encoding = encoding;
        const std::string_view units = view.substr(skip);
        bool repaired = false;
        result.text = decodeUTF16(units, encoding == TextEncoding::utf16BE, repaired);
        if (repaired)
            result.keptLines = keptLinesOf(units, result.text, encoding);
    };
    const auto readAnsel = [&] {
        Ansel::Decoded decoded = Ansel::decode(view);
        result.encoding = TextEncoding::ansel;
        result.text = std::move(decoded.text);
        if (decoded.replaced)
            result.notes.emplace_back(noteAnselReplaced);
        if (!decoded.exact)
            result.keptLines = keptLinesOf(view, result.text, TextEncoding::ansel);
    };
    const auto readSingleByte = [&](TextEncoding encoding, bool pureASCII) {
        result.encoding = encoding;
        const ByteTable& table = tableFor(encoding);
        if (pureASCII && table.asciiIdentity) {
            result.text = std::move(bytes);
            return;
        }
        bool lossy = false;
        result.text = decodeWithTable(table, view, lossy);
        if (lossy)
            result.keptLines = keptLinesOf(view, result.text, encoding);
    };
    const auto read = [&](TextEncoding encoding, bool pureASCII) {
        switch (encoding) {
        case TextEncoding::utf8:
            readUTF8(0);
            break;
        case TextEncoding::utf16LE:
        case TextEncoding::utf16BE:
            readUTF16(encoding, 0);
            break;
        case TextEncoding::ansel:
            readAnsel();
            break;
        default:
            readSingleByte(encoding, pureASCII);
            break;
        }
    };

    if (forced) {
        // The user's choice: only the byte-order mark of that very encoding is taken away.
        if (*forced == TextEncoding::utf8 && view.starts_with("\xEF\xBB\xBF")) {
            result.hasBOM = true;
            readUTF8(3);
        } else if ((*forced == TextEncoding::utf16LE && view.starts_with("\xFF\xFE")) ||
                   (*forced == TextEncoding::utf16BE && view.starts_with("\xFE\xFF"))) {
            result.hasBOM = true;
            readUTF16(*forced, 2);
        } else {
            read(*forced, false);
        }
        return result;
    }

    if (view.starts_with("\xEF\xBB\xBF")) {
        result.hasBOM = true;
        readUTF8(3);
        return result;
    }
    if (view.starts_with("\xFF\xFE")) {
        result.hasBOM = true;
        readUTF16(TextEncoding::utf16LE, 2);
        return result;
    }
    if (view.starts_with("\xFE\xFF")) {
        result.hasBOM = true;
        readUTF16(TextEncoding::utf16BE, 2);
        return result;
    }
    if (view.size() >= 2 && view[0] != '\0' && view[1] == '\0') {
        readUTF16(TextEncoding::utf16LE, 0);
        return result;
    }
    if (view.size() >= 2 && view[0] == '\0' && view[1] != '\0') {
        readUTF16(TextEncoding::utf16BE, 0);
        return result;
    }

    const HeaderFacts header = headerFacts(view);
    const std::optional<TextEncoding> declared = declaredEncoding(header);
    const UTF8Facts facts = scanUTF8(view);
    const std::string said =
        header.charValue ? upperCase(Text::trimmed(*header.charValue)) : std::string("UTF-8");

    // Text that reads as one plain script in another code page than the one taken is read in that one.
    const auto readChecked = [&](TextEncoding taken, std::optional<std::string_view> leadingNote) {
        const std::optional<TextEncoding> better = EncodingGuess::betterReading(
            view, taken, header.language ? codePageOfLanguage(*header.language) : std::nullopt);
        if (better) {
            result.notes.push_back(mislabelledNote(said, *better));
            read(*better, false);
            return;
        }
        if (leadingNote)
            result.notes.emplace_back(*leadingNote);
        read(taken, false);
    };

    if (!declared) {
        if (facts.valid)
            readUTF8(0, true);
        else
            readChecked(TextEncoding::windows1252, noteNotUTF8);
        return result;
    }
    switch (*declared) {
    case TextEncoding::ascii:
        if (facts.ascii) {
            result.encoding = TextEncoding::ascii;
            result.text = std::move(bytes);
        } else if (facts.valid) {
            result.notes.emplace_back(noteAsciiIsUTF8);
            readUTF8(0, true);
        } else {
            readChecked(TextEncoding::windows1252, noteAsciiIs1252);
        }
        break;
    default:
        if (facts.ascii) {
            read(*declared, true);
        } else if (facts.valid) {
            result.notes.push_back(*declared == TextEncoding::ansel ? std::string(noteAnselIsUTF8)
                                                                    : isUTF8Note(said));
            readUTF8(0, true);
        } else {
            readChecked(*declared, std::nullopt);
        }
        break;
    }
    return result;
}

std::optional<TextEncoding> encodingFromCharValue(std::string_view charValue)
{
    const std::string upper = upperCase(Text::trimmed(charValue));

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
    return codePageSpelling(upper);
}

HeaderFacts headerFacts(std::string_view bytes)
{
    HeaderFacts facts;
    const std::size_t n = bytes.size();
    // The next LF is looked up again only once passed, and a CR only inside the line it bounds,
    // so finding the header on top costs a few lines, not a sweep of the whole file.
    std::size_t nextLF = std::min(bytes.find('\n'), n);
    bool inHead = false;
    int charLevel = -1; ///< of the CHAR line while its children are read
    std::size_t pos = 0;
    const auto valueOf = [](std::string_view line, const detail::LineFields& fields) {
        const std::string_view value =
            fields.hasValue ? line.substr(fields.tagStart + fields.tagLength + 1) : std::string_view();
        return isValidUTF8(value) ? std::string(value) : repairUTF8(value);
    };
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
                    return facts;
                inHead = tag == "HEAD";
            } else if (inHead) {
                if (charLevel >= 0 && fields->level <= charLevel)
                    charLevel = -1;
                if (tag == "CHAR" && !facts.charValue) {
                    facts.charValue = valueOf(line, *fields);
                    charLevel = fields->level;
                } else if (charLevel >= 0 && fields->level == charLevel + 1 && tag == "VERS" &&
                           !facts.charVers) {
                    facts.charVers = valueOf(line, *fields);
                } else if (fields->level == 1 && tag == "LANG" && !facts.language) {
                    facts.language = valueOf(line, *fields);
                }
            }
        }
        pos = end + 1;
        if (end < n && bytes[end] == '\r' && pos < n && bytes[pos] == '\n')
            ++pos;
    }
    return facts;
}

std::optional<TextEncoding> declaredEncoding(const HeaderFacts& facts)
{
    if (!facts.charValue)
        return std::nullopt;
    const std::optional<TextEncoding> named = encodingFromCharValue(*facts.charValue);
    const std::string upper = upperCase(Text::trimmed(*facts.charValue));
    // ANSI says only "the Windows code page of this computer": the number, when given, says which.
    if (named != TextEncoding::windows1252 ||
        (upper != "ANSI" && upper != "WINDOWS" && upper != "IBM WINDOWS"))
        return named;
    if (facts.charVers) {
        const std::string vers = upperCase(Text::trimmed(*facts.charVers));
        int number = 0;
        const auto [end, ec] = std::from_chars(vers.data(), vers.data() + vers.size(), number);
        if (ec == std::errc() && end == vers.data() + vers.size()) {
            if (const auto page = codePage(number))
                return page;
        } else if (const auto spelled = codePageSpelling(vers)) {
            return spelled;
        }
    }
    if (facts.language) {
        if (const auto page = codePageOfLanguage(*facts.language))
            return page;
    }
    return named;
}

std::optional<std::string> declaredCharValue(std::string_view bytes)
{
    return headerFacts(bytes).charValue;
}

std::string decodeBytes(std::string_view bytes, TextEncoding encoding)
{
    if (encoding == TextEncoding::ansel)
        return Ansel::decode(bytes).text;
    if (!isSingleByte(encoding))
        return repairUTF8(bytes);
    bool lossy = false;
    return decodeWithTable(tableFor(encoding), bytes, lossy);
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
    default:
        return encodeWithTable(tableFor(encoding), text);
    }
}

} // namespace TextEncodings
} // namespace kinloom
