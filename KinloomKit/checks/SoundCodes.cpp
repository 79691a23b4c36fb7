// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/SoundCodes.h"

#include <algorithm>

namespace kinloom::SoundCodes {
namespace {

/// One sound: the letters written for it and its code at the start of the name, before a vowel,
/// and anywhere else. An empty code is a sound not coded; "5|4" is a sound read two ways.
struct Sound
{
    std::string_view letters;
    std::string_view start;
    std::string_view beforeVowel;
    std::string_view other;
};

// Longer spellings first, so that the longest that fits is taken.
constexpr Sound sounds[] = {
    {"schtsch", "2", "4", "4"},
    {"schtsh", "2", "4", "4"},
    {"schtch", "2", "4", "4"},
    {"shtch", "2", "4", "4"},
    {"shtsh", "2", "4", "4"},
    {"stsch", "2", "4", "4"},
    {"ttsch", "4", "4", "4"},
    {"zhdzh", "2", "4", "4"},
    {"shch", "2", "4", "4"},
    {"scht", "2", "43", "43"},
    {"schd", "2", "43", "43"},
    {"stch", "2", "4", "4"},
    {"strz", "2", "4", "4"},
    {"strs", "2", "4", "4"},
    {"stsh", "2", "4", "4"},
    {"szcz", "2", "4", "4"},
    {"szcs", "2", "4", "4"},
    {"ttch", "4", "4", "4"},
    {"tsch", "4", "4", "4"},
    {"ttsz", "4", "4", "4"},
    {"zdzh", "2", "4", "4"},
    {"zsch", "4", "4", "4"},
    {"chs", "5", "54", "54"},
    {"csz", "4", "4", "4"},
    {"czs", "4", "4", "4"},
    {"drz", "4", "4", "4"},
    {"drs", "4", "4", "4"},
    {"dsh", "4", "4", "4"},
    {"dsz", "4", "4", "4"},
    {"dzh", "4", "4", "4"},
    {"dzs", "4", "4", "4"},
    {"sch", "4", "4", "4"},
    {"sht", "2", "43", "43"},
    {"szt", "2", "43", "43"},
    {"shd", "2", "43", "43"},
    {"szd", "2", "43", "43"},
    {"tch", "4", "4", "4"},
    {"trz", "4", "4", "4"},
    {"trs", "4", "4", "4"},
    {"tsh", "4", "4", "4"},
    {"tts", "4", "4", "4"},
    {"ttz", "4", "4", "4"},
    {"tzs", "4", "4", "4"},
    {"tsz", "4", "4", "4"},
    {"zdz", "2", "4", "4"},
    {"zhd", "2", "43", "43"},
    {"zsh", "4", "4", "4"},
    {"ai", "0", "1", ""},
    {"aj", "0", "1", ""},
    {"ay", "0", "1", ""},
    {"au", "0", "7", ""},
    {"ch", "5|4", "5|4", "5|4"},
    {"ck", "5|45", "5|45", "5|45"},
    {"cz", "4", "4", "4"},
    {"cs", "4", "4", "4"},
    {"ds", "4", "4", "4"},
    {"dz", "4", "4", "4"},
    {"dt", "3", "3", "3"},
    {"ei", "0", "1", ""},
    {"ej", "0", "1", ""},
    {"ey", "0", "1", ""},
    {"eu", "1", "1", ""},
    {"fb", "7", "7", "7"},
    {"ia", "1", "", ""},
    {"ie", "1", "", ""},
    {"io", "1", "", ""},
    {"iu", "1", "", ""},
    {"ks", "5", "54", "54"},
    {"kh", "5", "5", "5"},
    {"mn", "66", "66", "66"},
    {"nm", "66", "66", "66"},
    {"oi", "0", "1", ""},
    {"oj", "0", "1", ""},
    {"oy", "0", "1", ""},
    {"pf", "7", "7", "7"},
    {"ph", "7", "7", "7"},
    {"rz", "94|4", "94|4", "94|4"},
    {"rs", "94|4", "94|4", "94|4"},
    {"sh", "4", "4", "4"},
    {"sc", "2", "4", "4"},
    {"st", "2", "43", "43"},
    {"sz", "4", "4", "4"},
    {"sd", "2", "43", "43"},
    {"th", "3", "3", "3"},
    {"ts", "4", "4", "4"},
    {"tc", "4", "4", "4"},
    {"tz", "4", "4", "4"},
    {"ui", "0", "1", ""},
    {"uj", "0", "1", ""},
    {"uy", "0", "1", ""},
    {"ue", "0", "", ""},
    {"zd", "2", "43", "43"},
    {"zh", "4", "4", "4"},
    {"zs", "4", "4", "4"},
    {"a", "0", "", ""},
    {"b", "7", "7", "7"},
    {"c", "5|4", "5|4", "5|4"},
    {"d", "3", "3", "3"},
    {"e", "0", "", ""},
    {"f", "7", "7", "7"},
    {"g", "5", "5", "5"},
    {"h", "5", "5", ""},
    {"i", "0", "", ""},
    {"j", "1|4", "|4", "|4"},
    {"k", "5", "5", "5"},
    {"l", "8", "8", "8"},
    {"m", "6", "6", "6"},
    {"n", "6", "6", "6"},
    {"o", "0", "", ""},
    {"p", "7", "7", "7"},
    {"q", "5", "5", "5"},
    {"r", "9", "9", "9"},
    {"s", "4", "4", "4"},
    {"t", "3", "3", "3"},
    {"u", "0", "", ""},
    {"v", "7", "7", "7"},
    {"w", "7", "7", "7"},
    {"x", "5", "54", "54"},
    {"y", "1", "", ""},
    {"z", "4", "4", "4"},
};

constexpr std::size_t codeLength = 6;
constexpr std::size_t mostCodes = 8;

bool isVowel(char c)
{
    return c == 'a' || c == 'e' || c == 'i' || c == 'o' || c == 'u';
}

/// A code being written, with the code of the last sound that had one: a sound coded like the one
/// before it is written once, and a sound not coded between them does not part them.
struct Branch
{
    std::string code;
    std::string_view last;
};

} // namespace

std::vector<std::string> daitchMokotoff(std::string_view surname)
{
    std::string letters;
    for (const char c : surname) {
        if (c >= 'a' && c <= 'z')
            letters += c;
        else if (c >= 'A' && c <= 'Z')
            letters += static_cast<char>(c - 'A' + 'a');
    }
    if (letters.empty())
        return {};
    std::vector<Branch> branches{Branch{}};
    std::vector<Branch> next;
    for (std::size_t at = 0; at < letters.size();) {
        const std::string_view rest = std::string_view(letters).substr(at);
        const Sound* sound = nullptr;
        for (const Sound& candidate : sounds) {
            if (rest.starts_with(candidate.letters)) {
                sound = &candidate;
                break;
            }
        }
        const std::size_t after = at + sound->letters.size();
        const std::string_view codes = at == 0 ? sound->start
                                       : after < letters.size() && isVowel(letters[after])
                                           ? sound->beforeVowel
                                           : sound->other;
        next.clear();
        for (const Branch& branch : branches) {
            for (std::size_t from = 0; from <= codes.size();) {
                const std::size_t bar = std::min(codes.find('|', from), codes.size());
                const std::string_view code = codes.substr(from, bar - from);
                Branch grown = branch;
                if (!code.empty() && code != branch.last) {
                    grown.code += code;
                    grown.last = code;
                } else if (!code.empty()) {
                    grown.last = code;
                }
                if (std::none_of(
                        next.begin(), next.end(),
                        [&](const Branch& b) { return b.code == grown.code && b.last == grown.last; }) &&
                    next.size() < mostCodes)
                    next.push_back(std::move(grown));
                from = bar + 1;
            }
        }
        branches.swap(next);
        at = after;
    }
    std::vector<std::string> result;
    for (Branch& branch : branches) {
        branch.code.resize(codeLength, '0');
        result.push_back(std::move(branch.code));
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

std::vector<std::uint32_t> daitchMokotoffPacked(std::string_view surname)
{
    std::vector<std::uint32_t> packed;
    for (const std::string& code : daitchMokotoff(surname))
        packed.push_back(static_cast<std::uint32_t>(std::stoul(code)));
    return packed;
}

} // namespace kinloom::SoundCodes
