#include "httpclient_core/query_parameters.h"

#include <stdexcept>
#include <utility>

#include "client/log.h"
#include "encoding/percent_encoder.h"

namespace tavrin::httpclient_core {
namespace {

constexpr char ENTRY_SEPARATOR = '&';
constexpr char KEY_VALUE_SEPARATOR = '=';

const std::initializer_list<std::pair<std::string, std::string>>& withoutEmptyKeys(
    const std::initializer_list<std::pair<std::string, std::string>>& parameters) {
    for (const auto& parameter : parameters) {
        if (parameter.first.empty()) {
            throw detail::logged(
                LOG_MISUSE, std::logic_error("Cannot create QueryParameter with an empty key"));
        }
    }
    return parameters;
}

std::logic_error missing(const std::string& key) {
    return detail::logged(
        LOG_MISUSE, std::logic_error("Requested query parameter (" + key + ") doesn't exist"));
}

}  // namespace

QueryParameters::QueryParameters(NameValueCollection parameters)
    : parameters_(std::move(parameters)) {}

QueryParameters::QueryParameters(
    std::initializer_list<std::pair<std::string, std::string>> parameters)
    : parameters_(withoutEmptyKeys(parameters)) {}

void QueryParameters::addQueryParameter(const std::string& key, std::string value) {
    if (key.empty()) {
        throw detail::logged(LOG_MISUSE,
                             std::logic_error("Cannot add QueryParameter with an empty key"));
    }
    parameters_.append(key, std::move(value));
}

std::string QueryParameters::getParameterValue(const std::string& key) {
    const auto parameter = std::as_const(parameters_).find(key);
    if (parameter == parameters_.cend()) throw missing(key);
    return parameter->second;
}

std::vector<std::string> QueryParameters::getAllParameterValues(const std::string& key) {
    if (!hasParameterKey(key)) throw missing(key);
    std::vector<std::string> values;
    for (const auto& [name, value] : parameters_) {
        if (name == key) values.push_back(value);  // Letter case counts here, on purpose.
    }
    return values;
}

bool QueryParameters::hasParameterKey(const std::string& key) { return parameters_.has(key); }

std::size_t QueryParameters::size() { return parameters_.size(); }

bool QueryParameters::empty() const { return parameters_.empty(); }

QueryParameters::iterator QueryParameters::begin() { return parameters_.begin(); }
QueryParameters::iterator QueryParameters::end() { return parameters_.end(); }
QueryParameters::const_iterator QueryParameters::begin() const { return parameters_.begin(); }
QueryParameters::const_iterator QueryParameters::end() const { return parameters_.end(); }
QueryParameters::const_iterator QueryParameters::cbegin() const { return parameters_.cbegin(); }
QueryParameters::const_iterator QueryParameters::cend() const { return parameters_.cend(); }

std::string QueryParameters::getEntrySep() { return {ENTRY_SEPARATOR}; }

std::string QueryParameters::getKeyValueSep() { return {KEY_VALUE_SEPARATOR}; }

std::ostream& QueryParameters::toStream(std::ostream& os) const {
    if (!empty()) os << toString();
    return os;
}

std::string QueryParameters::toString() const {
    PercentEncoder encoder(PercentEncoder::Blank::PERCENT_20);
    char* end = encoder.begin();
    char separator = '?';
    for (const auto& [key, value] : parameters_) {
        end = encoder.put(end, std::exchange(separator, ENTRY_SEPARATOR));
        end = encoder.encode(end, key);
        if (value.empty()) continue;
        end = encoder.put(end, KEY_VALUE_SEPARATOR);
        end = encoder.encode(end, value);
    }
    return encoder.take(end);
}

}  // namespace tavrin::httpclient_core
