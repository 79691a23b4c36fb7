// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/Files.h"

#include "document/SaveError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kinloom::Files {
namespace {

class FileDescriptor
{
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    [[nodiscard]] int get() const { return m_fd; }
    int release()
    {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

// Whatever reads a tree works on it afterwards: reading, indexing and scanning one take up to about
// six times its bytes (5.6 times for a tree of a million people), so input beyond a sixth of the
// memory available could not be worked on anyway.
constexpr std::uint64_t workingBytesPerByte = 6;

/// A failure to save `name` in `folder`, in the program's own words where the reason is a common one.
std::string saveFailure(int error, const std::string& name, const std::filesystem::path& folder)
{
    std::string reason;
    switch (error) {
    case ENOENT:
        reason = "the folder doesn\u2019t exist.";
        break;
    case ENOTDIR:
        reason = "that isn\u2019t a folder.";
        break;
    case EACCES:
    case EPERM:
        reason = "you don\u2019t have permission to write there.";
        break;
    case EROFS:
        reason = "the folder is on a read-only disk.";
        break;
    case ENOSPC:
        reason = "there isn\u2019t enough space left on the disk.";
        break;
    case EDQUOT:
        reason = "your disk quota is used up.";
        break;
    case ENAMETOOLONG:
        reason = "the name is too long.";
        break;
    default:
        reason = std::string(std::strerror(error)) + ".";
        break;
    }
    std::error_code ignored;
    const std::string shown =
        folder.empty() ? std::filesystem::current_path(ignored).string() : folder.string();
    return "Couldn\u2019t save \u201C" + name + "\u201D in \u201C" + shown + "\u201D: " + reason;
}

/// Writes the bytes to a new hidden file in the folder (named after `name`) and flushes them to the
/// disk; returns 0 with `temporary` set to its path, or the error number with nothing left behind.
int writeTemporary(const std::filesystem::path& folder, const std::string& name, std::string_view bytes,
                   std::string& temporary)
{
    temporary = (folder / ("." + name + ".kinloom-XXXXXX")).string();
    FileDescriptor fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (fd.get() < 0)
        return errno;
    auto fail = [&](int error) {
        ::unlink(temporary.c_str());
        return error;
    };
    ::fchmod(fd.get(), 0644);
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t put = ::write(fd.get(), bytes.data() + written, bytes.size() - written);
        if (put < 0) {
            if (errno == EINTR)
                continue;
            return fail(errno);
        }
        written += static_cast<std::size_t>(put);
    }
    if (::fsync(fd.get()) != 0 || ::close(fd.release()) != 0)
        return fail(errno);
    return 0;
}

/// Gives the temporary file its name; returns 0, or the error number (EEXIST when the name is taken)
/// with the temporary file still there. The kernel refuses to replace an existing name, so a file
/// that appeared meanwhile survives.
int placeWithoutReplacing(const std::string& temporary, const std::string& path)
{
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // File systems without the no-replace rename: a hard link fails on an existing name too.
    if (::link(temporary.c_str(), path.c_str()) != 0)
        return errno;
    ::unlink(temporary.c_str());
    return 0;
}

std::string numberedName(const std::string& stem, std::string_view extension, std::uint64_t counter)
{
    return counter == 1 ? stem + "." + std::string(extension)
                        : stem + " " + std::to_string(counter) + "." + std::string(extension);
}

} // namespace

std::optional<std::string> readFile(const std::string& path, std::string& error)
{
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info
    {};
    if (fd.get() < 0 || ::fstat(fd.get(), &info) != 0) {
        error = std::strerror(errno);
        return std::nullopt;
    }
    if (S_ISDIR(info.st_mode)) {
        error = std::strerror(EISDIR);
        return std::nullopt;
    }
    const bool regular = S_ISREG(info.st_mode);
    const std::string tooLarge =
        regular ? "The file is too large to work on in this computer\u2019s memory"
                : "The input never ends, or is too large to work on in this computer\u2019s memory";
    const std::uint64_t limit = availableMemory() / workingBytesPerByte;
    if (regular && static_cast<std::uint64_t>(info.st_size) > limit) {
        error = tooLarge;
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(info.st_size);
    // A large file is copied straight out of the page cache: a third faster than reading it into
    // a zero-filled buffer, which matters for a tree of a million people. It is mapped a window at a
    // time, as the mapped pages count towards the process's memory as much as the copy does.
    constexpr std::size_t mapFrom = std::size_t{32} << 20;
    if (regular && size >= mapFrom) {
        std::string bytes;
        bytes.reserve(size);
        constexpr std::size_t window = std::size_t{32} << 20;
        for (std::size_t at = 0; at < size; at += window) {
            const std::size_t length = std::min(window, size - at);
            void* mapped = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd.get(),
                                  static_cast<off_t>(at));
            if (mapped == MAP_FAILED)
                break;
            bytes.append(static_cast<const char*>(mapped), length);
            ::munmap(mapped, length);
        }
        if (bytes.size() == size)
            return bytes;
    }
    // The size is a hint only: the file may change while it is read, and streams have none. The
    // input goes into blocks joined at the end, so nothing is zero-filled or copied while it grows
    // and input that never ends reaches the limit soon.
    struct Block
    {
        std::unique_ptr<char[]> data;
        std::size_t size = 0;
        std::size_t filled = 0;
    };
    std::vector<Block> blocks;
    std::uint64_t total = 0;
    for (;;) {
        if (blocks.empty() || blocks.back().filled == blocks.back().size) {
            if (total > limit) {
                error = tooLarge;
                return std::nullopt;
            }
            // One byte more than the size, or past the limit, tells whether the input went on.
            constexpr std::uint64_t blockSize = std::uint64_t{16} << 20;
            const auto next = static_cast<std::size_t>(
                std::min(blocks.empty() ? std::uint64_t{size} + 1 : blockSize, limit + 1 - total));
            blocks.push_back({std::make_unique_for_overwrite<char[]>(next), next, 0});
        }
        Block& block = blocks.back();
        const ssize_t got = ::read(fd.get(), block.data.get() + block.filled, block.size - block.filled);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            error = std::strerror(errno);
            return std::nullopt;
        }
        if (got == 0)
            break;
        block.filled += static_cast<std::size_t>(got);
        total += static_cast<std::uint64_t>(got);
    }
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(total));
    for (const Block& block : blocks)
        bytes.append(block.data.get(), block.filled);
    return bytes;
}

