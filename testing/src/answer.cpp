#include "answer.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <optional>

#include "base64.h"
#include "byte_range.h"
#include "gzip.h"
#include "header_line.h"
#include "http_date.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::int64_t WRONG_LENGTH_OFFSET = 10;
const char* const BOUNDARY = "faulty-boundary-7c1e";

std::string quoted(const std::string& text) { return '"' + text + '"'; }

const char* reasonOf(int status) {
    static const std::map<int, const char*> REASONS = {
        {200, "OK"},
        {201, "Created"},
        {202, "Accepted"},
        {204, "No Content"},
        {206, "Partial Content"},
        {301, "Moved Permanently"},
        {302, "Found"},
        {303, "See Other"},
        {304, "Not Modified"},
        {307, "Temporary Redirect"},
        {308, "Permanent Redirect"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {407, "Proxy Authentication Required"},
        {408, "Request Timeout"},
        {412, "Precondition Failed"},
        {413, "Content Too Large"},
        {416, "Range Not Satisfiable"},
        {417, "Expectation Failed"},
        {429, "Too Many Requests"},
        {500, "Internal Server Error"},
        {502, "Bad Gateway"},
        {503, "Service Unavailable"},
        {504, "Gateway Timeout"},
    };
    const auto reason = REASONS.find(status);
    return reason != REASONS.end() ? reason->second : "Status";
}

std::string contentRange(const ByteRange& range, std::uint64_t size, std::int64_t totalError) {
    const auto total = static_cast<std::int64_t>(size) + totalError;
    return "bytes " + std::to_string(range.first) + "-" + std::to_string(range.last) + "/" +
           std::to_string(total);
}

// The representation that a step serves, before any range is taken of it.
struct Representation {
    AnswerBody body;
    std::string etag;  // as it stands in the header
    std::string coding;
};

Representation representationOf(const FaultStep& step, const Resource& resource) {
    Representation representation;
    representation.body.append(resource.content, 0, resource.content.size);
    std::string etag = resource.etag;
    if (step.gzip || step.damagedGzip || step.gzipBombMiB > 0) {
        std::string coded =
            step.gzipBombMiB > 0 ? gzipBomb(step.gzipBombMiB) : gzip(representation.body);
        if (step.damagedGzip) damageGzip(coded);
        representation.body = AnswerBody(std::move(coded));
        representation.coding = "gzip";
        etag += "-gzip";
    }
    representation.etag = (step.weakEtag ? "W/" : "") + quoted(etag);
    return representation;
}

// Whether the range may be given: no If-Range, or one that names this very version (RFC
// 9110, 13.1.5).
bool ifRangeHolds(const RequestHead& request, const FaultStep& step, const Resource& resource,
                  const std::string& etag) {
    const auto wanted = request.header("If-Range");
    if (!wanted || step.ignoreIfRange) return true;
    if (*wanted == etag) return !step.noEtag && !step.weakEtag;
    return *wanted == httpDate(resource.lastModified) && !step.noLastModified &&
           !step.recentLastModified;
}

std::optional<std::vector<ByteRange>> rangesOf(const RequestHead& request, const FaultStep& step,
                                               const Resource& resource,
                                               const Representation& representation) {
    const std::uint64_t size = representation.body.size();
    const auto header = request.header("Range");
    if (!header) {
        if (step.unasked206 && size > 0) return std::vector<ByteRange>{{0, size - 1}};
        return std::nullopt;
    }
    if (request.method != "GET" || step.ignoreRange ||
        !ifRangeHolds(request, step, resource, representation.etag)) {
        return std::nullopt;
    }
    return parseRanges(*header, size);
}

// The range that the step gives in the place of the one that was asked for.
ByteRange misguided(ByteRange range, const FaultStep& step) {
    const auto backwards = static_cast<std::uint64_t>(step.rangeShift < 0 ? -step.rangeShift : 0);
    range.first =
        step.rangeShift < 0
            ? range.first - std::min(range.first, backwards)
            : std::min(range.last, range.first + static_cast<std::uint64_t>(step.rangeShift));
    if (step.rangeLimit && *step.rangeLimit > 0) {
        range.last = std::min(range.last, range.first + *step.rangeLimit - 1);
    }
    return range;
}

void addValidators(Answer& answer, const FaultStep& step, const Resource& resource,
                   const std::string& etag) {
    if (answer.status == 206 && step.noValidatorsOn206) return;
    if (!step.noEtag) answer.add("ETag", etag);
    if (step.noLastModified) return;
    answer.add("Last-Modified",
               httpDate(step.recentLastModified ? std::time(nullptr) : resource.lastModified));
}

void addDigest(Answer& answer, const FaultStep& step, const AnswerBody& representation) {
    if (!step.digest && !step.wrongDigest) return;
    std::string digest = representation.sha256Bytes();
    if (step.wrongDigest) digest[0] ^= '\x55';
    answer.add("Repr-Digest", "sha-256=:" + base64(digest) + ":");
}

AnswerBody multipartBody(const AnswerBody& whole, const std::vector<ByteRange>& ranges,
                         const FaultStep& step) {
    AnswerBody body;
    for (const ByteRange& range : ranges) {
        body.append(std::string("\r\n--") + BOUNDARY +
                    "\r\nContent-Type: application/octet-stream\r\nContent-Range: " +
                    contentRange(range, whole.size(), step.totalError) + "\r\n\r\n");
        body.append(whole, range.first, range.size());
    }
    body.append(std::string("\r\n--") + BOUNDARY + "--\r\n");
    return body;
}

void makePartial(Answer& answer, const AnswerBody& whole, std::vector<ByteRange> ranges,
                 const FaultStep& step) {
    answer.status = 206;
    std::transform(ranges.begin(), ranges.end(), ranges.begin(),
                   [&](const ByteRange& range) { return misguided(range, step); });
    if (ranges.size() > 1 || step.multipartRange) {
        answer.add("Content-Type", std::string("multipart/byteranges; boundary=") + BOUNDARY);
        answer.body = multipartBody(whole, ranges, step);
        return;
    }
    answer.add("Content-Type", "application/octet-stream");
    if (!step.noContentRange) {
        answer.add("Content-Range", contentRange(ranges[0], whole.size(), step.totalError));
    }
    answer.body.append(whole, ranges[0].first, ranges[0].size());
}

void replaceAll(std::string& text, const std::string& mark, const std::string& value) {
    for (auto at = text.find(mark); at != std::string::npos;
         at = text.find(mark, at + value.size())) {
        text.replace(at, mark.size(), value);
    }
}

std::string locationOf(std::string location, const RequestHead& request, const Place& place) {
    const std::string host = request.header("Host").value_or("");
    replaceAll(location, "{scheme}", place.tls ? "https" : "http");
    replaceAll(location, "{port}", std::to_string(place.port));
    replaceAll(location, "{otherhost}",
               host.rfind("localhost", 0) == 0 ? "127.0.0.1" : "localhost");
    replaceAll(location, "{alternate}",
               request.path() == "/alternate/a" ? "/alternate/b" : "/alternate/a");
    replaceAll(location, "{target}", request.target);
    return location;
}

void addRetryAfter(Answer& answer, const FaultStep& step) {
    if (step.retryAfter) answer.add("Retry-After", *step.retryAfter);
    if (step.retryAfterDate) {
        answer.add("Retry-After", httpDate(std::time(nullptr) + step.retryAfterDate->count()));
    }
}

void addFraming(std::string& head, const Answer& answer, const FaultStep& step) {
    const auto length = static_cast<std::int64_t>(answer.body.size());
    const auto lengthLine = [&](std::int64_t error) {
        head +=
            "Content-Length: " + std::to_string(std::max<std::int64_t>(0, length + error)) + "\r\n";
    };
    if (step.lengthAndChunked) lengthLine(WRONG_LENGTH_OFFSET);
    switch (step.framing) {
        case Framing::LENGTH:
            lengthLine(step.lengthError);
            if (step.secondLengthError) lengthLine(*step.secondLengthError);
            break;
        case Framing::CHUNKED:
            head += "Transfer-Encoding: chunked\r\n";
            if (step.trailers) head += "Trailer: X-Trailer\r\n";
            break;
        case Framing::UNTIL_CLOSE:
            break;
    }
}

void addLine(std::string& head, const std::string& name, const std::string& value) {
    head += name + ": " + value + "\r\n";
}

void addStatusLine(std::string& head, const Answer& answer, const FaultStep& step) {
    if (step.statusLine) {
        head += *step.statusLine;
    } else {
        head += (step.http10 ? "HTTP/1.0 " : "HTTP/1.1 ") + std::to_string(answer.status) + " " +
                reasonOf(answer.status);
    }
    head += "\r\n";
}

}  // namespace

