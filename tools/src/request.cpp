#include "request.h"

#include <httpclient_core/multipart.h>

#include <utility>

#include "url_parts.h"

namespace tavrin::http_tool {

namespace core = httpclient_core;

namespace {

core::MultipartBody multipartBody(const std::vector<FormField>& fields) {
    core::MultipartBody body;
    for (const auto& field : fields) {
        core::PartHeader header(field.name, field.mediaType);
        if (field.isFile) {
            body.addPart(core::FilePart(std::move(header), core::FilePath(field.value)));
        } else {
            body.addPart(core::DataPart(std::move(header), field.value));
        }
    }
    return body;
}

std::string proxyOf(const CommandLine& line, const std::string& url,
                    const Environment& environment) {
    const auto parts = splitUrl(url);
    const std::string host = parts ? parts->host : "";
    if (line.noProxy && isExempt(host, *line.noProxy)) return "";
    if (line.proxy) return *line.proxy;
    if (!line.noProxy) return proxyFor(url, environment);
    // What the command line exempts stands in place of what the environment does.
    return proxyFor(url, [&environment](const std::string& name) {
        return name == "no_proxy" || name == "NO_PROXY" ? std::nullopt : environment(name);
    });
}

}  // namespace

core::HttpRequest requestFor(const CommandLine& line, const std::string& url) {
    core::HttpRequest request(line.method, core::URL(url), line.headers);
    if (line.body) request.setRequestBody(*line.body);
    if (!line.form.empty()) request.setMultipartBody(multipartBody(line.form));
    return request;
}

core::ClientConfiguration configurationFor(const CommandLine& line, const std::string& url,
                                           const Environment& environment) {
    core::ClientConfiguration configuration;
    configuration.setCertificateFile(line.certificateFile);
    configuration.setFollowRedirects(line.followRedirects);
    configuration.setMaxRedirects(line.maxRedirects);
    configuration.setResumeOnRetry(line.resume);
    configuration.setConnectTimeout(line.connectTimeout.count());
    configuration.setResponseTimeout(line.responseTimeout.count());
    configuration.setIdleTimeout(line.speedTime.count());
    configuration.setIdleSpeed(line.speedLimit);
    configuration.setProxy(proxyOf(line, url, environment));
    return configuration;
}

}  // namespace tavrin::http_tool
