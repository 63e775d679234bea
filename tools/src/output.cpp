#include "output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <streambuf>
#include <utility>

#include "failures.h"
#include "interruption.h"

namespace tavrin::http_tool {
namespace {

// No put area: every write goes to the descriptor. A transport hands over kilobytes at a time.
class OutputBuffer : public std::streambuf {
public:
    OutputBuffer(Output& output, std::int64_t origin) : output_(output), origin_(origin) {}

protected:
    std::streamsize xsputn(const char* data, std::streamsize size) override {
        if (!output_.write(data, static_cast<std::size_t>(size), origin_ + position_)) return 0;
        position_ += size;
        return size;
    }

    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        const char single = traits_type::to_char_type(c);
        return xsputn(&single, 1) == 1 ? c : traits_type::eof();
    }

    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode) override {
        const off_type base = direction == std::ios_base::beg   ? 0
                              : direction == std::ios_base::cur ? position_
                                                                : output_.end() - origin_;
        if (base + offset < 0) return pos_type(off_type(-1));
        position_ = base + offset;
        return pos_type(position_);
    }

    pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }

private:
    Output& output_;
    std::int64_t origin_;
    off_type position_ = 0;
};

class OutputStream : public std::iostream {
public:
    OutputStream(Output& output, std::int64_t origin)
        : std::iostream(nullptr), buffer_(output, origin) {
        rdbuf(&buffer_);
    }

private:
    OutputBuffer buffer_;
};

}  // namespace

Output::Output(int descriptor, Access access, std::string name)
    : descriptor_(descriptor), access_(access), name_(std::move(name)) {}

std::unique_ptr<std::iostream> Output::streamFrom(std::int64_t origin) {
    return std::make_unique<OutputStream>(*this, origin);
}

void Output::setObserver(std::function<void(const char*, std::size_t)> observer) {
    observer_ = std::move(observer);
}

void Output::check() const {
    if (errorNumber_ != 0) throw writeFailure("write to " + name_, errorNumber_);
}

std::int64_t Output::writeSome(const char* data, std::size_t size, std::int64_t position) const {
    while (true) {
        // Whoever reads a pipe may have stopped; the program ends when it is told to all the same.
        if (access_ == Access::AT_END && interruptingSignal() != 0) {
            errno = EINTR;
            return -1;
        }
        const ssize_t written = access_ == Access::ANYWHERE
                                    ? pwrite(descriptor_, data, size, position)
                                    : ::write(descriptor_, data, size);
        if (written >= 0) return written;
        if (errno == EAGAIN) {
            // A terminal or pipe that another process made non-blocking.
            pollfd writable{descriptor_, POLLOUT, 0};
            poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return -1;
        }
    }
}

bool Output::write(const char* data, std::size_t size, std::int64_t position) {
    if (errorNumber_ != 0) return false;
    if (access_ == Access::AT_END && position != end_) {
        errorNumber_ = ESPIPE;
        return false;
    }
    for (std::size_t done = 0; done < size;) {
        const auto written = writeSome(data + done, size - done, position);
        if (written < 0) {
            errorNumber_ = errno;
            return false;
        }
        done += static_cast<std::size_t>(written);
        position += written;
        end_ = std::max(end_, position);
    }
    if (observer_) observer_(data, size);
    return true;
}

}  // namespace tavrin::http_tool
