// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "document/GedcomDocument.h"
#include "document/Progress.h"
#include "document/TextEncoding.h"

#include <optional>
#include <string>

namespace kinloom::GedcomWriter {

/// The bytes of a written document.
struct Output
{
    std::string data;
    TextEncoding encoding = TextEncoding::utf8; ///< differs from the document's only after the UTF-8 fallback
    std::optional<std::string> note;            ///< says why, after the UTF-8 fallback

    bool operator==(const Output&) const = default;
};

/// The document as text: unchanged lines exactly as read, edited and added lines from their fields.
[[nodiscard]] std::string render(const GedcomDocument& document);

/// The document as bytes in its encoding, with its byte-order mark; in UTF-8 with a note when some
/// text has no form in that encoding. Never fails and never changes the document. Progress goes by
/// the records written.
[[nodiscard]] Output write(const GedcomDocument& document, const ProgressCallback& progress = {});

} // namespace kinloom::GedcomWriter
