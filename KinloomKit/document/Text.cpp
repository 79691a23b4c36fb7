// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/Text.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

namespace kinloom::Text {

std::vector<std::string_view> words(std::string_view text)
{
    std::vector<std::string_view> found;
    for (std::size_t i = 0; i < text.size();) {
        while (i < text.size() && isBlank(text[i]))
            ++i;
        const std::size_t start = i;
        while (i < text.size() && !isBlank(text[i]))
            ++i;
        if (i > start)
            found.push_back(text.substr(start, i - start));
    }
    return found;
}

bool isAscii(std::string_view text)
{
    // A word at a time: names and places are mostly ASCII, and checked by the million.
    std::size_t i = 0;
    for (; i + 8 <= text.size(); i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + i, 8);
        if (word & 0x8080808080808080ULL)
            return false;
    }
    for (; i < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i]) >= 0x80)
            return false;
    }
    return true;
}

std::u32string characters(std::string_view text)
{
    std::u32string chars;
    chars.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        utf8proc_int32_t c = 0;
        const utf8proc_ssize_t step =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data() + at),
                             static_cast<utf8proc_ssize_t>(text.size() - at), &c);
        if (step <= 0) {
            chars += static_cast<char32_t>(static_cast<unsigned char>(text[at]));
            ++at;
        } else {
            chars += static_cast<char32_t>(c);
            at += static_cast<std::size_t>(step);
        }
    }
    return chars;
}

void forEachFolded(std::string_view text, const std::function<void(const FoldedCharacter&)>& visit)
{
    utf8proc_uint8_t* folded = nullptr;
    const auto options =
        static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_COMPAT |
                                       UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK | UTF8PROC_IGNORE);
    const utf8proc_ssize_t length =
        utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                     static_cast<utf8proc_ssize_t>(text.size()), &folded, options);
    if (length < 0) {
        std::string ascii(text);
        std::replace_if(
            ascii.begin(), ascii.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, ' ');
        forEachFolded(ascii, visit);
        return;
    }
    for (utf8proc_ssize_t at = 0; at < length;) {
        utf8proc_int32_t c = 0;
        const utf8proc_ssize_t step = utf8proc_iterate(folded + at, length - at, &c);
        if (step <= 0)
            break;
        at += step;
        FoldedCharacter character;
        character.scalar = static_cast<char32_t>(c);
        const utf8proc_category_t category = utf8proc_category(c);
        std::array<utf8proc_uint8_t, 4> bytes{};
        if ((category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LO) ||
            category == UTF8PROC_CATEGORY_ND) {
            character.kind = category == UTF8PROC_CATEGORY_ND ? FoldedCharacter::Kind::digit
                                                              : FoldedCharacter::Kind::letter;
            const auto size = utf8proc_encode_char(utf8proc_tolower(c), bytes.data());
            character.utf8 = {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(size)};
        } else if (category == UTF8PROC_CATEGORY_ZS || (c < 0x80 && isBlank(static_cast<char>(c)))) {
            character.kind = FoldedCharacter::Kind::blank;
        }
        visit(character);
    }
    std::free(folded);
}

} // namespace kinloom::Text
