// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace kinloom::Files {

/// The whole file's bytes, or none with `error` set to the system's description of the failure, or
/// to a sentence when the input never ends or is too large to work on in this computer's memory.
/// Pipes and other streams are read to their end.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::string& error);

/// The bytes of memory this process can still take: what the system has available (the page cache
/// it can give back included), within the process's own limits on its address space and data.
[[nodiscard]] std::uint64_t availableMemory();

/// The last component of a path ("Smith Family.ged").
[[nodiscard]] std::string fileName(const std::string& path);

/// A file name without its extension ("Smith Family").
[[nodiscard]] std::string baseName(const std::string& fileName);

/// Whether two paths name the same file once symbolic links and dot components are resolved.
[[nodiscard]] bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

/// Creates a file with these bytes under a name that must not exist yet, and never replaces an
/// existing file, even one that appears meanwhile. The bytes go to a temporary file in the same
/// folder first, so a failure half-way leaves nothing under the name. Returns the failure's
/// description (the save refusal's own text when the name is taken, otherwise a sentence naming the
/// folder and the reason), or none when written.
[[nodiscard]] std::optional<std::string> writeNewFile(const std::string& path, std::string_view bytes);

/// Creates a file with these bytes under the first name not taken in the folder among `stem` + "." +
/// extension, then `stem` + " 2." + extension, " 3." and so on. A name taken while the file is
/// written, by another program or another save at the same moment, moves it on to the next number;
/// no file is ever replaced and a failure leaves nothing behind. Returns the path written, or none
/// with `error` set to a sentence naming the folder and the reason.
[[nodiscard]] std::optional<std::filesystem::path>
writeNewNumberedFile(const std::filesystem::path& folder, const std::string& stem, std::string_view extension,
                     std::string_view bytes, std::string& error);

} // namespace kinloom::Files
