#include "part_file.h"

#include <fcntl.h>
#include <httpclient_core/headers.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <istream>
#include <sstream>
#include <system_error>

#include "checksum.h"
#include "failures.h"

namespace tavrin::http_tool {

using httpclient_core::HttpHeaders;

namespace {

// A validator is a header's value, and no header has more.
constexpr std::size_t MOST_VALIDATOR_BYTES = 256 * 1024;

std::string inQuotes(const std::string& path) { return "\"" + path + "\""; }

// Renaming would put the file in the place of a link, not of what the link points to.
std::string withoutLinks(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_symlink(path, error)) return path;
    const auto resolved = std::filesystem::canonical(path, error);
    return error ? path : resolved.string();
}

bool isSameFile(int descriptor, const std::string& path) {
    struct stat open {};
    struct stat named {};
    return fstat(descriptor, &open) == 0 && lstat(path.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

// Opens and locks the file that has this name, made with `mode` if there is none. A link is
// refused: somebody else may have put it there so that we overwrite what it points to.
int openLocked(const std::string& path, mode_t mode) {
    while (true) {
        const int descriptor =
            open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode);
        if (descriptor < 0) throw writeFailure("create " + inQuotes(path), errno);
        struct stat status {};
        if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
            close(descriptor);
            throw WriteFailure("cannot write to " + inQuotes(path) + ": not a regular file");
        }
        if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
            const int reason = errno;
            close(descriptor);
            if (reason != EWOULDBLOCK) throw writeFailure("lock " + inQuotes(path), reason);
            throw WriteFailure("cannot write to " + inQuotes(path) +
                               ": another download is writing to it");
        }
        // Between opening and locking, the holder may have finished and renamed the file.
        if (isSameFile(descriptor, path)) return descriptor;
        close(descriptor);
    }
}

// A file that only some may read stays so when its content is replaced. A program that runs with
// its owner's rights does not: that was granted to the old content.
void takeOver(int descriptor, const struct stat& existing) {
    const bool isTheirs = fchown(descriptor, existing.st_uid, existing.st_gid) == 0 ||
                          fchown(descriptor, -1, existing.st_gid) == 0;
    mode_t mode = existing.st_mode & 0777;
    // Whoever is in the group that it has instead was one of the others.
    if (!isTheirs) mode = (mode & 0707) | (mode & 07) << 3;
    fchmod(descriptor, mode);
}

// Writes a file that is not there yet, so that no link is followed here either.
void writeNew(const std::string& path, const std::string& content) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) throw writeFailure("create " + inQuotes(path), errno);
    Output output(descriptor, Output::Access::ANYWHERE, inQuotes(path));
    output.write(content.data(), content.size(), 0);
    close(descriptor);
    output.check();
}

// What a file holds that we wrote; nothing of a link, or of a pipe, which would be waited for.
std::string contentOf(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0) return "";
    std::string content(MOST_VALIDATOR_BYTES, '\0');
    const ssize_t size = read(descriptor, content.data(), content.size());
    close(descriptor);
    content.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return content;
}

// A request with anything else in its If-Range would be refused each time, and no run get on.
bool canBeSent(const std::string& validator) {
    return !validator.empty() &&
           validator.find_first_of(std::string("\r\n\0", 3)) == std::string::npos;
}

// The URL itself stays out of the file: what it is asked with may be a secret.
std::string fingerprint(const std::string& url) { return checksumOfText("sha256", url); }

}  // namespace

PartFile::PartFile(const std::string& target, Existing existing)
    : directory_(std::filesystem::path(target).parent_path()), target_(withoutLinks(target)) {
    if (std::error_code error; std::filesystem::is_directory(target_, error)) {
        throw WriteFailure("cannot write to " + inQuotes(target_) + ": it is a directory");
    }
    // What replaces a file that only some may read is not to be read by others on the way.
    const bool replaces = existing == Existing::REPLACED && access(target_.c_str(), F_OK) == 0;
    descriptor_ = openLocked(partPath(), replaces ? 0600 : 0666);
    output_.emplace(descriptor_, Output::Access::ANYWHERE, inQuotes(partPath()));
}

