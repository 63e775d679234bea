#pragma once

#include <string>

#include "httpclient_testing/export.h"
#include "httpclient_testing/scripted_http_client.h"

namespace tavrin::httpclient_testing {

/// How far a request must be the recorded one.
enum class Matching {
    STRICT,  ///< method, URL, header fields and body are equal, and so is the order of requests
    LOOSE,   ///< method and URL are equal, in any order; the first such exchange that is left
};

/// ScriptedHttpClient whose script is what a RecordingHttpClient recorded, or what a person wrote
/// in the same form:
///
///     ReplayingHttpClient client("exchanges.json");
///     client.makeRequest(std::move(request));
///     client.verify();
///
/// Each attempt uses up one exchange; one that meets none fails as an unexpected one of a
/// ScriptedHttpClient does. Credentials are compared by their being there, as the file has none:
/// eight "*" or more in a row there stand for any text, and a length of the body that was right
/// without them is no difference. The texts of failures leave them out by the names that the
/// recording was made with and those of the program. An answer comes without the time that it took,
/// its body in one piece; what cut it off is thrown again. More may be appended to the script.
///
/// All operations may be called from several threads at once; more than one thread needs LOOSE
/// matching, as their order varies.
class HTTPCLIENT_TESTING_EXPORT ReplayingHttpClient : public ScriptedHttpClient {
public:
    /// Reads the whole file, which is not needed any more afterwards. Linear in its length.
    /// @throws std::system_error "Cannot read \"" + `path` + "\": " + reason; std::runtime_error
    /// "Recording \"" + `path` + "\": " + what is wrong and where, such as
    /// "exchanges[2].response.code is no integer, or too large", if it is no recording.
    explicit ReplayingHttpClient(const std::string& path, Matching matching = Matching::STRICT,
                                 Completion completion = Completion::ON_CALLING_THREAD);
    ~ReplayingHttpClient() override;
};

}  // namespace tavrin::httpclient_testing
