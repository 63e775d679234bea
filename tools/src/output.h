#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

namespace tavrin::http_tool {

/// An open file or pipe that bodies are written to, and what became of it.
///
/// Streams write through to the descriptor at once, so that whatever arrived is there when the
/// process ends, however it ends; and the reason of a failed write, which a stream cannot tell,
/// stays readable here. It belongs to one thread, and outlives the streams that it made.
class Output {
public:
    /// Whether writing may go back to an earlier position. What was written to a pipe, or to a file
    /// that others write to as well (standard output, appended to a log), is out of our hands.
    enum class Access { ANYWHERE, AT_END };

    /// Writes to `descriptor`, which stays the caller's. `name` is what messages call it.
    Output(int descriptor, Access access, std::string name);

    /// A body stream whose position 0 is `origin` bytes into the file. It can be written and
    /// repositioned, not read. With Access::AT_END every write must be at the end.
    std::unique_ptr<std::iostream> streamFrom(std::int64_t origin);

    /// Called with all that is written, in order, from then on.
    void setObserver(std::function<void(const char*, std::size_t)> observer);

    /// End of what was written, in bytes from the start of the file.
    std::int64_t end() const { return end_; }

    /// Lets end() begin anew, where something else cut the file off.
    void setEnd(std::int64_t end) { end_ = end; }

    /// The errno of the first write that failed; 0 while none has.
    int errorNumber() const { return errorNumber_; }

    /// @throws WriteFailure if a write has failed.
    void check() const;

    /// Writes `size` bytes at `position`; false if that failed.
    bool write(const char* data, std::size_t size, std::int64_t position);

private:
    // Bytes written by one call to the system, -1 with errno set if none.
    std::int64_t writeSome(const char* data, std::size_t size, std::int64_t position) const;

    int descriptor_;
    Access access_;
    std::string name_;
    std::int64_t end_ = 0;
    int errorNumber_ = 0;
    std::function<void(const char*, std::size_t)> observer_;
};

}  // namespace tavrin::http_tool
