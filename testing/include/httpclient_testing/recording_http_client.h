#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "httpclient_core/client.h"
#include "httpclient_testing/credential_names.h"
#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// Makes requests by another client, and writes down every attempt, for a ReplayingHttpClient:
///
///     CurlHttpClient transport;
///     RecordingHttpClient client(transport, "exchanges.json");
///     client.makeRequest(std::move(request));
///     client.save();
///
/// Retries and resuming are the other client's own. Recorded is what it was asked for and what it
/// gave: for each attempt, in the order in which they began, method, URL, header fields and body;
/// code, reason, header fields, the bytes of the body that this attempt brought, transaction
/// report; and the failure. Texts that are UTF-8 are written as such, other ones in base64. The
/// bodies are held in memory until the client is destroyed, and are copied on their way: a
/// response's body stream is another one than the request's factory made, and writes to that one.
/// An attempt that has not ended is left out; so is one that never began.
///
/// A failure has one of the types HttpRequestTimeoutException, HttpRequestCancelledException,
/// HttpRequestFailedException, std::logic_error and std::runtime_error: the nearest that what was
/// thrown derives from, else the last. If the other client doesn't ask the retry strategy about a
/// request that was cancelled, the attempt is recorded with the header fields of the one before.
///
/// Credentials never reach the file: what Credentials knows for one is left out of URLs, header
/// fields, bodies, reasons and the texts of failures. What any request or answer had is left out of
/// all the others and of its own, too, should it stand there once more: from 8 bytes on anywhere;
/// below, what a request had in the reason or failure that came for it, from 2 bytes on and only
/// where no letter or digit touches it; as it was sent, decoded, as JSON writes it, and, of a user
/// with a password, in base64. By its name a request's credential becomes "***", and the length of
/// its body is that of the one in the file; where it stands once more, each byte is a "*". In the
/// body of a response each of their bytes is a "*", and each digit of a number a 1, so that
/// lengths, ranges and resumed bodies stay right. Images, archives, compressed bodies and the like
/// are written down as they are, and so are the names of files in multipart bodies: have a look at
/// the file before it is shared. In memory the client holds the credentials, as they came, until it
/// is destroyed.
///
/// All operations may be called from several threads at once.
class HTTPCLIENT_TESTING_EXPORT RecordingHttpClient : public httpclient_core::HttpClient {
public:
    /// Makes its requests by `transport`, which must outlive this client, and has its
    /// configuration. The file is not touched before it is saved.
    RecordingHttpClient(httpclient_core::HttpClient& transport, std::string path,
                        CredentialNames further = {});

    /// As save(), if something was recorded since it was last called, or it never was. As there is
    /// nobody to throw to, a failure is written to std::cerr.
    ~RecordingHttpClient() override;

    /// How many attempts have been recorded.
    std::size_t recorded() const;

    /// Writes all attempts that have ended so far, in place of the file that is there, which stays
    /// as it is until the new one is complete. Linear in all that was recorded, times the number
    /// of different credentials in it.
    /// @throws std::system_error "Cannot write \"" + `path` + "\": " + reason.
    void save() const;

    /// The request that a handler is given has its own stream factory, and the configuration that
    /// it was made with: that of this client, if it had none. It may be sent again by any client.
    httpclient_core::HttpResponse makeRequest(httpclient_core::HttpRequest request) const override;
    void makeAsyncRequest(httpclient_core::HttpRequest request,
                          httpclient_core::CompletionHandler handler) const override;
    using HttpClient::makeAsyncRequest;

    /// Hands the settings on to the other client.
    void configurationChanged(const httpclient_core::ClientConfiguration& configuration) override;

    /// One attempt, for a client that wraps this one. `response` must be one that was made from
    /// `request`, or that an earlier attempt of `request` left: whatever it holds of other origin
    /// is lost.
    void performRequest(httpclient_core::HttpRequest& request,
                        httpclient_core::HttpResponse& response) const override;
    void performAsyncRequest(httpclient_core::HttpRequest request,
                             httpclient_core::HttpResponse response, std::uint64_t requestId,
                             httpclient_core::RetryTask completion) const override;

private:
    class HTTPCLIENT_TESTING_HIDDEN Tape;
    class HTTPCLIENT_TESTING_HIDDEN Attempts;

    httpclient_core::HttpClient& transport_;
    std::shared_ptr<Tape> tape_;
};

}  // namespace tavrin::httpclient_testing
