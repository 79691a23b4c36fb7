// SPDX-License-Identifier: GPL-3.0-or-later
// The yardstick the whole commands are measured against: the least any reader of a GEDCOM file must
// do. It reads the file and splits every line into level, xref, tag and value, kept as offsets in
// one compact array, and prints how long that took and the memory it took.
//
//   kinloom-bench-splitter FILE.ged
#include "Measure.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

/// One line's fields as offsets into the text; 12 bytes a line, for files under 4 GB.
struct Line
{
    std::uint32_t start = 0;
    std::uint32_t length = 0;
    std::uint16_t tagStart = 0; ///< from the line's start; the xref, if any, lies before it
    std::uint8_t tagLength = 0;
    std::uint8_t level = 0;
};

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

Line split(const std::string& text, std::size_t start, std::size_t end)
{
    Line line{static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(end - start)};
    std::size_t i = start;
    while (i < end && isBlank(text[i]))
        ++i;
    unsigned level = 0;
    for (; i < end && text[i] >= '0' && text[i] <= '9'; ++i)
        level = level * 10 + static_cast<unsigned>(text[i] - '0');
    line.level = static_cast<std::uint8_t>(level);
    while (i < end && isBlank(text[i]))
        ++i;
    if (i < end && text[i] == '@') {
        while (i < end && !isBlank(text[i]))
            ++i;
        while (i < end && isBlank(text[i]))
            ++i;
    }
    const std::size_t tag = i;
    while (i < end && !isBlank(text[i]))
        ++i;
    line.tagStart = static_cast<std::uint16_t>(tag - start);
    line.tagLength = static_cast<std::uint8_t>(i - tag);
    return line;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: kinloom-bench-splitter FILE.ged\n");
        return 2;
    }
    const auto start = kinloom::bench::Clock::now();
    std::ifstream in(argv[1], std::ios::binary | std::ios::ate);
    if (!in) {
        std::fprintf(stderr, "kinloom-bench-splitter: cannot read %s\n", argv[1]);
        return 1;
    }
    std::string text(static_cast<std::size_t>(in.tellg()), '\0');
    in.seekg(0);
    in.read(text.data(), static_cast<std::streamsize>(text.size()));

    std::vector<Line> lines;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\n' && text[i] != '\r')
            continue;
        lines.push_back(split(text, begin, i));
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
            ++i;
        begin = i + 1;
    }
    if (begin < text.size())
        lines.push_back(split(text, begin, text.size()));

    const double seconds = kinloom::bench::secondsSince(start);
    const double megabytes = static_cast<double>(text.size()) / 1e6;
    std::printf("split %zu lines of %.1f MB in %.3f s (%.0f MB/s), peak %.0f MB\n", lines.size(), megabytes,
                seconds, megabytes / seconds, kinloom::bench::peakMegabytes());
    return 0;
}
