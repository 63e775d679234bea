#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "assignment.h"
#include "output.h"
#include "part_file.h"
#include "representation.h"

namespace tavrin::http_tool {

/// Where the body of one URL goes. It belongs to one thread.
class Target {
public:
    virtual ~Target() = default;

    /// A stream for a body from its first byte on, behind `head`.
    /// @throws WriteFailure; StartOverFailure if what was written cannot be taken back.
    virtual std::unique_ptr<std::iostream> begin(
        const std::string& head, const std::optional<Representation>& representation) = 0;

    /// What can be continued; nothing by default.
    virtual std::optional<PartFile::Held> held() const { return std::nullopt; }

    /// A stream for the rest of what is held, from `offset` on. Only where held() gave something.
    virtual std::unique_ptr<std::iostream> continueFrom(std::int64_t offset);

    /// Forgets what is held.
    virtual void forget() {}

    /// Digest of all that was written, over all runs, in hexadecimal digits. Only where something
    /// was continued.
    virtual std::string checksum(const std::string& algorithm) const;

    /// Everything has been written; a file gets `newName`, if not empty, where nothing may stand
    /// yet.
    /// @throws WriteFailure, ChecksumFailure.
    virtual void finish(const std::string& newName) = 0;

    virtual const Output& output() const = 0;
};

/// What the assignment's output names: standard output for "-", a device or pipe, or a file, which
/// then takes shape in a part file. With `keepUnfinished`, what can be continued of a file stays
/// for later runs.
/// @throws WriteFailure if it cannot be opened.
std::unique_ptr<Target> targetFor(const Assignment& assignment, bool keepUnfinished);

}  // namespace tavrin::http_tool