void Answer::add(std::string name, std::string value) {
    headers.emplace_back(std::move(name), std::move(value));
}

Answer contentAnswer(const RequestHead& request, const FaultStep& step, const Resource& resource,
                     const Place& place) {
    const Representation representation = representationOf(step, resource);
    const auto ranges = rangesOf(request, step, resource, representation);
    if (ranges && ranges->empty()) return unsatisfiableAnswer(resource, request, step, place);

    Answer answer;
    if (ranges) {
        makePartial(answer, representation.body, *ranges, step);
    } else {
        answer.add("Content-Type", "application/octet-stream");
        answer.body = representation.body;
    }
    if (!representation.coding.empty()) answer.add("Content-Encoding", representation.coding);
    if (!step.noAcceptRanges && !(answer.status == 206 && step.noAcceptRangesOn206)) {
        answer.add("Accept-Ranges", "bytes");
    }
    addValidators(answer, step, resource, representation.etag);
    addDigest(answer, step, representation.body);
    return answer;
}

Answer statusAnswer(int status, const RequestHead& request, const FaultStep& step,
                    const Place& place) {
    Answer answer;
    answer.status = status;
    answer.add("Content-Type", "text/plain");
    if (step.statusAcceptsRanges) answer.add("Accept-Ranges", "bytes");
    addRetryAfter(answer, step);
    for (const auto& location : step.locations) {
        answer.add("Location", locationOf(location, request, place));
    }
    answer.body = AnswerBody(step.statusBodySize
                                 ? std::string(static_cast<std::size_t>(*step.statusBodySize), 'e')
                                 : std::string(reasonOf(status)) + "\n");
    return answer;
}

