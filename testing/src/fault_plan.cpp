#include "httpclient_testing/fault_plan.h"

#include <charconv>
#include <functional>
#include <limits>
#include <map>
#include <stdexcept>
#include <string_view>

namespace tavrin::httpclient_testing {
namespace {

constexpr std::uint64_t END_OF_BODY = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t LONG_LOCATION = 200000;
constexpr std::size_t LONG_REASON = 5000;

// One word with its arguments: "early@100:413:rst" is word "early", position "100", arguments
// "413:rst".
struct Token {
    std::string_view whole;
    std::string_view word;
    std::optional<std::string_view> position;
    std::optional<std::string_view> arguments;

    [[noreturn]] void malformed() const {
        throw std::runtime_error("Malformed fault <" + std::string(whole) + ">");
    }

    template <class Number>
    Number number(std::string_view text) const {
        if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
        Number value{};
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || stop != text.data() + text.size()) malformed();
        return value;
    }

    // The position, which has to be there.
    std::uint64_t at() const {
        if (!position) malformed();
        return *position == "end" ? END_OF_BODY : number<std::uint64_t>(*position);
    }

    std::vector<std::string_view> argumentList() const {
        std::vector<std::string_view> list;
        if (!arguments) return list;
        std::string_view rest = *arguments;
        for (auto colon = rest.find(':'); colon != std::string_view::npos; colon = rest.find(':')) {
            list.push_back(rest.substr(0, colon));
            rest.remove_prefix(colon + 1);
        }
        list.push_back(rest);
        return list;
    }

    void wantNoPosition() const {
        if (position) malformed();
    }

    void wantNoArguments() const {
        if (arguments) malformed();
    }

    template <class Number>
    Number argument() const {
        if (!arguments) malformed();
        return number<Number>(*arguments);
    }

