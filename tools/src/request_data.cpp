#include "request_data.h"

#include <httpclient_core/query_parameters.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "failures.h"

namespace tavrin::http_tool {
namespace {

ReadFailure readFailure(const std::string& path, const std::string& reason) {
    return ReadFailure("cannot read \"" + path + "\": " + reason);
}

ReadFailure lastFailure(const std::string& path) {
    return readFailure(path, std::generic_category().message(errno));
}

struct Close {
    void operator()(std::FILE* file) const {
        if (file != stdin) std::fclose(file);
    }
};
using File = std::unique_ptr<std::FILE, Close>;

File openedFile(const std::string& path) {
    File file(std::fopen(path.c_str(), "rbe"));
    if (!file) throw lastFailure(path);
    return file;
}

// The length of a form is told before it is sent, so that each of its files has to have one.
void checkForForm(const std::string& path) {
    std::error_code error;
    // A pipe would be waited for, and its writer lose its reader.
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        throw readFailure(path, "not a regular file");
    }
    openedFile(path);
    pathOf(path);
}

std::string contentOf(const std::string& path) {
    const File file = path == "-" ? File(stdin) : openedFile(path);
    std::string content;
    std::vector<char> buffer(1 << 16);
    while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), file.get())) {
        content.append(buffer.data(), size);
    }
    if (std::ferror(file.get()) != 0) throw lastFailure(path);
    return content;
}

bool namesFile(const std::string& argument) { return argument.rfind('@', 0) == 0; }

// A parameter without a value is written as its bare name behind a "?".
std::string percentEncoded(const std::string& text) {
    if (text.empty()) return "";
    return httpclient_core::QueryParameters({{text, ""}}).toString().substr(1);
}

}  // namespace

std::string dataFrom(const std::string& argument) {
    return namesFile(argument) ? contentOf(argument.substr(1)) : argument;
}

std::string textFrom(const std::string& argument) {
    std::string text = dataFrom(argument);
    if (!namesFile(argument)) return text;
    const auto isDropped = [](char c) { return c == '\r' || c == '\n' || c == '\0'; };
    text.erase(std::remove_if(text.begin(), text.end(), isDropped), text.end());
    return text;
}

std::string urlEncodedData(const std::string& argument) {
    const auto mark = argument.find_first_of("=@");
    if (mark == std::string::npos) return percentEncoded(argument);
    const std::string name = argument.substr(0, mark);
    const std::string value =
        argument[mark] == '@' ? contentOf(argument.substr(mark + 1)) : argument.substr(mark + 1);
    return (name.empty() ? "" : name + "=") + percentEncoded(value);
}

httpclient_core::FilePath pathOf(const std::string& file) {
    try {
        return {file};
    } catch (const std::runtime_error& error) {
        throw readFailure(file, error.what());
    }
}

FormField formField(const std::string& argument) {
    const auto equals = argument.find('=');
    if (equals == std::string::npos || equals == 0) {
        // It may be a secret, and is not repeated.
        throw std::invalid_argument("a form field is NAME=VALUE or NAME=@FILE");
    }
    FormField field;
    field.name = argument.substr(0, equals);
    field.value = argument.substr(equals + 1);
    if (const auto type = field.value.rfind(";type="); type != std::string::npos) {
        field.mediaType = field.value.substr(type + 6);
        field.value.erase(type);
    }
    if (!field.value.empty() && field.value.front() == '@') {
        field.isFile = true;
        field.value.erase(0, 1);
        // Better to hear of it now than in the middle of sending.
        checkForForm(field.value);
    }
    return field;
}

std::string basicAuthorization(const std::string& credentials) {
    std::string encoded(4 * ((credentials.size() + 2) / 3) + 1, '\0');
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                                     reinterpret_cast<const unsigned char*>(credentials.data()),
                                     static_cast<int>(credentials.size()));
    encoded.resize(static_cast<std::size_t>(size));
    return "Basic " + encoded;
}

}  // namespace tavrin::http_tool
