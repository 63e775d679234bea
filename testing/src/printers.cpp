#include "httpclient_testing/printers.h"

#include <cstddef>
#include <initializer_list>
#include <ostream>
#include <string>
#include <variant>

#include "httpclient_testing/wire_text.h"
#include "printable.h"

namespace tavrin::httpclient_core {
namespace {

using httpclient_testing::Credentials;
using httpclient_testing::detail::printable;
using httpclient_testing::detail::printableBeginning;

// One after the other, in a sentence's order.
class Settings {
public:
    explicit Settings(std::ostream& os) : os_(os) { os_ << std::boolalpha; }

    template <typename Value>
    Settings& add(const char* name, const Value& value, const char* unit = "") {
        os_ << separator_ << name << ' ' << value << unit;
        separator_ = ", ";
        return *this;
    }

private:
    std::ostream& os_;
    const char* separator_ = "";
};

std::string quoted(const std::string& text) { return '"' + printable(text) + '"'; }

void printHead(const char* kind, const PartHeader& header, std::ostream& os) {
    os << '\n' << kind << ' ' << quoted(header.getPartName());
    if (!header.getContentType().empty()) os << " of " << printable(header.getContentType());
    os << '\n' << httpclient_testing::wireText(header.getCustomHeaders());
}

}  // namespace

void PrintTo(const HttpHeaders& headers, std::ostream* os) {
    *os << '\n' << httpclient_testing::wireText(headers);
}

void PrintTo(const HttpRequest& request, std::ostream* os) {
    *os << '\n' << httpclient_testing::wireText(request);
}

void PrintTo(const HttpResponse& response, std::ostream* os) {
    *os << '\n' << httpclient_testing::wireText(response);
}

void PrintTo(const NameValueCollection& pairs, std::ostream* os) {
    *os << '\n';
    for (const auto& [name, value] : Credentials().blanked(pairs)) {
        *os << printable(name) << ": " << printable(value) << '\n';
    }
}

void PrintTo(const URL& url, std::ostream* os) {
    *os << printable(Credentials().blankedUrl(url.toAsciiString()));
}

void PrintTo(const QueryParameters& parameters, std::ostream* os) {
    *os << Credentials().blankedUrl(parameters.toString());
}

void PrintTo(const FormUrlEncoded& form, std::ostream* os) {
    const std::string type = form.contentType().toString();
    HttpRequest request(HttpMethod::POST, URL(), {{HttpHeaders::CONTENT_TYPE, type}});
    request.setRequestBody(form.stream());
    *os << printableBeginning(
        Credentials().blankedBody(httpclient_testing::peekBody(request), type));
}

void PrintTo(const ContentType& type, std::ostream* os) {
    *os << printable(Credentials().blankedText(type.toString()));
}

void PrintTo(const Accept& types, std::ostream* os) {
    *os << printable(Credentials().blankedText(types.toString()));
}

void PrintTo(const FilePath& path, std::ostream* os) { *os << quoted(path.toUtf8()); }

void PrintTo(const PartHeader& header, std::ostream* os) { printHead("part", header, *os); }

void PrintTo(const DataPart& part, std::ostream* os) {
    printHead("data", part.getHeader(), *os);
    *os << '\n' << printableBeginning(Credentials().blankedData(part)) << '\n';
}

void PrintTo(const FilePart& part, std::ostream* os) {
    printHead("file", part.getHeader(), *os);
    *os << '\n' << quoted(part.getFilePath().toUtf8()) << '\n';
}

void PrintTo(const MultipartBody& body, std::ostream* os) {
    for (const auto& part : body.getContent()) {
        std::visit([os](const auto& one) { PrintTo(one, os); }, part);
    }
}

void PrintTo(const TransactionReport& report, std::ostream* os) {
    *os << report.redirectCount() << " redirects, to ";
    PrintTo(report.effectiveURL(), os);
}

void PrintTo(const Progress& progress, std::ostream* os) {
    *os << "downloaded " << progress.downloadNow << " of " << progress.downloadTotal
        << " bytes, uploaded " << progress.uploadNow << " of " << progress.uploadTotal;
}

void PrintTo(ProgressResult result, std::ostream* os) {
    *os << (result == ProgressResult::CANCEL ? "CANCEL" : "CONTINUE");
}

void PrintTo(const ClientConfiguration& configuration, std::ostream* os) {
    Settings(*os)
        .add("certificateFile", quoted(configuration.certificateFile().toUtf8()))
        .add("followRedirects", configuration.followRedirects())
        .add("maxRedirects", configuration.maxRedirects())
        .add("resumeOnRetry", configuration.resumeOnRetry())
        .add("connectTimeout", configuration.connectTimeout(), " ms")
        .add("responseTimeout", configuration.responseTimeout(), " ms")
        .add("idleTimeout", configuration.idleTimeout(), " ms")
        .add("idleSpeed", configuration.idleSpeed(), " bytes/s")
        .add("maxThreads", configuration.maxThreads())
        .add("maxRequestsPerThread", configuration.maxRequestsPerThread())
        .add("proxy", quoted(Credentials().blankedUrl(configuration.proxy())));
}

void PrintTo(const WebSocketClientConfiguration& configuration, std::ostream* os) {
    Settings settings(*os);
    settings.add("certificateFile", quoted(configuration.certificateFile().toUtf8()))
        .add("handshakeTimeout", configuration.handshakeTimeout(), " ms");
    if (const auto interval = configuration.pingInterval()) {
        settings.add("pingInterval", *interval, " ms");
    }
    settings.add("connectErrorRecoveryEnabled", configuration.connectErrorRecoveryEnabled());
    for (const HttpResponseCode code : configuration.recoverableConnectErrorCodes()) {
        settings.add("recoverableConnectErrorCode", code);
    }
    settings.add("reconnectEnabled", configuration.reconnectEnabled())
        .add("maxReadFrameSize", configuration.maxReadFrameSize(), " bytes")
        .add("maxWriteFrameSize", configuration.maxWriteFrameSize(), " bytes");
    PrintTo(configuration.customHandshakeHeaders(), os);
}

void PrintTo(const DefaultRetry& retry, std::ostream* os) {
    Settings(*os)
        .add("maxTotalAttempts", retry.maxTotalAttempts)
        .add("maxConsecutiveAttempts", retry.maxConsecutiveAttempts)
        .add("backoffBase", retry.backoffBaseMs, " ms")
        .add("maxBackoff", retry.maxBackoffMs, " ms");
}

}  // namespace tavrin::httpclient_core