Answer unsatisfiableAnswer(const Resource& resource, const RequestHead& request,
                           const FaultStep& step, const Place& place) {
    Answer answer = statusAnswer(416, request, step, place);
    answer.add("Content-Range", "bytes */" + std::to_string(resource.content.size));
    return answer;
}

Answer textAnswer(std::string text) {
    Answer answer;
    answer.add("Content-Type", "text/plain");
    answer.body = AnswerBody(std::move(text));
    return answer;
}

std::string headOf(const Answer& answer, const FaultStep& step, const std::string& method) {
    std::string head;
    addStatusLine(head, answer, step);
    head += step.oddFirstLines;
    if (!step.noDate) addLine(head, "Date", httpDate(std::time(nullptr)));
    for (const auto& [name, value] : answer.headers) addLine(head, name, value);
    for (const auto& [name, value] : step.headers) addLine(head, name, value);
    if (mayHaveBody(answer, method) || method == "HEAD") addFraming(head, answer, step);
    for (std::uint64_t i = 0; i < step.headerBombCount; ++i) {
        addLine(head, "X-Bomb-" + std::to_string(i), std::string(step.headerBombSize, 'b'));
    }
    if (step.longHeaderSize > 0) addLine(head, "X-Long", std::string(step.longHeaderSize, 'l'));
    head += step.oddLines;
    if (answer.close) addLine(head, "Connection", "close");
    return head + "\r\n";
}

bool mayHaveBody(const Answer& answer, const std::string& method) {
    const bool opensTunnel = method == "CONNECT" && answer.status < 300;
    return method != "HEAD" && !opensTunnel && answer.status != 204 && answer.status != 304;
}

}  // namespace tavrin::httpclient_testing::detail