std::uint64_t availableMemory()
{
    const auto pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    std::uint64_t available = 0;
    if (FILE* meminfo = std::fopen("/proc/meminfo", "re")) {
        char line[256];
        unsigned long long kilobytes = 0;
        while (std::fgets(line, sizeof line, meminfo)) {
            if (std::sscanf(line, "MemAvailable: %llu kB", &kilobytes) == 1) {
                available = std::uint64_t{kilobytes} * 1024;
                break;
            }
        }
        std::fclose(meminfo);
    }
    // Without the kernel's estimate, the free pages alone: less than could be had, never more.
    if (available == 0)
        available = static_cast<std::uint64_t>(::sysconf(_SC_AVPHYS_PAGES)) * pageSize;

    // What the process holds already counts against its limits ("ulimit -v", "ulimit -d").
    unsigned long long mapped = 0, resident = 0, shared = 0, text = 0, library = 0, data = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "re")) {
        if (std::fscanf(statm, "%llu %llu %llu %llu %llu %llu", &mapped, &resident, &shared, &text, &library,
                        &data) != 6)
            mapped = data = 0;
        std::fclose(statm);
    }
    auto within = [&](rlim_t limit, std::uint64_t used) {
        if (limit != RLIM_INFINITY)
            available = std::min<std::uint64_t>(available, limit > used ? limit - used : 0);
    };
    rlimit own{};
    if (::getrlimit(RLIMIT_AS, &own) == 0)
        within(own.rlim_cur, mapped * pageSize);
    if (::getrlimit(RLIMIT_DATA, &own) == 0)
        within(own.rlim_cur, data * pageSize);
    return available;
}

std::string fileName(const std::string& path)
{
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string baseName(const std::string& fileName)
{
    const std::size_t dot = fileName.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? fileName : fileName.substr(0, dot);
}

bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b)
{
    std::error_code error;
    const auto canonicalA = std::filesystem::weakly_canonical(std::filesystem::absolute(a), error);
    if (error)
        return false;
    const auto canonicalB = std::filesystem::weakly_canonical(std::filesystem::absolute(b), error);
    if (error)
        return false;
    return canonicalA == canonicalB;
}

std::optional<std::string> writeNewFile(const std::string& path, std::string_view bytes)
{
    const std::filesystem::path target(path);
    const std::string name = target.filename().string();
    const std::string existsText = SaveError{SaveError::Exists{name}}.description();
    std::error_code ignored;
    if (std::filesystem::symlink_status(target, ignored).type() != std::filesystem::file_type::not_found)
        return existsText;

    std::string temporary;
    if (const int error = writeTemporary(target.parent_path(), name, bytes, temporary))
        return saveFailure(error, name, target.parent_path());
    const int error = placeWithoutReplacing(temporary, path);
    if (error == 0)
        return std::nullopt;
    ::unlink(temporary.c_str());
    return error == EEXIST ? existsText : saveFailure(error, name, target.parent_path());
}

std::optional<std::filesystem::path> writeNewNumberedFile(const std::filesystem::path& folder,
                                                          const std::string& stem, std::string_view extension,
                                                          std::string_view bytes, std::string& error)
{
    std::string temporary;
    if (const int failure = writeTemporary(folder, numberedName(stem, extension, 1), bytes, temporary)) {
        error = saveFailure(failure, numberedName(stem, extension, 1), folder);
        return std::nullopt;
    }
    // The bytes are written once; only the name is tried until one is free.
    for (std::uint64_t counter = 1;; ++counter) {
        std::filesystem::path candidate = folder / numberedName(stem, extension, counter);
        const int failure = placeWithoutReplacing(temporary, candidate.string());
        if (failure == 0)
            return candidate;
        if (failure != EEXIST) {
            ::unlink(temporary.c_str());
            error = saveFailure(failure, candidate.filename().string(), folder);
            return std::nullopt;
        }
    }
}

} // namespace kinloom::Files
