// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <variant>

namespace kinloom {

/// The two refusals of saving: the original and existing files are never written over.
struct SaveError
{
    struct Exists
    {
        std::string name; ///< the chosen file's name
        bool operator==(const Exists&) const = default;
    };
    struct SameAsOriginal
    {
        bool operator==(const SameAsOriginal&) const = default;
    };

    std::variant<Exists, SameAsOriginal> value;

    [[nodiscard]] std::string description() const
    {
        if (const auto* exists = std::get_if<Exists>(&value))
            return "\u201C" + exists->name +
                   "\u201D already exists. Choose a new name: the original and other files are never "
                   "overwritten.";
        return "That\u2019s the file you opened. Choose a new name: the original is never changed.";
    }

    bool operator==(const SaveError&) const = default;
};

} // namespace kinloom
