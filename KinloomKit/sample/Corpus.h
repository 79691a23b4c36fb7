// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// For the tests that read the real files of the corpus folder and the tables judged from them.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace kinloom::Corpus {

/// The folder of real GEDCOM files: KINLOOM_CORPUS when set, else the one beside the source tree
/// (given to the tests when they are built). Tests skip themselves when it is missing.
inline std::filesystem::path folder()
{
    if (const char* folder = std::getenv("KINLOOM_CORPUS"))
        return folder;
    return KINLOOM_CORPUS_DEFAULT;
}

/// The rows of a tab-separated table that have exactly `columns` fields.
inline std::vector<std::vector<std::string>> rows(const std::filesystem::path& table, std::size_t columns)
{
    std::ifstream in(table);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> fields;
        std::stringstream split(line);
        for (std::string field; std::getline(split, field, '\t');)
            fields.push_back(field);
        if (fields.size() == columns)
            rows.push_back(std::move(fields));
    }
    return rows;
}

} // namespace kinloom::Corpus
