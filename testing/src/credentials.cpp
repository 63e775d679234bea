#include "httpclient_testing/credentials.h"

#include <type_traits>
#include <utility>
#include <variant>

#include "message_secrets.h"
#include "secret_names.h"
#include "secrets.h"
#include "shared_value.h"

namespace tavrin::httpclient_testing {
namespace {

using detail::replaced;
using detail::SecretNames;
using httpclient_core::DataPart;
using httpclient_core::HttpHeaders;
using httpclient_core::MultipartBody;
using httpclient_core::NameValueCollection;
using httpclient_core::PartHeader;

detail::SharedValue<CredentialNames>& namesOfProgram() {
    static detail::SharedValue<CredentialNames> names;
    return names;
}

void append(std::vector<std::string>& names, const std::vector<std::string>& more) {
    names.insert(names.end(), more.begin(), more.end());
}

CredentialNames withThoseOfProgram(CredentialNames names) {
    const CredentialNames more = namesOfProgram().get();
    append(names.headers, more.headers);
    append(names.parameters, more.parameters);
    append(names.harmless, more.harmless);
    return names;
}

template <typename Part>
Part blankedPart(Part part, const Credentials& credentials) {
    PartHeader header = part.getHeader();
    header.setCustomHeaders(credentials.blanked(header.getCustomHeaders()));
    if constexpr (std::is_same_v<Part, DataPart>) part.setData(credentials.blankedData(part));
    part.setHeader(std::move(header));
    return part;
}

}  // namespace

Credentials::Credentials(CredentialNames further)
    : further_(withThoseOfProgram(std::move(further))) {}

bool Credentials::isHeader(const std::string& name) const {
    return SecretNames(further_).isHeader(name);
}

bool Credentials::isParameter(const std::string& name) const {
    return SecretNames(further_).isParameter(name);
}

std::string Credentials::blankedUrl(const std::string& url) const {
    return replaced(url, detail::secretsInUrl(url, SecretNames(further_)));
}

std::string Credentials::blankedHeaderValue(const std::string& name,
                                            const std::string& value) const {
    return replaced(value, detail::secretsInHeaderValue(name, value, SecretNames(further_)));
}

std::string Credentials::blankedParameter(const std::string& name, const std::string& value) const {
    if (isParameter(name)) return value.empty() ? value : detail::BLANKED;
    return blankedText(value);
}

std::string Credentials::blankedBody(const std::string& body,
                                     const std::string& contentType) const {
    return replaced(body, detail::secretsInBody(body, contentType, SecretNames(further_)));
}

std::string Credentials::blankedText(const std::string& text) const {
    return replaced(text, detail::secretsInSentence(text, SecretNames(further_)));
}

HttpHeaders Credentials::blanked(const HttpHeaders& headers) const {
    HttpHeaders blanked;
    for (const auto& [name, value] : headers) {
        blanked.addHeaderValue(name, blankedHeaderValue(name, value));
    }
    return blanked;
}

NameValueCollection Credentials::blanked(const NameValueCollection& parameters) const {
    NameValueCollection blanked;
    for (const auto& [name, value] : parameters) blanked.add(name, blankedParameter(name, value));
    return blanked;
}

std::string Credentials::blankedData(const DataPart& part) const {
    const PartHeader header = part.getHeader();
    const std::string data = part.getData();
    return isParameter(header.getPartName()) ? blankedParameter(header.getPartName(), data)
                                             : blankedBody(data, header.getContentType());
}

MultipartBody Credentials::blanked(const MultipartBody& body) const {
    MultipartBody blanked;
    for (const auto& part : body.getContent()) {
        std::visit([&](const auto& one) { blanked.addPart(blankedPart(one, *this)); }, part);
    }
    return blanked;
}

void setCredentialNames(CredentialNames names) { namesOfProgram().set(std::move(names)); }

}  // namespace tavrin::httpclient_testing
