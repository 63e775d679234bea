#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "base64.h"
#include "recording.h"

namespace tavrin::httpclient_testing::detail {
namespace {

using Json = nlohmann::json;
using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::FilePath;
using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::HttpResponseCode;
using httpclient_core::MultipartBody;
using httpclient_core::PartHeader;

// A value of the file, which knows where it stands, so that whoever edits the file finds it.
class Node {
public:
    Node(const Json& value, std::string place) : value_(value), place_(std::move(place)) {}

    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error((place_.empty() ? "it" : place_) + " " + what);
    }

    // Refuses members of other names: most likely a slip of whoever edited the file.
    const Node& holdingOnly(std::initializer_list<std::string> names) const {
        if (!value_.is_object()) fail("is no object");
        for (const auto& member : value_.items()) {
            if (std::find(names.begin(), names.end(), member.key()) == names.end()) {
                fail("has an unknown member \"" + member.key() + "\"");
            }
        }
        return *this;
    }

    bool has(const std::string& name) const { return value_.contains(name); }

    Node operator[](const std::string& name) const {
        if (!has(name)) fail("has no member \"" + name + "\"");
        return {value_.at(name), place_.empty() ? name : place_ + "." + name};
    }

    std::vector<Node> elements() const {
        if (!value_.is_array()) fail("is no array");
        std::vector<Node> nodes;
        for (std::size_t index = 0; index < value_.size(); ++index) {
            nodes.emplace_back(value_[index], place_ + "[" + std::to_string(index) + "]");
        }
        return nodes;
    }

    std::string text() const {
        if (!value_.is_string()) fail("is no text");
        return value_.get<std::string>();
    }

    std::string bytes() const {
        if (!value_.is_object()) return text();
        const Node encoded = holdingOnly({"base64"})["base64"];
        auto decoded = bytesOfBase64(encoded.text());
        if (!decoded) encoded.fail("is no base64");
        return std::move(*decoded);
    }

    template <typename Number>
    Number number() const {
        const bool fits = value_.is_number_integer() &&
                          (!value_.is_number_unsigned() ||
                           value_.get<std::uint64_t>() <=
                               static_cast<std::uint64_t>(std::numeric_limits<Number>::max())) &&
                          value_.get<std::int64_t>() >= std::numeric_limits<Number>::min() &&
                          value_.get<std::int64_t>() <= std::numeric_limits<Number>::max();
        if (!fits) fail("is no integer, or too large");
        return static_cast<Number>(value_.get<std::int64_t>());
    }

    bool flag() const {
        if (!value_.is_boolean()) fail("is neither true nor false");
        return value_.get<bool>();
    }

private:
    const Json& value_;
    std::string place_;
};

HttpHeaders readHeaders(const Node& node) {
    HttpHeaders headers;
    for (const Node& element : node.elements()) {
        const std::string line = element.bytes();
        const auto colon = line.find(": ");
        if (colon == std::string::npos) element.fail("is no \"Name: value\"");
        headers.addHeaderValue(line.substr(0, colon), line.substr(colon + 2));
    }
    return headers;
}

HttpMethod readMethod(const Node& node) {
    try {
        return httpclient_core::createHttpMethod(node.text());
    } catch (const std::out_of_range&) {
        node.fail("is no method: \"" + node.text() + "\"");
    }
}

FilePath readPath(const Node& node) {
    const std::string path = node.text();
    if (path.empty()) node.fail("is empty");
    return path;
}

void addPart(MultipartBody& body, const Node& node) {
    node.holdingOnly({"name", "contentType", "headers", "data", "file"});
    PartHeader header(node["name"].bytes());
    if (node.has("contentType")) header.setContentType(node["contentType"].bytes());
    if (node.has("headers")) header.setCustomHeaders(readHeaders(node["headers"]));
    if (node.has("data") == node.has("file")) node.fail("needs either \"data\" or \"file\"");
    if (node.has("data")) {
        body.addPart(DataPart(std::move(header), node["data"].bytes()));
    } else {
        body.addPart(FilePart(std::move(header), readPath(node["file"])));
    }
}

RecordedRequest readRequest(const Node& node) {
    node.holdingOnly({"method", "url", "headers", "body", "parts"});
    RecordedRequest request{readMethod(node["method"]),
                            node["url"].bytes(),
                            readHeaders(node["headers"]),
                            std::nullopt,
                            std::nullopt,
                            std::nullopt};
    if (node.has("body")) request.body = node["body"].bytes();
    if (node.has("parts")) {
        request.multipartBody.emplace();
        for (const Node& part : node["parts"].elements()) addPart(*request.multipartBody, part);
    }
    return request;
}

RecordedResponse readResponse(const Node& node) {
    node.holdingOnly(
        {"code", "reason", "headers", "body", "startsOver", "redirects", "effectiveUrl"});
    return {static_cast<HttpResponseCode>(node["code"].number<std::int32_t>()),
            node["reason"].bytes(),
            readHeaders(node["headers"]),
            node["body"].bytes(),
            node.has("startsOver") && node["startsOver"].flag(),
            node["redirects"].number<long>(),
            node["effectiveUrl"].bytes()};
}

RecordedFailure readFailure(const Node& node) {
    node.holdingOnly({"type", "text"});
    RecordedFailure failure{node["type"].text(), node["text"].bytes()};
    if (!exceptionOf(failure)) node["type"].fail("is no type: \"" + failure.type + "\"");
    return failure;
}

RecordedExchange readExchange(const Node& node) {
    node.holdingOnly({"request", "response", "failure"});
    RecordedExchange exchange{readRequest(node["request"]), std::nullopt, std::nullopt};
    if (node.has("response")) exchange.response = readResponse(node["response"]);
    if (node.has("failure")) exchange.failure = readFailure(node["failure"]);
    if (!exchange.response && !exchange.failure) {
        node.fail("has neither a member \"response\" nor a member \"failure\"");
    }
    return exchange;
}

std::vector<std::string> readNames(const Node& node) {
    std::vector<std::string> names;
    for (const Node& name : node.elements()) names.push_back(name.bytes());
    return names;
}

Credentials readCredentials(const Node& node) {
    node.holdingOnly({"headers", "parameters", "harmless"});
    CredentialNames names{readNames(node["headers"]), readNames(node["parameters"])};
    if (node.has("harmless")) names.harmless = readNames(node["harmless"]);
    return Credentials(std::move(names));
}

Json parse(const std::string& json) {
    try {
        return Json::parse(json);
    } catch (const Json::parse_error& error) {
        throw std::runtime_error(std::string("it is no JSON: ") + error.what());
    }
}

}  // namespace

Recording parseRecording(const std::string& json) {
    const Json file = parse(json);
    const Node root(file, "");
    root.holdingOnly({"version", "credentials", "exchanges"});
    if (const int version = root["version"].number<int>(); version != 1) {
        root["version"].fail("is " + std::to_string(version) + ", but only 1 is known");
    }
    Recording recording{readCredentials(root["credentials"]), {}};
    for (const Node& exchange : root["exchanges"].elements()) {
        recording.exchanges.push_back(readExchange(exchange));
    }
    return recording;
}

}  // namespace tavrin::httpclient_testing::detail
