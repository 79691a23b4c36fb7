// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/Ansel.h"

#include "document/TextEncoding.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace kinloom::Ansel {

namespace {

struct Row
{
    std::uint8_t byte;
    char32_t scalar;
};

constexpr std::array<Row, 39> spacingRows{{
    {0xA1, 0x0141}, {0xA2, 0x00D8}, {0xA3, 0x0110}, {0xA4, 0x00DE}, {0xA5, 0x00C6}, {0xA6, 0x0152},
    {0xA7, 0x02B9}, {0xA8, 0x00B7}, {0xA9, 0x266D}, {0xAA, 0x00AE}, {0xAB, 0x00B1}, {0xAC, 0x01A0},
    {0xAD, 0x01AF}, {0xAE, 0x02BC}, {0xB0, 0x02BB}, {0xB1, 0x0142}, {0xB2, 0x00F8}, {0xB3, 0x0111},
    {0xB4, 0x00FE}, {0xB5, 0x00E6}, {0xB6, 0x0153}, {0xB7, 0x02BA}, {0xB8, 0x0131}, {0xB9, 0x00A3},
    {0xBA, 0x00F0}, {0xBC, 0x01A1}, {0xBD, 0x01B0}, {0xBE, 0x25A1}, {0xBF, 0x25A0}, {0xC0, 0x00B0},
    {0xC1, 0x2113}, {0xC2, 0x2117}, {0xC3, 0x00A9}, {0xC4, 0x266F}, {0xC5, 0x00BF}, {0xC6, 0x00A1},
    {0xC7, 0x00DF}, {0xC8, 0x20AC}, {0xCF, 0x00DF},
}};

constexpr std::array<Row, 29> combiningRows{{
    {0xE0, 0x0309}, {0xE1, 0x0300}, {0xE2, 0x0301}, {0xE3, 0x0302}, {0xE4, 0x0303}, {0xE5, 0x0304},
    {0xE6, 0x0306}, {0xE7, 0x0307}, {0xE8, 0x0308}, {0xE9, 0x030C}, {0xEA, 0x030A}, {0xEB, 0xFE20},
    {0xEC, 0xFE21}, {0xED, 0x0315}, {0xEE, 0x030B}, {0xEF, 0x0310}, {0xF0, 0x0327}, {0xF1, 0x0328},
    {0xF2, 0x0323}, {0xF3, 0x0324}, {0xF4, 0x0325}, {0xF5, 0x0333}, {0xF6, 0x0332}, {0xF7, 0x0326},
    {0xF8, 0x031C}, {0xF9, 0x032E}, {0xFA, 0xFE22}, {0xFB, 0xFE23}, {0xFE, 0x0313},
}};

using Reverse = std::vector<std::pair<char32_t, std::uint8_t>>;

struct Tables
{
    std::array<char32_t, 128> spacing{};   ///< by byte − 0x80; 0 where the byte has no entry
    std::array<char32_t, 128> combining{}; ///< likewise
    Reverse reverseSpacing;                ///< sorted by scalar
    Reverse reverseCombining;              ///< sorted by scalar
};

const Tables& tables()
{
    static const Tables built = [] {
        Tables t;
        for (const Row& row : spacingRows) {
            t.spacing[row.byte - 0x80u] = row.scalar;
            // ß is written as CF, the family-tree byte: a genealogy program that knows only one
            // of the two knows CF.
            if (row.scalar == 0x00DF && row.byte != 0xCF)
                continue;
            t.reverseSpacing.emplace_back(row.scalar, row.byte);
        }
        for (const Row& row : combiningRows) {
            t.combining[row.byte - 0x80u] = row.scalar;
            t.reverseCombining.emplace_back(row.scalar, row.byte);
        }
        const auto byScalar = [](const auto& a, const auto& b) { return a.first < b.first; };
        std::sort(t.reverseSpacing.begin(), t.reverseSpacing.end(), byScalar);
        std::sort(t.reverseCombining.begin(), t.reverseCombining.end(), byScalar);
        return t;
    }();
    return built;
}

std::optional<std::uint8_t> lookup(const Reverse& reverse, char32_t scalar)
{
    const auto found = std::lower_bound(reverse.begin(), reverse.end(), scalar,
                                        [](const auto& entry, char32_t s) { return entry.first < s; });
    if (found == reverse.end() || found->first != scalar)
        return std::nullopt;
    return found->second;
}

void appendScalar(std::string& out, char32_t scalar)
{
    if ((scalar >= 0xD800 && scalar <= 0xDFFF) || scalar > 0x10FFFF)
        scalar = 0xFFFD;
    std::array<utf8proc_uint8_t, 4> buffer{};
    const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(scalar), buffer.data());
    out.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(length));
}

/// Walks text already checked to be well-formed UTF-8.
struct ScalarReader
{
    std::string_view text;
    std::size_t pos = 0;

    [[nodiscard]] bool atEnd() const { return pos >= text.size(); }

    /// The scalar at pos and its length in bytes, without moving.
    [[nodiscard]] std::pair<char32_t, std::size_t> peek() const
    {
        utf8proc_int32_t scalar = 0;
        const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data() + pos),
                                             static_cast<utf8proc_ssize_t>(text.size() - pos), &scalar);
        return {static_cast<char32_t>(scalar), static_cast<std::size_t>(length)};
    }
};