namespace tavrin::httpclient_testing {
namespace {

// Enumerators are counted from 0; `names` has them in their order.
template <typename Enumeration>
void printName(Enumeration value, std::initializer_list<const char*> names, std::ostream& os) {
    const auto place = static_cast<std::size_t>(value);
    if (place < names.size()) {
        os << names.begin()[place];
    } else {
        os << static_cast<int>(value);
    }
}

}  // namespace

void PrintTo(const RecordedRequest& request, std::ostream* os) { *os << '\n' << wireText(request); }

void PrintTo(const ReceivedRequest& request, std::ostream* os) { *os << '\n' << wireText(request); }

void PrintTo(const ExpectedRequest& expected, std::ostream* os) {
    *os << '\n' << expected.describe();
}

void PrintTo(Completion completion, std::ostream* os) {
    printName(completion, {"ON_CALLING_THREAD", "ON_OWN_THREAD", "WHEN_TOLD"}, *os);
}

void PrintTo(ConnectionFault fault, std::ostream* os) {
    printName(fault, {"NONE", "ACCEPT_RST", "REFUSED", "MUTE", "GARBAGE", "HELLO_RST"}, *os);
}

void PrintTo(Framing framing, std::ostream* os) {
    printName(framing, {"LENGTH", "CHUNKED", "UNTIL_CLOSE"}, *os);
}

void PrintTo(Matching matching, std::ostream* os) { printName(matching, {"STRICT", "LOOSE"}, *os); }

void PrintTo(ScriptOrder order, std::ostream* os) { printName(order, {"AS_WRITTEN", "ANY"}, *os); }

void PrintTo(TlsKind kind, std::ostream* os) {
    printName(kind,
              {"GOOD", "EXPIRED", "NOT_YET_VALID", "SELF_SIGNED", "WRONG_HOST", "UNTRUSTED_CA",
               "OLD_PROTOCOL"},
              *os);
}

}  // namespace tavrin::httpclient_testing
