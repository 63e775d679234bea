#include "target.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "checksum.h"
#include "failures.h"

namespace tavrin::http_tool {
namespace {

void compare(const ExpectedChecksum& expected, const std::string& hex) {
    if (hex == expected.hex) return;
    throw ChecksumFailure("the " + expected.algorithm + " checksum is " + hex + ", not " +
                          expected.hex);
}

class FileTarget : public Target {
public:
    FileTarget(const Assignment& assignment, bool keepUnfinished)
        : url_(assignment.url),
          checksum_(assignment.checksum),
          part_(assignment.output,
                assignment.serverNames ? PartFile::Existing::KEPT : PartFile::Existing::REPLACED) {
        if (keepUnfinished) part_.keep();
    }

    std::unique_ptr<std::iostream> begin(
        const std::string& head, const std::optional<Representation>& representation) override {
        return part_.begin(url_, head, representation);
    }

    std::optional<PartFile::Held> held() const override { return part_.held(url_); }

    std::unique_ptr<std::iostream> continueFrom(std::int64_t offset) override {
        return part_.continueFrom(offset);
    }

    void forget() override { part_.forget(); }

    std::string checksum(const std::string& algorithm) const override {
        return checksumOfFile(algorithm, part_.descriptor());
    }

    void finish(const std::string& newName) override {
        part_.output().check();
        if (checksum_) verify();
        if (newName.empty()) {
            part_.finish();
        } else {
            part_.finishAs(newName);
        }
    }

    const Output& output() const override { return part_.output(); }

private:
    // Read back from the disk: what arrived may have come in several runs of the program.
    void verify() {
        try {
            compare(*checksum_, checksum(checksum_->algorithm));
        } catch (const ChecksumFailure&) {
            part_.forget();
            throw;
        }
    }

    std::string url_;
    std::optional<ExpectedChecksum> checksum_;
    PartFile part_;
};

class Descriptor {
public:
    explicit Descriptor(int value) : value_(value) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (value_ >= 0) close(value_);
    }
    int get() const { return value_; }

private:
    int value_;
};

class StreamTarget : public Target {
public:
    // `owned` is closed at the end, if it is the descriptor of a file.
    StreamTarget(int owned, int descriptor, const std::string& name,
                 std::optional<ExpectedChecksum> checksum)
        : owned_(owned),
          output_(descriptor, Output::Access::AT_END, name),
          expected_(std::move(checksum)) {
        if (!expected_) return;
        checksum_.emplace(expected_->algorithm);
        output_.setObserver(
            [this](const char* data, std::size_t size) { checksum_->update(data, size); });
    }

    std::unique_ptr<std::iostream> begin(const std::string& head,
                                         const std::optional<Representation>&) override {
        if (output_.end() > 0) {
            throw StartOverFailure("the body would have to begin anew, but " +
                                   std::to_string(output_.end()) +
                                   " bytes of it have been written already");
        }
        output_.write(head.data(), head.size(), 0);
        output_.check();
        return output_.streamFrom(output_.end());
    }

    void finish(const std::string&) override {
        output_.check();
        if (expected_) compare(*expected_, checksum_->hex());
    }

    const Output& output() const override { return output_; }

private:
    Descriptor owned_;
    Output output_;
    std::optional<ExpectedChecksum> expected_;
    std::optional<Checksum> checksum_;
};

}  // namespace

std::unique_ptr<std::iostream> Target::continueFrom(std::int64_t) {
    throw std::logic_error("nothing is held that could be continued");
}

std::string Target::checksum(const std::string&) const {
    throw std::logic_error("nothing was continued that could be read back");
}

std::unique_ptr<Target> targetFor(const Assignment& assignment, bool keepUnfinished) {
    const std::string& output = assignment.output;
    if (output == "-") {
        return std::make_unique<StreamTarget>(-1, STDOUT_FILENO, "standard output",
                                              assignment.checksum);
    }
    struct stat status {};
    const bool exists = stat(output.c_str(), &status) == 0;
    // A device or a pipe is written to as it is: renaming would replace /dev/null by a file.
    if (exists && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        const int descriptor = open(output.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (descriptor < 0) throw writeFailure("open \"" + output + "\"", errno);
        return std::make_unique<StreamTarget>(descriptor, descriptor, "\"" + output + "\"",
                                              assignment.checksum);
    }
    return std::make_unique<FileTarget>(assignment, keepUnfinished);
}

}  // namespace tavrin::http_tool
