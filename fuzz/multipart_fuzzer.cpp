#include <fuzzer/FuzzedDataProvider.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_core/httpclient_core.h"
#include "httpclient_curl/curl_http_client.h"
#include "multipart_reader.h"
#include "socket_pairs.h"

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;

namespace {

// So few have room in a socket's buffer whatever they hold; nobody takes anything out of it.
constexpr std::size_t MOST_PARTS = 6;
constexpr std::size_t MOST_BYTES = 1500;

struct File {
    std::string name;
    std::string escapedName;
    std::string content;
};

const std::array<File, 3>& files() {
    static const std::array<File, 3> files = {
        File{"plain.txt", "plain.txt", "plain\r\n--text\r\n"},
        File{"a \"b\"\r\nc%22.bin", "a %22b%22%0D%0Ac%22.bin", std::string(MOST_BYTES, '\0')},
        File{"empty", "empty", ""},
    };
    return files;
}

// Holds the files as long as the program runs.
class Directory {
public:
    Directory() {
        std::string path = std::filesystem::temp_directory_path() / "multipart_fuzzer-XXXXXX";
        CHECK(mkdtemp(path.data()) != nullptr);
        path_ = path;
        for (const File& file : files()) {
            std::ofstream stream(path_ / file.name, std::ios::binary);
            stream << file.content;
            CHECK(stream.flush());
        }
    }
    ~Directory() { std::filesystem::remove_all(path_); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    std::string pathOf(const File& file) const { return path_ / file.name; }

private:
    std::filesystem::path path_;
};

const Directory& directory() {
    static const Directory directory;
    return directory;
}

using Field = std::pair<std::string, std::string>;

struct ModelPart {
    std::string name;
    std::string type;
    std::vector<Field> custom;
    const File* file;  // none: a part with data
    std::string data;

