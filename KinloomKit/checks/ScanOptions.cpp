// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/Scanner.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace kinloom {
namespace {

// Settings are read back on every start: a hand-edited or older settings text must never throw,
// so the parser runs without exceptions and every value is type-checked before it is taken.
bool readNumber(const nlohmann::json& object, const char* key, double& field)
{
    const auto found = object.find(key);
    if (found == object.end())
        return true;
    if (!found->is_number())
        return false;
    field = found->get<double>();
    return true;
}

} // namespace

std::string ScanOptions::toJSON() const
{
    // Field order as declared, so the stored text reads like the settings window.
    const nlohmann::ordered_json json = {
        {"numericOrder", rawValue(numericOrder)},
        {"minParentAge", minParentAge},
        {"maxMotherAge", maxMotherAge},
        {"maxFatherAge", maxFatherAge},
        {"maxLifespan", maxLifespan},
        {"duplicateThreshold", duplicateThreshold},
        {"skippedKinds", skippedKinds},
    };
    return json.dump();
}

std::optional<ScanOptions> ScanOptions::fromJSON(std::string_view json)
{
    const nlohmann::json parsed = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (!parsed.is_object())
        return std::nullopt;
    ScanOptions options;
    if (const auto order = parsed.find("numericOrder"); order != parsed.end()) {
        if (!order->is_string())
            return std::nullopt;
        const auto value = numericDateOrderFromRawValue(order->get_ref<const std::string&>());
        if (!value)
            return std::nullopt;
        options.numericOrder = *value;
    }
    if (!readNumber(parsed, "minParentAge", options.minParentAge) ||
        !readNumber(parsed, "maxMotherAge", options.maxMotherAge) ||
        !readNumber(parsed, "maxFatherAge", options.maxFatherAge) ||
        !readNumber(parsed, "maxLifespan", options.maxLifespan) ||
        !readNumber(parsed, "duplicateThreshold", options.duplicateThreshold))
        return std::nullopt;
    // Ids of kinds this version does not know are kept, so that a later version's choices survive.
    if (const auto kinds = parsed.find("skippedKinds"); kinds != parsed.end()) {
        if (!kinds->is_array())
            return std::nullopt;
        for (const nlohmann::json& kind : *kinds) {
            if (!kind.is_string())
                return std::nullopt;
            options.skippedKinds.push_back(kind.get<std::string>());
        }
        std::sort(options.skippedKinds.begin(), options.skippedKinds.end());
        options.skippedKinds.erase(std::unique(options.skippedKinds.begin(), options.skippedKinds.end()),
                                   options.skippedKinds.end());
    }
    return options;
}

} // namespace kinloom