PartFile::~PartFile() {
    if (!finished_ && isOurs()) {
        struct stat status {};
        const bool empty = fstat(descriptor_, &status) != 0 || status.st_size == 0;
        // What an earlier run left is not ours to remove while nothing new took its place.
        const bool useless =
            empty || (touched_ && !(keep_ && access(validatorPath().c_str(), F_OK) == 0));
        if (useless) {
            unlink(validatorPath().c_str());
            unlink(partPath().c_str());
        }
    }
    close(descriptor_);
}

// Not once somebody removed it, to begin anew perhaps.
bool PartFile::isOurs() const { return isSameFile(descriptor_, partPath()); }

std::optional<PartFile::Held> PartFile::held(const std::string& url) const {
    struct stat status {};
    std::istringstream file(contentOf(validatorPath()));
    HttpHeaders fields;
    std::optional<ExpectedChecksum> digest;
    try {
        for (std::string line; std::getline(file, line);) fields.addHeader(line);
        if (fields.hasHeader("Digest")) {
            digest = ExpectedChecksum::parse(fields.getHeaderValue("Digest"));
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    const auto length = contentLength(fields);
    const auto validator = fields.find("Validator");
    // The fingerprint is written last; a file that was cut off has none, or not the whole of it.
    if (fields.find("URL-SHA256") == fields.end() || validator == fields.end() ||
        fields.find("URL-SHA256")->second != fingerprint(url) || !length ||
        !canBeSent(validator->second) || !isOurs() || fstat(descriptor_, &status) != 0 ||
        status.st_size == 0 || status.st_size > *length) {
        return std::nullopt;
    }
    return Held{status.st_size, {validator->second, *length, digest}};
}

std::unique_ptr<std::iostream> PartFile::begin(
    const std::string& url, const std::string& head,
    const std::optional<Representation>& representation) {
    forget();
    if (representation && head.empty()) {
        const auto& digest = representation->digest;
        writeNew(validatorPath(), "Validator: " + representation->validator + "\n" +
                                      "Content-Length: " + std::to_string(representation->length) +
                                      "\n" + (digest ? "Digest: " + digest->text() + "\n" : "") +
                                      "URL-SHA256: " + fingerprint(url) + "\n");
    }
    output_->write(head.data(), head.size(), 0);
    output_->check();
    return output_->streamFrom(output_->end());
}

std::unique_ptr<std::iostream> PartFile::continueFrom(std::int64_t offset) {
    touched_ = true;
    cutOff(offset);
    return output_->streamFrom(offset);
}

void PartFile::forget() {
    // In this order a crash leaves bytes that nothing vouches for, never old bytes under a new
    // name; and a validator that stays must not vouch for the bytes that come.
    if (unlink(validatorPath().c_str()) != 0 && errno != ENOENT) {
        throw writeFailure("remove " + inQuotes(validatorPath()), errno);
    }
    touched_ = true;
    cutOff(0);
}

void PartFile::cutOff(std::int64_t size) {
    if (ftruncate(descriptor_, size) != 0)
        throw writeFailure("write to " + inQuotes(partPath()), errno);
    output_->setEnd(size);
}

void PartFile::finish() {
    struct stat existing {};
    if (stat(target_.c_str(), &existing) == 0) takeOver(descriptor_, existing);
    renameTo(target_, 0);
}

void PartFile::finishAs(const std::string& fileName) {
    const std::string path = directory_ / fileName;
    renameTo(path, RENAME_NOREPLACE);
    target_ = path;
}

void PartFile::renameTo(const std::string& path, unsigned int flags) {
    output_->check();
    // Some file systems report a full disk only now; and the name must not outlive a crash without
    // the bytes.
    if (fdatasync(descriptor_) != 0) throw writeFailure("write to " + inQuotes(partPath()), errno);
    if (!isOurs()) {
        throw WriteFailure("cannot rename " + inQuotes(partPath()) + " to " + inQuotes(path) +
                           ": somebody else replaced or removed it");
    }
    if (renameat2(AT_FDCWD, partPath().c_str(), AT_FDCWD, path.c_str(), flags) != 0) {
        throw writeFailure("rename " + inQuotes(partPath()) + " to " + inQuotes(path), errno);
    }
    unlink(validatorPath().c_str());
    finished_ = true;
}

}  // namespace tavrin::http_tool
