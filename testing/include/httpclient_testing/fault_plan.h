#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// What happens to a connection in place of HTTP.
enum class ConnectionFault {
    NONE,        ///< The connection is served.
    ACCEPT_RST,  ///< `accept_rst`: reset as soon as it is accepted.
    REFUSED,     ///< `refused`: nobody listens; see FaultStep::refusedFor.
    MUTE,     ///< `mute`: accepted, and never a byte, not even of a TLS handshake, until release().
    GARBAGE,  ///< `garbage`: the client's first bytes are answered by 1000 that are neither TLS nor
              ///< HTTP.
    HELLO_RST  ///< `hello_rst`: reset when the client's first bytes arrive (over TLS, its hello).
};

/// How the end of a body is told.
enum class Framing {
    LENGTH,      ///< By Content-Length.
    CHUNKED,     ///< `chunked`: by the chunked transfer coding.
    UNTIL_CLOSE  ///< `nolen`: by closing the connection.
};

/// An answer that is given before the request's body was read.
struct EarlyAnswer {
    std::uint64_t afterBytes = 0;  ///< Bytes of the request's body to read first.
    int status = 413;
    bool reset = false;  ///< Reset the connection after the answer; otherwise the rest is read and
                         ///< thrown away.
};

/// How one request is answered: correctly, apart from what is set here. Faults combine freely; of
/// several that end the connection the first to be reached wins.
///
/// A plain value. Beside each field stands the word that sets it in a plan's text: `@k` takes a
/// number of bytes ("rst@1000"; "rst@end" is behind the last byte), `:n` a number. A number of
/// bytes that lies behind the end means the end. "Body" is the body of this one answer, so a
/// position in a 206 counts from the first byte of the range.
struct HTTPCLIENT_TESTING_EXPORT FaultStep {
    /// Reads one step: words joined by `+`, such as "ignorerange+rst@500"; "ok", or an empty text,
    /// is no fault. A `+` right after a colon is a sign. Linear in the length of `text`.
    /// @throws std::runtime_error "Unknown fault <" + word + ">" for a word that does not exist,
    /// and "Malformed fault <" + word with its arguments + ">" for a wrong or missing argument.
    static FaultStep parse(const std::string& text);

    /// What the log shows for this step; parse() stores its text here.
    std::string text = "ok";

    // --- The connection ---

    /// `accept_rst`, `refused`, `mute`, `garbage`, `hello_rst`. Such a step is taken when a
    /// connection is accepted, not when a request comes. If a request on a kept connection meets it
    /// nevertheless, the connection is reset (`accept_rst`, `hello_rst`), falls silent (`mute`) or
    /// answers garbage.
    ConnectionFault connection = ConnectionFault::NONE;
    /// `refused:ms`: how long; unset (`refused`) means until FaultServer::acceptAgain(). The server
    /// stops listening when this is the plan's next step, and the answer before it closes its
    /// connection, so that the client's next attempt meets a port where nobody listens. Several in
    /// a row are one time, of the sum. The step is then done with: a plan that ends with it goes on
    /// with "ok".
    std::optional<std::chrono::milliseconds> refusedFor;

    // --- No answer, or a late one ---

    /// `noresp`, `noresp:rst`: the request is read to its end, and the connection closed, or reset,
    /// without a byte.
    bool noAnswer = false;
    bool noAnswerReset = false;
    /// `delay:ms`: waits between the end of the request and the first byte of the answer.
    std::chrono::milliseconds delay{0};
    /// `delay100:ms`: waits before 100 (Continue), or before the body is read if nobody expects
    /// one.
    std::chrono::milliseconds delayBeforeBody{0};
    /// `hstall`, `hstall@k`: stalls after byte k (0) of the header block until
    /// FaultServer::release(), then goes on.
    std::optional<std::uint64_t> headStallAt;

    // --- Status ---

