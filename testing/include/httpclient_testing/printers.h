#pragma once

/// How GoogleTest, which finds these beside the types, shows values of the library in a failure.
/// The library itself needs no GoogleTest. Include this file wherever such a value is compared:
/// without it a failure shows bytes, or what the type's own operator writes.
///
/// No text holds what Credentials knows for a credential; setCredentialNames() adds names. A
/// NameValueCollection doesn't tell what its pairs are: of a set of cookies the values are blanked
/// by the names alone. All of them take time linear in what they write, and read the value as any
/// reader does.

#include <iosfwd>

#include "httpclient_core/configuration.h"
#include "httpclient_core/form_body.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/retry.h"
#include "httpclient_core/websocket_configuration.h"
#include "httpclient_testing/expected_request.h"
#include "httpclient_testing/export.h"
#include "httpclient_testing/fault_plan.h"
#include "httpclient_testing/received_request.h"
#include "httpclient_testing/recorded_request.h"
#include "httpclient_testing/replaying_http_client.h"
#include "httpclient_testing/scripted_http_client.h"
#include "httpclient_testing/test_certificates.h"

namespace tavrin::httpclient_core {

/// As wireText(), on lines of its own. A body is put back to where it stood.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const HttpHeaders& headers, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const HttpRequest& request, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const HttpResponse& response, std::ostream* os);

/// A line for each pair, "name: value", on lines of its own.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const NameValueCollection& pairs, std::ostream* os);

/// As they stand in a message.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const URL& url, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const QueryParameters& parameters, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const FormUrlEncoded& form, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const ContentType& type, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const Accept& types, std::ostream* os);

/// The path in UTF-8, between quotes.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const FilePath& path, std::ostream* os);

/// Kind, name, content type and header fields of each part, and the data, of which no more is shown
/// than of a body, or the file's path; on lines of their own.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const PartHeader& header, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const DataPart& part, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const FilePart& part, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const MultipartBody& body, std::ostream* os);

/// "2 redirects, to http://host/".
HTTPCLIENT_TESTING_EXPORT void PrintTo(const TransactionReport& report, std::ostream* os);

/// "downloaded 5 of 10 bytes, uploaded 0 of 0".
HTTPCLIENT_TESTING_EXPORT void PrintTo(const Progress& progress, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(ProgressResult result, std::ostream* os);

/// The settings, by the names of their getters; callbacks are left out.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const ClientConfiguration& configuration, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const WebSocketClientConfiguration& configuration,
                                       std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const DefaultRetry& retry, std::ostream* os);

}  // namespace tavrin::httpclient_core

namespace tavrin::httpclient_testing {

/// As wireText(), on lines of its own.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const RecordedRequest& request, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(const ReceivedRequest& request, std::ostream* os);

/// As ExpectedRequest::describe(), on lines of its own.
HTTPCLIENT_TESTING_EXPORT void PrintTo(const ExpectedRequest& expected, std::ostream* os);

/// The enumerator's name; the number of a value that has none.
HTTPCLIENT_TESTING_EXPORT void PrintTo(Completion completion, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(ConnectionFault fault, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(Framing framing, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(Matching matching, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(ScriptOrder order, std::ostream* os);
HTTPCLIENT_TESTING_EXPORT void PrintTo(TlsKind kind, std::ostream* os);

}  // namespace tavrin::httpclient_testing