std::optional<std::uint8_t> markByteOf(char32_t scalar)
{
    // Every mark lies at U+0300 or above; plain text never reaches the table.
    if (scalar < 0x300)
        return std::nullopt;
    return lookup(tables().reverseCombining, scalar);
}

bool isBreak(char32_t scalar)
{
    return scalar == '\n' || scalar == '\r';
}

} // namespace

std::optional<char32_t> combiningMark(std::uint8_t byte)
{
    if (byte < 0x80)
        return std::nullopt;
    const char32_t scalar = tables().combining[byte - 0x80u];
    return scalar != 0 ? std::optional(scalar) : std::nullopt;
}

std::optional<char32_t> spacingCharacter(std::uint8_t byte)
{
    if (byte < 0x80)
        return std::nullopt;
    const char32_t scalar = tables().spacing[byte - 0x80u];
    return scalar != 0 ? std::optional(scalar) : std::nullopt;
}

Decoded decode(std::string_view bytes)
{
    const Tables& t = tables();
    Decoded result;
    std::string& out = result.text;
    out.reserve(bytes.size() + bytes.size() / 4);
    // ANSEL puts a mark before its letter; the text carries it after, so marks wait here.
    std::vector<char32_t> pending;
    const auto flush = [&] {
        for (const char32_t mark : pending)
            appendScalar(out, mark);
        pending.clear();
    };
    for (const char c : bytes) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (byte < 0x80) {
            // A mark left at the end of a line has no letter there: it stays on its own line.
            if (byte == '\n' || byte == '\r') {
                result.exact = result.exact && pending.empty();
                flush();
                out.push_back(c);
            } else {
                out.push_back(c);
                flush();
            }
        } else if (const char32_t mark = t.combining[byte - 0x80u]; mark != 0) {
            pending.push_back(mark);
        } else if (const char32_t spacing = t.spacing[byte - 0x80u]; spacing != 0) {
            appendScalar(out, spacing);
            flush();
            if (spacing == 0x00DF && lookup(t.reverseSpacing, spacing) != byte)
                result.exact = false;
        } else {
            appendScalar(out, 0xFFFD);
            flush();
            result.replaced = true;
            result.exact = false;
        }
    }
    result.exact = result.exact && pending.empty();
    flush();
    return result;
}

std::optional<std::string> encode(std::string_view text)
{
    if (!TextEncodings::isValidUTF8(text))
        return std::nullopt;
    const Tables& t = tables();
    std::string out;
    out.reserve(text.size());
    std::string marks;
    ScalarReader reader{text};
    while (!reader.atEnd()) {
        // ASCII followed by ASCII carries no marks and goes straight through.
        std::size_t run = reader.pos;
        while (run < text.size() && static_cast<unsigned char>(text[run]) < 0x80)
            ++run;
        if (run == text.size()) {
            out.append(text.substr(reader.pos));
            break;
        }
        if (run > reader.pos + 1) {
            out.append(text.substr(reader.pos, run - 1 - reader.pos));
            reader.pos = run - 1;
        }

        const auto [scalar, length] = reader.peek();

        if (const auto markByte = markByteOf(scalar)) {
            // A mark with no letter before it: the reader gives these only just before a line
            // break or at the end, and any other place could not be read back the same.
            out.push_back(static_cast<char>(*markByte));
            reader.pos += length;
            if (!reader.atEnd()) {
                const char32_t following = reader.peek().first;
                if (!isBreak(following) && !markByteOf(following))
                    return std::nullopt;
            }
            continue;
        }

        marks.clear();
        std::optional<std::uint8_t> baseByte;
        if (scalar < 0x80) {
            baseByte = static_cast<std::uint8_t>(scalar);
        } else if (const auto spacingByte = lookup(t.reverseSpacing, scalar)) {
            baseByte = spacingByte;
        } else {
            std::array<utf8proc_int32_t, 16> parts{};
            const auto count =
                utf8proc_decompose(reinterpret_cast<const utf8proc_uint8_t*>(text.data() + reader.pos),
                                   static_cast<utf8proc_ssize_t>(length), parts.data(),
                                   static_cast<utf8proc_ssize_t>(parts.size()), UTF8PROC_DECOMPOSE);
            if (count < 1 || count > static_cast<utf8proc_ssize_t>(parts.size()))
                return std::nullopt;
            const auto base = static_cast<char32_t>(parts[0]);
            if (base < 0x80 && !isBreak(base))
                baseByte = static_cast<std::uint8_t>(base);
            else
                baseByte = lookup(t.reverseSpacing, base);
            if (!baseByte)
                return std::nullopt;
            for (utf8proc_ssize_t k = 1; k < count; ++k) {
                const auto markByte = markByteOf(static_cast<char32_t>(parts[k]));
                if (!markByte)
                    return std::nullopt;
                marks.push_back(static_cast<char>(*markByte));
            }
        }
        reader.pos += length;

        // A line break carries no marks: what follows it is a mark with no letter.
        if (!isBreak(scalar)) {
            while (!reader.atEnd()) {
                const auto [next, nextLength] = reader.peek();
                const auto markByte = markByteOf(next);
                if (!markByte)
                    break;
                marks.push_back(static_cast<char>(*markByte));
                reader.pos += nextLength;
            }
        }
        out.append(marks);
        out.push_back(static_cast<char>(*baseByte));
    }
    return out;
}

} // namespace kinloom::Ansel
