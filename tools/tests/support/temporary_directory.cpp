#include "support/temporary_directory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

namespace tavrin::http_tool::testing {

TemporaryDirectory::TemporaryDirectory()
    : path_((std::filesystem::temp_directory_path() / "tavrin-http-XXXXXX").string()) {
    if (!mkdtemp(path_.data())) throw std::system_error(errno, std::generic_category(), path_);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryDirectory::listing() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
        names.insert(entry.path().filename().string());
    }
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : " ") + name;
    return text;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::system_error(errno, std::generic_category(), path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content << std::flush;
    if (!file) throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace tavrin::http_tool::testing