    template <class Number>
    Number argumentOr(Number absent) const {
        return arguments ? number<Number>(*arguments) : absent;
    }
};

using Setter = std::function<void(FaultStep&, const Token&)>;

Setter flag(bool FaultStep::*field) {
    return [field](FaultStep& step, const Token& token) {
        token.wantNoPosition();
        token.wantNoArguments();
        step.*field = true;
    };
}

Setter position(std::optional<std::uint64_t> FaultStep::*field) {
    return [field](FaultStep& step, const Token& token) {
        token.wantNoArguments();
        step.*field = token.at();
    };
}

template <class Field>
Setter number(Field FaultStep::*field) {
    return [field](FaultStep& step, const Token& token) {
        token.wantNoPosition();
        if constexpr (std::is_same_v<Field, std::optional<std::uint64_t>>) {
            step.*field = token.argument<std::uint64_t>();
        } else {
            step.*field = token.argument<Field>();
        }
    };
}

Setter milliseconds(std::chrono::milliseconds FaultStep::*field) {
    return [field](FaultStep& step, const Token& token) {
        token.wantNoPosition();
        step.*field = std::chrono::milliseconds(token.argument<std::uint32_t>());
    };
}

Setter connection(ConnectionFault fault) {
    return [fault](FaultStep& step, const Token& token) {
        token.wantNoPosition();
        token.wantNoArguments();
        step.connection = fault;
    };
}

const std::string& knownKind(const std::map<std::string_view, std::string>& kinds,
                             const Token& token) {
    token.wantNoPosition();
    const auto kind = kinds.find(token.arguments.value_or(""));
    if (kind == kinds.end()) token.malformed();
    return kind->second;
}

void setRefused(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    step.connection = ConnectionFault::REFUSED;
    if (token.arguments) {
        step.refusedFor = std::chrono::milliseconds(token.argument<std::uint32_t>());
    }
}

void setNoResponse(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    if (token.arguments && *token.arguments != "rst") token.malformed();
    step.noAnswer = true;
    step.noAnswerReset = token.arguments.has_value();
}

void setHeadStall(FaultStep& step, const Token& token) {
    token.wantNoArguments();
    step.headStallAt = token.position ? token.at() : 0;
}

void setHeader(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    const std::string_view line = token.arguments.value_or("");
    const auto equals = line.find('=');
    if (equals == 0 || equals == std::string_view::npos) token.malformed();
    step.headers.emplace_back(line.substr(0, equals), line.substr(equals + 1));
}

void setHeaderBomb(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    const auto arguments = token.argumentList();
    if (arguments.size() != 2) token.malformed();
    step.headerBombCount = token.number<std::uint64_t>(arguments[0]);
    step.headerBombSize = token.number<std::uint64_t>(arguments[1]);
}

void setInterim(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    const auto arguments = token.argumentList();
    if (arguments.empty() || arguments.size() > 2) token.malformed();
    step.interimCount = token.number<std::uint64_t>(arguments[0]);
    if (arguments.size() == 2) step.interimSize = token.number<std::uint64_t>(arguments[1]);
}

void setOddLines(FaultStep& step, const Token& token) {
    static const std::map<std::string_view, std::string> KINDS = {
        {"nul", std::string("X-Odd: a\0b\r\n", 12)},
        {"nulname", std::string("X-O\0dd: a\r\n", 11)},
        {"nocolon", "X-Odd without a colon\r\n"},
        {"emptyname", ": a value without a name\r\n"},
        {"fold", "X-Odd: first\r\n \tsecond\r\n"},
        {"barecr", "X-Odd: a\rX-Injected: b\r\n"},
        {"barelf", "X-Odd: a\nX-After-Bare-LF: b\r\n"},
        {"space", "X-Odd : a\r\n"},
        {"high", "X-Odd: \xC3\xA4\xFF\x80\r\n"},
        {"control",
         "X-Odd: a\x01\x7F"
         "b\r\n"},
        {"emptyvalue", "X-Odd:\r\n"},
        {"leadingfold", " folded before any line\r\n"},
    };
    const std::string& lines = knownKind(KINDS, token);
    (*token.arguments == "leadingfold" ? step.oddFirstLines : step.oddLines) += lines;
}

void setBadStatus(FaultStep& step, const Token& token) {
    static const std::map<std::string_view, std::string> KINDS = {
        {"empty", ""},
        {"letters", "HTTP/1.1 abc OK"},
        {"short", "HTTP/1.1 20 OK"},
        {"four", "HTTP/1.1 2000 OK"},
        {"zero", "HTTP/1.1 000 OK"},
        {"negative", "HTTP/1.1 -20 OK"},
        {"nospace", "HTTP/1.1200 OK"},
        {"foreign", "FTP/1.1 200 OK"},
        {"version", "HTTP/9.9 200 OK"},
        {"nul", std::string("HTTP/1.1 2\0000 OK", 15)},
        {"headless", "<html>a body without a head</html>"},
        {"noreason", "HTTP/1.1 200"},
        {"long", "HTTP/1.1 200 " + std::string(LONG_REASON, 'r')},
    };
    step.statusLine = knownKind(KINDS, token);
}

void setLengthError(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    const std::int64_t error = token.argumentOr<std::uint32_t>(10);
    step.lengthError = token.word == "clmore" ? error : -error;
}

void setSecondLength(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    step.secondLengthError = token.argumentOr<std::int64_t>(10);
}

void setFraming(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    token.wantNoArguments();
    step.framing = token.word == "nolen" ? Framing::UNTIL_CLOSE : Framing::CHUNKED;
    if (token.word == "clte") step.lengthAndChunked = true;
    if (token.word == "trailers") step.trailers = true;
}

void setChunkFault(FaultStep& step, const Token& token) {
    token.wantNoArguments();
    step.framing = Framing::CHUNKED;
    (token.word == "tchunk" ? step.truncatedChunkAt : step.badChunkAt) = token.at();
}

void setChange(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    step.change = true;
    step.changeSize = token.argumentOr<std::int64_t>(0);
}

void setEarly(FaultStep& step, const Token& token) {
    const auto arguments = token.argumentList();
    if (arguments.empty() || arguments.size() > 2) token.malformed();
    EarlyAnswer early;
    early.afterBytes = token.at();
    early.status = token.number<int>(arguments[0]);
    if (early.status < 200 || early.status > 999) token.malformed();
    if (arguments.size() == 2) {
        if (arguments[1] != "rst" && arguments[1] != "drain") token.malformed();
        early.reset = arguments[1] == "rst";
    }
    step.early = early;
}

void setLocations(FaultStep& step, const Token& token) {
    static const std::map<std::string_view, std::vector<std::string>> KINDS = {
        {"loop", {"{target}"}},
        {"alternate", {"{alternate}"}},
        {"host", {"{scheme}://{otherhost}:{port}{target}"}},
        {"userinfo", {"{scheme}://user:secret@127.0.0.1:{port}/"}},
        {"file", {"file:///etc/hostname"}},
        {"ftp", {"ftp://127.0.0.1:{port}/"}},
        {"gopher", {"gopher://127.0.0.1:{port}/1"}},
        {"dict", {"dict://127.0.0.1:{port}/d:word"}},
        {"data", {"data:text/plain;charset=utf-8,hello"}},
        {"empty", {""}},
        {"badhost", {"http://no-such-host.invalid/"}},
        {"nohost", {"http:///path"}},
        {"crlf", {"/a%0d%0aX-Injected:%20yes"}},
        {"barecr", {"/a\rX-Injected: yes"}},
        {"long", {"/" + std::string(LONG_LOCATION - 1, 'l')}},
        {"none", {}},
        {"two", {"/first", "/second"}},
    };
    if (!token.arguments) return;
    const auto kind = KINDS.find(*token.arguments);
    step.locations = kind != KINDS.end() ? kind->second
                                         : std::vector<std::string>{std::string(*token.arguments)};
}

void setStatusOption(FaultStep& step, const Token& token, std::string_view option) {
    const auto starts = [&](std::string_view prefix) {
        return option.substr(0, prefix.size()) == prefix;
    };
    if (option == "ar") {
        step.statusAcceptsRanges = true;
    } else if (option == "rabad") {
        step.retryAfter = "soon";
    } else if (option == "rahuge") {
        step.retryAfter = "99999999999999999999";
    } else if (starts("ra")) {
        step.retryAfter = std::to_string(token.number<std::uint32_t>(option.substr(2)));
    } else if (starts("rd")) {
        step.retryAfterDate = std::chrono::seconds(token.number<std::uint32_t>(option.substr(2)));
    } else if (starts("b")) {
        step.statusBodySize = token.number<std::uint64_t>(option.substr(1));
    } else {
        token.malformed();
    }
}

bool isStatus(std::string_view word) {
    return word.size() == 3 && word.find_first_not_of("0123456789") == std::string_view::npos &&
           word[0] >= '2';
}

void setStatus(FaultStep& step, const Token& token) {
    token.wantNoPosition();
    step.status = token.number<int>(token.word);
    if (token.word[0] == '3') {
        setLocations(step, token);
        return;
    }
    for (const auto option : token.argumentList()) setStatusOption(step, token, option);
}

const std::map<std::string_view, Setter>& vocabulary() {
    static const std::map<std::string_view, Setter> WORDS = {
        {"ok",
         [](FaultStep&, const Token& token) {
             token.wantNoPosition();
             token.wantNoArguments();
         }},
        {"accept_rst", connection(ConnectionFault::ACCEPT_RST)},
        {"badchunk", setChunkFault},
        {"baddigest", flag(&FaultStep::wrongDigest)},
        {"badgzip", flag(&FaultStep::damagedGzip)},
        {"badstatus", setBadStatus},
        {"change", setChange},
        {"chunked", setFraming},
        {"clless", setLengthError},
        {"clmore", setLengthError},
        {"close", flag(&FaultStep::close)},
        {"clte", setFraming},
        {"delay", milliseconds(&FaultStep::delay)},
        {"delay100", milliseconds(&FaultStep::delayBeforeBody)},
        {"digest", flag(&FaultStep::digest)},
        {"drip", number(&FaultStep::bytesPerSecond)},
        {"dupcl", setSecondLength},
        {"e417", flag(&FaultStep::refuseExpect)},
        {"early", setEarly},
        {"fin", position(&FaultStep::finishAt)},
        {"finnext", flag(&FaultStep::finishNext)},
        {"garbage", connection(ConnectionFault::GARBAGE)},
        {"gzip", flag(&FaultStep::gzip)},
        {"gzipbomb", number(&FaultStep::gzipBombMiB)},
        {"hbomb", setHeaderBomb},
        {"hdrip", number(&FaultStep::headBytesPerSecond)},
        {"header", setHeader},
        {"hello_rst", connection(ConnectionFault::HELLO_RST)},
        {"hfin", position(&FaultStep::headFinishAt)},
        {"hinf", flag(&FaultStep::endlessHead)},
        {"hline", number(&FaultStep::longHeaderSize)},
        {"hrst", position(&FaultStep::headResetAt)},
        {"hstall", setHeadStall},
        {"http10", flag(&FaultStep::http10)},
        {"ifrangedrop", flag(&FaultStep::noValidatorsOn206)},
        {"ifrangeignore", flag(&FaultStep::ignoreIfRange)},
        {"ignorerange", flag(&FaultStep::ignoreRange)},
        {"interim", setInterim},
        {"interiminf", flag(&FaultStep::endlessInterim)},
        {"keepetag", flag(&FaultStep::keepValidators)},
        {"lietotal", number(&FaultStep::totalError)},
        {"multirange", flag(&FaultStep::multipartRange)},
        {"mute", connection(ConnectionFault::MUTE)},
        {"no100", flag(&FaultStep::no100)},
        {"noar", flag(&FaultStep::noAcceptRanges)},
        {"noar206", flag(&FaultStep::noAcceptRangesOn206)},
        {"nocr", flag(&FaultStep::noContentRange)},
        {"nodate", flag(&FaultStep::noDate)},
        {"noetag", flag(&FaultStep::noEtag)},
        {"nolen", setFraming},
        {"nolm", flag(&FaultStep::noLastModified)},
        {"nonotify", flag(&FaultStep::noCloseNotify)},
        {"noresp", setNoResponse},
        {"notify", flag(&FaultStep::notifyWhenCut)},
        {"odd", setOddLines},
        {"recentlm", flag(&FaultStep::recentLastModified)},
        {"refused", setRefused},
        {"rst", position(&FaultStep::resetAt)},
        {"rstnext", flag(&FaultStep::resetNext)},
        {"shortrange", number(&FaultStep::rangeLimit)},
        {"silentclose", flag(&FaultStep::silentClose)},
        {"stall", position(&FaultStep::stallAt)},
        {"tchunk", setChunkFault},
        {"trailers", setFraming},
        {"ufin", position(&FaultStep::uploadFinishAt)},
        {"unasked206", flag(&FaultStep::unasked206)},
        {"urst", position(&FaultStep::uploadResetAt)},
        {"ustall", position(&FaultStep::uploadStallAt)},
        {"weaketag", flag(&FaultStep::weakEtag)},
        {"wrongrange", number(&FaultStep::rangeShift)},
    };
    return WORDS;
}

Token tokenOf(std::string_view whole) {
    Token token;
    token.whole = whole;
    const auto wordEnd = std::min(whole.find_first_of("@:"), whole.size());
    token.word = whole.substr(0, wordEnd);
    std::string_view rest = whole.substr(wordEnd);
    if (!rest.empty() && rest[0] == '@') {
        const auto positionEnd = std::min(rest.find(':'), rest.size());
        token.position = rest.substr(1, positionEnd - 1);
        rest.remove_prefix(positionEnd);
    }
    if (!rest.empty()) token.arguments = rest.substr(1);
    return token;
}

// The pieces of `text` between the separators; one right behind a colon is a sign and belongs to
// its piece.
std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != separator || (separator == '+' && i > 0 && text[i - 1] == ':')) continue;
        pieces.push_back(text.substr(begin, i - begin));
        begin = i + 1;
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

