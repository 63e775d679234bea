#include "whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "file_descriptor.h"

namespace tavrin::httpclient_testing::detail {
namespace {

std::system_error failure(const std::string& what, const std::string& path) {
    return {errno, std::generic_category(), what + " \"" + path + "\""};
}

// Beside the file, since only within a file system one file takes another's place at once.
std::string temporaryName(const std::string& path) {
    static std::atomic<unsigned> count{0};
    return path + "." + std::to_string(::getpid()) + "-" + std::to_string(++count) + ".new";
}

void writeAll(const FileDescriptor& file, const std::string& text, const std::string& path) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(file.number(), text.data() + done, text.size() - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno != EINTR) {
            throw failure("Cannot write", path);
        }
    }
    if (::fsync(file.number()) != 0) throw failure("Cannot write", path);
}

}  // namespace

std::string readWholeFile(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) throw failure("Cannot read", path);
    std::string text;
    char block[65536];
    for (;;) {
        const ssize_t size = ::read(file.number(), block, sizeof block);
        if (size == 0) return text;
        if (size > 0) {
            text.append(block, static_cast<std::size_t>(size));
        } else if (errno != EINTR) {
            throw failure("Cannot read", path);
        }
    }
}

void writeWholeFile(const std::string& path, const std::string& text) {
    const std::string temporary = temporaryName(path);
    const FileDescriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file) throw failure("Cannot write", path);
    try {
        writeAll(file, text, path);
        if (std::rename(temporary.c_str(), path.c_str()) != 0) throw failure("Cannot write", path);
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
}

}  // namespace tavrin::httpclient_testing::detail
