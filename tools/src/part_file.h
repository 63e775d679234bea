#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "output.h"
#include "representation.h"

namespace tavrin::http_tool {

/// A file under way: bodies go to "NAME.part", and NAME appears, by renaming, when they are whole.
///
/// Beside it "NAME.part.validator" tells which version of which resource the bytes belong to, so
/// that another run of the program can go on where this one ended. The part file is locked against
/// other processes for as long as the object lives. When that ends without finish(), both files are
/// removed, unless keep() was asked for and there is something that can be continued.
class PartFile {
public:
    /// What stands behind the target's name in that of the part file, and of what tells about it.
    static constexpr const char* PART_SUFFIX = ".part";
    static constexpr const char* VALIDATOR_SUFFIX = ".part.validator";

    /// What becomes of a file that is there already: finish() replaces it, finishAs() does not.
    enum class Existing { REPLACED, KEPT };

    /// Opens the part file of `target`. A symbolic link at `target` is followed.
    /// @throws WriteFailure if it cannot be opened, or if another process holds it.
    explicit PartFile(const std::string& target, Existing existing = Existing::REPLACED);
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;
    ~PartFile();

    /// What an earlier run, or an earlier attempt, left behind of `url`.
    struct Held {
        std::int64_t size = 0;
        Representation representation;
    };
    std::optional<Held> held(const std::string& url) const;

    /// A stream for a body from its first byte on, behind `head`; what the file held is gone.
    /// `representation`, if known, is what the file without a head will be a part of.
    /// @throws WriteFailure if the old validator cannot be removed, the file not be cut off, or
    /// head or validator not be written.
    std::unique_ptr<std::iostream> begin(const std::string& url, const std::string& head,
                                         const std::optional<Representation>& representation);

    /// A stream that continues the file from `offset` on; its position 0 is there.
    /// @throws WriteFailure if the file cannot be cut off at `offset`.
    std::unique_ptr<std::iostream> continueFrom(std::int64_t offset);

    /// Forgets what the file holds, and its validator.
    /// @throws WriteFailure if they cannot be removed.
    void forget();

    /// Leaves what can be continued later in place when the object goes.
    void keep() { keep_ = true; }

    /// Makes the part file the target, with the permissions that an existing target has, and its
    /// owner and group as far as that may be.
    /// @throws WriteFailure; the part file is then treated as unfinished.
    void finish();

    /// The same under another name, where nothing may stand yet, in the directory that the
    /// constructor was given: a link at the target leads to other places only the target itself.
    void finishAs(const std::string& fileName);

    /// Where the finished file is, or will be.
    const std::string& target() const { return target_; }

    const Output& output() const { return *output_; }

    /// The open file, for reading it back.
    int descriptor() const { return descriptor_; }

private:
    bool isOurs() const;
    void cutOff(std::int64_t size);
    void renameTo(const std::string& path, unsigned int flags);
    std::string partPath() const { return target_ + PART_SUFFIX; }
    std::string validatorPath() const { return target_ + VALIDATOR_SUFFIX; }

    std::filesystem::path directory_;
    std::string target_;
    int descriptor_ = -1;
    std::optional<Output> output_;
    bool touched_ = false;
    bool keep_ = false;
    bool finished_ = false;
};

}  // namespace tavrin::http_tool