void apply(FaultStep& step, std::string_view whole) {
    const Token token = tokenOf(whole);
    if (isStatus(token.word)) {
        setStatus(step, token);
        return;
    }
    const auto word = vocabulary().find(token.word);
    if (word == vocabulary().end()) {
        throw std::runtime_error("Unknown fault <" + std::string(token.word) + ">");
    }
    word->second(step, token);
}

// Takes "*20" off the end of a step's text.
std::size_t takeRepetitions(std::string_view& text) {
    constexpr std::size_t MOST = 1000000;
    const auto star = text.rfind('*');
    if (star == std::string_view::npos) return 1;
    const auto repetitions = tokenOf(text).number<std::size_t>(text.substr(star + 1));
    if (repetitions < 1 || repetitions > MOST) tokenOf(text).malformed();
    text = text.substr(0, star);
    return repetitions;
}

}  // namespace

FaultStep FaultStep::parse(const std::string& text) {
    FaultStep step;
    if (text.empty()) return step;
    for (const auto whole : split(text, '+')) apply(step, whole);
    step.text = text;
    return step;
}

FaultPlan::FaultPlan(std::vector<FaultStep> planned) : steps(std::move(planned)) {}

FaultPlan::FaultPlan(const std::string& text) : FaultPlan(parse(text)) {}

FaultPlan::FaultPlan(const char* text) : FaultPlan(parse(text)) {}

FaultPlan FaultPlan::parse(const std::string& text) {
    FaultPlan plan;
    if (text.empty()) return plan;
    for (auto stepText : split(text, ',')) {
        const std::size_t repetitions = takeRepetitions(stepText);
        plan.steps.insert(plan.steps.end(), repetitions, FaultStep::parse(std::string(stepText)));
    }
    return plan;
}

}  // namespace tavrin::httpclient_testing
