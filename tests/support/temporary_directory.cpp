#include "support/temporary_directory.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

namespace tavrin::httpclient_core::test {

TemporaryDirectory::TemporaryDirectory() {
    std::string path = std::filesystem::temp_directory_path() / "httpclient-test-XXXXXX";
    if (!mkdtemp(path.data())) throw std::system_error(errno, std::generic_category(), path);
    path_ = path;
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

std::string readFile(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content << std::flush;
    if (!file) throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace tavrin::httpclient_core::test
