#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "base64.h"
#include "method_name.h"
#include "recording.h"

namespace tavrin::httpclient_testing::detail {
namespace {

// Keeps members in the order in which people look for them.
using Json = nlohmann::ordered_json;
using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::HttpHeaders;
using httpclient_core::MultipartBody;
using httpclient_core::PartHeader;

bool isUtf8(const std::string& text) {
    try {
        static_cast<void>(Json(text).dump());
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

// JSON knows no text but UTF-8.
Json bytes(const std::string& text) {
    if (isUtf8(text)) return text;
    return {{"base64", base64(text)}};
}

Json headerLines(const HttpHeaders& headers) {
    Json lines = Json::array();
    for (const auto& [name, value] : headers) {
        std::string line = name;
        line.append(": ").append(value);
        lines.push_back(bytes(line));
    }
    return lines;
}

Json toJson(const PartHeader& header) {
    Json json{{"name", bytes(header.getPartName())}};
    if (!header.getContentType().empty()) json["contentType"] = bytes(header.getContentType());
    if (!header.getCustomHeaders().empty()) {
        json["headers"] = headerLines(header.getCustomHeaders());
    }
    return json;
}

Json toJson(const DataPart& data) {
    Json json = toJson(data.getHeader());
    json["data"] = bytes(data.getData());
    return json;
}

Json toJson(const FilePart& file) {
    Json json = toJson(file.getHeader());
    json["file"] = file.getFilePath().toUtf8();
    return json;
}

Json toJson(const MultipartBody& body) {
    Json list = Json::array();
    for (const auto& one : body.getContent()) {
        list.push_back(std::visit([](const auto& kind) { return toJson(kind); }, one));
    }
    return list;
}

Json toJson(const RecordedRequest& request) {
    Json json{{"method", methodName(request.method)},
              {"url", bytes(request.url)},
              {"headers", headerLines(request.headers)}};
    if (request.body) json["body"] = bytes(*request.body);
    if (request.multipartBody) json["parts"] = toJson(*request.multipartBody);
    return json;
}

Json toJson(const RecordedResponse& response) {
    Json json{{"code", static_cast<int>(response.code)},
              {"reason", bytes(response.reason)},
              {"headers", headerLines(response.headers)},
              {"body", bytes(response.body)}};
    if (response.startsOver) json["startsOver"] = true;
    json["redirects"] = response.redirects;
    json["effectiveUrl"] = bytes(response.effectiveUrl);
    return json;
}

Json toJson(const RecordedExchange& exchange) {
    Json json{{"request", toJson(exchange.request)}};
    if (exchange.response) json["response"] = toJson(*exchange.response);
    if (exchange.failure) {
        json["failure"] = {{"type", exchange.failure->type},
                           {"text", bytes(exchange.failure->text)}};
    }
    return json;
}

Json list(const std::vector<std::string>& names) {
    Json json = Json::array();
    for (const std::string& name : names) json.push_back(bytes(name));
    return json;
}

Json toJson(const CredentialNames& names) {
    Json json{{"headers", list(names.headers)}, {"parameters", list(names.parameters)}};
    if (!names.harmless.empty()) json["harmless"] = list(names.harmless);
    return json;
}

}  // namespace

std::string jsonOf(const Recording& recording) {
    Json exchanges = Json::array();
    for (const auto& one : recording.exchanges) exchanges.push_back(toJson(one));
    const Json json{{"version", 1},
                    {"credentials", toJson(recording.credentials.further())},
                    {"exchanges", std::move(exchanges)}};
    return json.dump(2) + "\n";
}

std::string jsonOf(const std::optional<MultipartBody>& body) {
    return body ? toJson(*body).dump(2) : std::string();
}

}  // namespace tavrin::httpclient_testing::detail
