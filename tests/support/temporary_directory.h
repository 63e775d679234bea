#pragma once

#include <filesystem>
#include <string>

namespace tavrin::httpclient_core::test {

/// A directory of its own below the temporary one, which goes with the object and all that is in
/// it.
class TemporaryDirectory {
public:
    /// @throws std::system_error if there can be none.
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return path_; }
    /// Path of something in it.
    std::string file(const std::string& name) const { return path_ / name; }

    /// Names of what is there, sorted, separated by blanks.
    std::string listing() const;

private:
    std::filesystem::path path_;
};

/// The whole of a file, "" if there is none.
std::string readFile(const std::filesystem::path& path);

/// Makes the file hold `content` alone.
/// @throws std::system_error if that can't be done.
void writeFile(const std::filesystem::path& path, const std::string& content);

}  // namespace tavrin::httpclient_core::test