    /// `503`, any three digits from 200 on: answers with this status and a short text, or no body
    /// for 204 and 304, not with the content. 0: the status that is right. 416 carries
    /// `Content-Range: bytes */<size>`.
    int status = 0;
    /// `503:ar`: with `Accept-Ranges: bytes`.
    bool statusAcceptsRanges = false;
    /// `503:b5000`: with a body of that many bytes, all of them 'e'.
    std::optional<std::uint64_t> statusBodySize;
    /// `503:ra2` (seconds), `503:rabad` ("soon"), `503:rahuge` ("99999999999999999999"): the value
    /// of Retry-After.
    std::optional<std::string> retryAfter;
    /// `503:rd2`: Retry-After as a date that many seconds ahead.
    std::optional<std::chrono::seconds> retryAfterDate;
    /// `302:/path`, and so for every 3xx: the Location lines. A text may hold `{scheme}`, `{port}`,
    /// `{target}` (of the request), `{otherhost}` ("localhost" for a request to anything else, and
    /// "127.0.0.1" for one to "localhost") and `{alternate}` ("/alternate/a" and "/alternate/b" by
    /// turns). In a plan's text these kinds have names: `loop` (the same target), `alternate`,
    /// `host` (the other host name), `userinfo`, `file`, `ftp`, `gopher`, `dict`, `data`, `empty`,
    /// `badhost`, `nohost`, `crlf` (escaped), `barecr` (a bare CR), `long` (200,000 bytes), `none`
    /// (no Location line) and `two` (two of them). Another scheme, host or port is given by its
    /// URL; a Location with a comma or a plus sign can only be set here.
    std::vector<std::string> locations;
    /// `header:Name=value`, repeatable: more header lines, on every kind of answer.
    std::vector<std::pair<std::string, std::string>> headers;

    // --- The header block ---

    /// `hrst@k`, `hfin@k`: reset or closed after byte k of the header block.
    std::optional<std::uint64_t> headResetAt;
    std::optional<std::uint64_t> headFinishAt;
    /// `hdrip:n`: the header block is sent at n bytes per second.
    std::optional<std::uint64_t> headBytesPerSecond;
    /// `hbomb:count:size`: that many more header lines, each with a value of that many bytes.
    std::uint64_t headerBombCount = 0;
    std::uint64_t headerBombSize = 0;
    /// `hline:size`: one more header line, with a value of that many bytes.
    std::uint64_t longHeaderSize = 0;
    /// `hinf`: header lines without end, until the client closes.
    bool endlessHead = false;
    /// `odd:kind`: bytes put verbatim behind the other header lines: `nul`, `nulname`, `nocolon`,
    /// `emptyname`, `fold`, `barecr`, `barelf`, `space` (before the colon), `high` (bytes above
    /// 127), `control`, `emptyvalue`. `odd:leadingfold` stands before the other lines instead.
    std::string oddLines;
    std::string oddFirstLines;
    /// `badstatus:kind`: sent in place of the status line, without its CR LF: `empty`, `letters`,
    /// `short`, `four`, `zero`, `negative`, `nospace`, `foreign`, `version`, `nul`, `headless` (a
    /// body without a head). `noreason` and `long` (a reason of 5000 bytes) are correct.
    std::optional<std::string> statusLine;
    /// `interim:count`, `interim:count:size`: 103 answers before the final one, each with a header
    /// `X-Interim` of that many bytes (10), an ETag and an Accept-Ranges that mean nothing.
    std::uint64_t interimCount = 0;
    std::uint64_t interimSize = 10;
    /// `interiminf`: 103 answers without end, until the client closes.
    bool endlessInterim = false;

    // --- Framing of the body ---

    /// `chunked`, `nolen`.
    Framing framing = Framing::LENGTH;
    /// `clmore`, `clmore:n`: Content-Length is n (10) more than there is, and the connection is
    /// closed after the body. `clless`, `clless:n`: it is n (10) less; the connection stays open
    /// with the rest on it.
    std::int64_t lengthError = 0;
    /// `dupcl`, `dupcl:n`: a second Content-Length line, n (+10) away from the first.
    std::optional<std::int64_t> secondLengthError;
    /// `clte`: chunked, with a Content-Length that is 10 too large.
    bool lengthAndChunked = false;
    /// `tchunk@k`: chunked; closed inside a chunk, after byte k of the body.
    std::optional<std::uint64_t> truncatedChunkAt;
    /// `badchunk@k`: chunked; after byte k comes a chunk size that is no number, then the
    /// connection is closed.
    std::optional<std::uint64_t> badChunkAt;
    /// `trailers`: chunked, with `X-Trailer`, an ETag and an Accept-Ranges that mean nothing behind
    /// the body.
    bool trailers = false;

    // --- The body ---

    /// `rst@k`, `fin@k`: reset or closed after byte k. At the end of the body ("rst@end")
    /// everything has come but the end: no last chunk. Over TLS `fin@k` sends no close_notify, as a
    /// broken network wouldn't.
    std::optional<std::uint64_t> resetAt;
    std::optional<std::uint64_t> finishAt;
    /// `notify`: `fin@k` over TLS does send a close_notify.
    bool notifyWhenCut = false;
    /// `stall@k`: stalls after byte k until FaultServer::release(), then goes on.
    std::optional<std::uint64_t> stallAt;
    /// `drip:n`: the body is sent at n bytes per second.
    std::optional<std::uint64_t> bytesPerSecond;