    bool hasCustom(const char* field) const {
        return std::any_of(custom.begin(), custom.end(), [field](const Field& own) {
            return strcasecmp(own.first.c_str(), field) == 0;
        });
    }
};

using Model = std::vector<ModelPart>;

ModelPart readPart(FuzzedDataProvider& input) {
    constexpr const char* FIELDS[] = {"X-A", "content-type", "Content-Disposition", "no token", ""};
    ModelPart part;
    part.name = input.ConsumeRandomLengthString(20);
    part.type = input.ConsumeRandomLengthString(20);
    for (int fields = input.ConsumeIntegralInRange(0, 3); fields > 0; --fields) {
        const std::string name = input.PickValueInArray(FIELDS);
        part.custom.emplace_back(name, input.ConsumeRandomLengthString(20));
    }
    const auto kind = input.ConsumeIntegralInRange<std::size_t>(0, files().size());
    part.file = kind < files().size() ? &files()[kind] : nullptr;
    if (part.file == nullptr) part.data = input.ConsumeRandomLengthString(MOST_BYTES);
    return part;
}

void add(MultipartBody& body, const ModelPart& part) {
    PartHeader header(part.name, part.type);
    for (const auto& [name, value] : part.custom) header.addCustomHeaderValue(name, value);
    if (part.file != nullptr) {
        body.addPart(FilePart(header, directory().pathOf(*part.file)));
    } else {
        body.addPart(DataPart(header, part.data));
    }
}

bool isPart(const PartHeader& header, const ModelPart& expected) {
    const HttpHeaders custom = header.getCustomHeaders();
    return header.getPartName() == expected.name && header.getContentType() == expected.type &&
           std::equal(custom.begin(), custom.end(), expected.custom.begin(), expected.custom.end());
}

bool isPart(const DataPart& part, const ModelPart& expected) {
    return expected.file == nullptr && isPart(part.getHeader(), expected) &&
           part.getData() == expected.data;
}

bool isPart(const FilePart& part, const ModelPart& expected) {
    return expected.file != nullptr && isPart(part.getHeader(), expected) &&
           part.getFilePath().toUtf8() == directory().pathOf(*expected.file);
}

void compare(const MultipartBody& body, const Model& model) {
    const auto parts = body.getContent();
    CHECK(std::equal(parts.begin(), parts.end(), model.begin(), model.end(),
                     [](const auto& part, const ModelPart& expected) {
                         return std::visit([&](const auto& kind) { return isPart(kind, expected); },
                                           part);
                     }));
}

// The first part of a kind and a name is found; where there is none, that is said.
template <typename Get>
void checkLookup(const Model& model, const std::string& name, bool isFile, bool found, Get get) {
    const auto first = std::find_if(model.begin(), model.end(), [&](const ModelPart& part) {
        return (part.file != nullptr) == isFile && part.name == name;
    });
    CHECK(found == (first != model.end()));
    try {
        CHECK(isPart(get(), *first));
    } catch (const std::out_of_range&) {
        CHECK(first == model.end());
    }
}

void applyOperation(FuzzedDataProvider& input, MultipartBody& body, Model& model) {
    if (input.ConsumeIntegralInRange(0, 3) > 0) {
        if (model.size() == MOST_PARTS) return;
        model.push_back(readPart(input));
        add(body, model.back());
        return;
    }
    const std::string name = input.ConsumeRandomLengthString(20);
    checkLookup(model, name, false, body.hasDataPart(name), [&] { return body.getDataPart(name); });
    checkLookup(model, name, true, body.hasFilePart(name), [&] { return body.getFilePart(name); });
    body.removePart(name);
    model.erase(std::remove_if(model.begin(), model.end(),
                               [&](const ModelPart& part) { return part.name == name; }),
                model.end());
}

bool holdsOneOf(const std::string& text, const std::string& characters) {
    return text.find_first_of(characters) != std::string::npos;
}

bool mayBeSent(const ModelPart& part) {
    const std::string lineEnds("\r\n\0", 3);
    for (const auto& [name, value] : part.custom) {
        if (name.empty() || holdsOneOf(name, " ") || holdsOneOf(value, lineEnds)) return false;
    }
    if (!part.hasCustom("Content-Disposition") && holdsOneOf(part.name, std::string(1, '\0')))
        return false;
    return part.hasCustom("Content-Type") || !holdsOneOf(part.type, lineEnds);
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        result += c == '"' ? "%22" : c == '\r' ? "%0D" : c == '\n' ? "%0A" : std::string(1, c);
    }
    return result;
}

ReadPart sentPart(const ModelPart& part) {
    ReadPart sent;
    if (!part.hasCustom("Content-Disposition")) {
        std::string value = "form-data; name=\"" + escaped(part.name) + "\"";
        if (part.file != nullptr) value += "; filename=\"" + part.file->escapedName + "\"";
        sent.fields.emplace_back("Content-Disposition", value);
    }
    if (!part.type.empty() && !part.hasCustom("Content-Type"))
        sent.fields.emplace_back("Content-Type", part.type);
    sent.fields.insert(sent.fields.end(), part.custom.begin(), part.custom.end());
    sent.content = part.file != nullptr ? part.file->content : part.data;
    return sent;
}

// What a server gets in two attempts; nothing if the request is refused.
std::vector<std::string> send(const MultipartBody& body) {
    const std::string answer =
        "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
    SocketPairs connections({answer, answer}, answer.size());
    HttpRequest request(HttpMethod::POST, URL("http://127.0.0.1/"), {});
    request.setMultipartBody(body);
    const CurlHttpClient client(ClientConfiguration().withRetryStrategy(
        [](const HttpRequest&, const HttpResponse&, const std::exception_ptr& error, int total,
           int) { return error == nullptr && total < 2; }));
    try {
        client.makeRequest(std::move(request));
    } catch (const HttpRequestFailedException& error) {
        CHECK(std::string(error.what()).rfind("Request refused: the ", 0) == 0);
    }
    return connections.received();
}

void checkSent(const MultipartBody& body, const Model& model) {
    const auto attempts = send(body);
    if (!std::all_of(model.begin(), model.end(), mayBeSent)) {
        CHECK(attempts.empty());
        return;
    }
    std::vector<ReadPart> expected;
    std::transform(model.begin(), model.end(), std::back_inserter(expected), sentPart);
    CHECK(attempts.size() == 2);
    for (const std::string& attempt : attempts) CHECK(readParts(attempt) == expected);
}

}  // namespace

// Any sequence of operations leaves the parts that a plain list would hold, and a server reads just
// these from what is sent, a second time too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    MultipartBody body;
    Model model;
    while (input.remaining_bytes() > 0) {
        applyOperation(input, body, model);
        compare(body, model);
    }
    if (!model.empty()) checkSent(body, model);
    return 0;
}
