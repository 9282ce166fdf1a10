#include "file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "input_error.h"

namespace kevra_tool {

std::string numbered_path(const std::string& path, size_t index, size_t count) {
    if (count == 1) return path;
    namespace fs = std::filesystem;
    const fs::path p(path);
    char number[24];
    std::snprintf(number, sizeof number, "-%04zu", index + 1);
    return (p.parent_path() / (p.stem().string() + number + p.extension().string())).string();
}

bool read_file(const std::string& path, std::string& bytes, std::string& reason) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        reason = std::strerror(errno);
        return false;
    }
    bytes.clear();
    char chunk[1 << 16];
    for (;;) {
        const ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR) continue;
            reason = std::strerror(errno);
            ::close(fd);
            return false;
        }
        bytes.append(chunk, size_t(n));
    }
    ::close(fd);
    return true;
}

void write_file_atomically(const std::string& path, const std::string& bytes) {
    std::vector<char> temp(path.begin(), path.end());
    for (char c : std::string(".tmp-XXXXXX")) temp.push_back(c);
    temp.push_back('\0');
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) throw InputError(path, "", std::string("cannot write: ") + std::strerror(errno));
    // mkstemp creates the file private to its owner; give it the usual mode.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);

    size_t done = 0;
    int error = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            error = errno;
            break;
        }
        done += size_t(n);
    }
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error == 0 && ::rename(temp.data(), path.c_str()) != 0) error = errno;
    if (error != 0) {
        ::unlink(temp.data());
        throw InputError(path, "", std::string("cannot write: ") + std::strerror(error));
    }
}

}  // namespace kevra_tool