    // --- Ranges and validators ---

    /// `ignorerange`: 200 and the whole content, whatever was asked.
    bool ignoreRange = false;
    /// `wrongrange:±n`: a 206 whose range begins n bytes from where it was asked to, honestly
    /// labelled, and within the content.
    std::int64_t rangeShift = 0;
    /// `lietotal:±n`: the complete length in Content-Range is n off.
    std::int64_t totalError = 0;
    /// `shortrange:n`: a 206 of at most the first n bytes of the range, honestly labelled.
    std::optional<std::uint64_t> rangeLimit;
    /// `nocr`: a 206 without Content-Range.
    bool noContentRange = false;
    /// `multirange`: a 206 as multipart/byteranges, even for one range.
    bool multipartRange = false;
    /// `unasked206`: a request without Range is answered by a 206 of the whole content.
    bool unasked206 = false;
    /// `noar206`, `noar`: no Accept-Ranges in a 206; in no answer.
    bool noAcceptRangesOn206 = false;
    bool noAcceptRanges = false;
    /// `change`, `change:±n`: from this request on, this path has a new version of the content (of
    /// a size that is n bytes different) with new validators.
    bool change = false;
    std::int64_t changeSize = 0;
    /// `keepetag`: `change` keeps the validators as they were.
    bool keepValidators = false;
    /// `ifrangeignore`: If-Range is taken as true.
    bool ignoreIfRange = false;
    /// `ifrangedrop`: a 206 without ETag and Last-Modified.
    bool noValidatorsOn206 = false;
    /// `weaketag`, `noetag`, `nolm` (no Last-Modified), `nodate`.
    bool weakEtag = false;
    bool noEtag = false;
    bool noLastModified = false;
    bool noDate = false;
    /// `recentlm`: Last-Modified is the moment of the answer, too young to be a strong validator.
    bool recentLastModified = false;
    /// `digest`, `baddigest`: Repr-Digest with the SHA-256 of what is served, or a wrong one.
    bool digest = false;
    bool wrongDigest = false;

    // --- Content coding ---

    /// `gzip`, whether or not it was asked for; `badgzip`: with damage in the middle and in the
    /// checksum.
    bool gzip = false;
    bool damagedGzip = false;
    /// `gzipbomb:MiB`: so many MiB of zeros, compressed.
    std::uint64_t gzipBombMiB = 0;

    // --- After the answer ---

    /// `close`: announces and closes. `http10`: an HTTP/1.0 answer, closed after it.
    bool close = false;
    bool http10 = false;
    /// `silentclose`: closes after the answer without having said so.
    bool silentClose = false;
    /// `rstnext`, `finnext`: resets or closes when the next request on the connection was read.
    /// That request is in the log, with this step's text, and takes no step of its own.
    bool resetNext = false;
    bool finishNext = false;
    /// `nonotify`: over TLS, the connection is closed without a close_notify.
    bool noCloseNotify = false;

    // --- Uploads ---

    /// `early@k:413`, or `early@k:413:drain`, which says the same; `early@k:413:rst`.
    std::optional<EarlyAnswer> early;
    /// `urst@k`, `ufin@k`: reset or closed after byte k of the request's body; `ustall@k`: nothing
    /// is read behind byte k until FaultServer::release().
    std::optional<std::uint64_t> uploadResetAt;
    std::optional<std::uint64_t> uploadFinishAt;
    std::optional<std::uint64_t> uploadStallAt;
    /// `no100`: never a 100 (Continue). `e417`: a request with Expect is answered by 417, any other
    /// correctly.
    bool no100 = false;
    bool refuseExpect = false;
};

/// The answers to a server's requests, in order. After the last step the last step repeats; a plan
/// without steps answers everything correctly.
///
/// A plain value.
struct HTTPCLIENT_TESTING_EXPORT FaultPlan {
    std::vector<FaultStep> steps;

    /// No faults.
    FaultPlan() = default;
    /// These steps.
    FaultPlan(std::vector<FaultStep> steps);
    /// As parse(): a server takes its plan as text.
    FaultPlan(const std::string& text);
    FaultPlan(const char* text);

    /// Reads steps separated by commas, such as "rst@1000,503:ar:b5000,ok"; "302:/next*20" is
    /// twenty steps. An empty text is a plan without steps. Linear in the length of `text` and the
    /// number of steps.
    /// @throws std::runtime_error as FaultStep::parse(), and "Malformed fault <...>" for a bad
    /// number of repetitions (1 to 1,000,000).
    static FaultPlan parse(const std::string& text);
};

}  // namespace tavrin::httpclient_testing
