#pragma once

#include <string>

namespace tavrin::http_tool::testing {

/// A directory of its own for one test, removed with all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

    /// Names of what is there, sorted, separated by blanks.
    std::string listing() const;

private:
    std::string path_;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace tavrin::http_tool::testing
