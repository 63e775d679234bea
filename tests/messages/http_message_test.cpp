#include <gmock/gmock.h>

#include <boost/exception/diagnostic_information.hpp>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/logging.h"
#include "httpclient_core/messages.h"
#include "support/entry_lines.h"
#include "support/failure_and_record.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectFailureAndRecord;
using test::LogCapture;
using test::LoggingDisabled;
using test::LogRecord;
using test::ThrowsExactly;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_copy_constructible_v<HttpMessage>);
static_assert(std::is_copy_assignable_v<HttpMessage>);
static_assert(std::is_nothrow_move_constructible_v<HttpMessage>);
static_assert(std::is_nothrow_move_assignable_v<HttpMessage>);
static_assert(std::has_virtual_destructor_v<HttpMessage>);
static_assert(!std::is_abstract_v<HttpMessage>);
static_assert(!std::is_default_constructible_v<HttpMessage>);

static_assert(
    std::is_same_v<decltype(&HttpMessage::getHeaders), HttpHeaders (HttpMessage::*)() const>);
static_assert(
    std::is_same_v<decltype(&HttpMessage::getContentLength), long (HttpMessage::*)() const>);
static_assert(
    std::is_same_v<decltype(&HttpMessage::getCookie), NameValueCollection (HttpMessage::*)()>,
    "reading cookies takes a message that may be changed");

template <typename Length, typename = void>
struct TakesContentLength : std::false_type {};
template <typename Length>
struct TakesContentLength<
    Length,
    std::void_t<decltype(std::declval<HttpMessage&>().setContentLength(std::declval<Length>()))>>
    : std::true_type {};
static_assert(TakesContentLength<std::string>::value);
static_assert(TakesContentLength<const char*>::value);
static_assert(!TakesContentLength<int>::value && !TakesContentLength<long>::value &&
                  !TakesContentLength<std::size_t>::value,
              "a length is handed over as text");

// Writes down what reaches its virtual operations, and then does it.
class RecordingMessage : public HttpMessage {
public:
    RecordingMessage() : HttpMessage(HttpHeaders{}) {}

    void setHeaders(HttpHeaders headers) override {
        calls.emplace_back("setHeaders");
        HttpMessage::setHeaders(std::move(headers));
    }
    void setHeaderValue(const std::string& name, std::string value) override {
        calls.push_back("setHeaderValue " + name + ": " + value);
        HttpMessage::setHeaderValue(name, std::move(value));
    }
    void addHeaderValue(const std::string& name, std::string value) override {
        calls.emplace_back("addHeaderValue");
        HttpMessage::addHeaderValue(name, std::move(value));
    }
    void addHeader(const std::string& line) override {
        calls.emplace_back("addHeader");
        HttpMessage::addHeader(line);
    }
    void removeHeader(const std::string& name) override {
        calls.emplace_back("removeHeader");
        HttpMessage::removeHeader(name);
    }

    std::vector<std::string> calls;
};

HttpMessage withContentLength(const std::string& text) {
    return HttpMessage(HttpHeaders{{"Content-Length", text}});
}

// Texts of a Content-Length that no conversion accepts, for want of digits or by their size.
const std::vector<std::string>& unconvertibleLengths() {
    static const std::vector<std::string> texts = {"abc",
                                                   "",
                                                   " ",
                                                   "-",
                                                   "+",
                                                   "- 5",
                                                   "bytes 42",
                                                   "99999999999999999999",
                                                   "9223372036854775808",
                                                   "-9223372036854775809"};
    return texts;
}

std::string conversionFailure(const std::string& text) {
    return "Failed to convert Content-Length " + text + " to long. stol";
}

// The record about the exception that the standard conversion throws for `text`.
LogRecord conversionRecord(const std::string& text) {
    try {
        static_cast<void>(std::stol(text));
    } catch (...) {
        return {LOG_CHANNEL, LOG_EXCEPTION,
                "Exception caught: " + boost::current_exception_diagnostic_information()};
    }
    return {};
}

TEST(HttpMessage, HasTheHeadersItWasMadeOf) {
    const HttpMessage message(HttpHeaders{{"A", "1"}, {"b", "2"}, {"a", "3"}});

    EXPECT_EQ(entryLines(message.getHeaders()), "A: 1\nb: 2\na: 3\n");
}

TEST(HttpMessage, HandsOutACopyOfItsHeaders) {
    const HttpMessage message(HttpHeaders{{"A", "1"}});
    HttpHeaders headers = message.getHeaders();

    headers.setHeaderValue("A", "2");

    EXPECT_EQ(entryLines(message.getHeaders()), "A: 1\n");
}

TEST(HttpMessage, ReadsTheFirstHeaderOfAName) {
    const HttpMessage message(HttpHeaders{{"Accept", "1"}, {"accept", "2"}});

    EXPECT_EQ(message.getHeaderValue("ACCEPT"), "1");
}

TEST(HttpMessage, ThrowsAndLogsTheNameOfAnAbsentHeader) {
    const HttpMessage message(HttpHeaders{{"A", "1"}});

    expectFailureAndRecord<std::out_of_range>([&] { message.getHeaderValue("B"); }, "B not found.",
                                              LOG_MISUSE);
}

TEST(HttpMessage, KnowsWhichHeadersItHas) {
    const HttpMessage message(HttpHeaders{{"Content-Type", ""}});

    EXPECT_TRUE(message.hasHeader("content-TYPE"));
    EXPECT_FALSE(message.hasHeader("Content-Typ"));
    EXPECT_FALSE(message.hasHeader(""));
}

TEST(HttpMessage, ReplacesAllHeadersAtOnce) {
    HttpMessage message(HttpHeaders{{"A", "1"}, {"B", "2"}});

    message.setHeaders(HttpHeaders{{"C", "3"}});

    EXPECT_EQ(entryLines(message.getHeaders()), "C: 3\n");
    EXPECT_FALSE(message.hasHeader("A"));
    EXPECT_FALSE(message.hasHeader("B"));
}

TEST(HttpMessage, HasNoHeadersAfterEmptyOnesWereSet) {
    HttpMessage message(HttpHeaders{{"A", "1"}});

    message.setHeaders(HttpHeaders{});

    EXPECT_TRUE(message.getHeaders().empty());
    EXPECT_FALSE(message.hasHeader("A"));
}

TEST(HttpMessage, SetsTheFirstHeaderOfANameOrAppendsIt) {
    HttpMessage message(HttpHeaders{{"A", "1"}, {"B", "2"}, {"a", "3"}});

    message.setHeaderValue("a", "new");
    message.setHeaderValue("C", "4");

    EXPECT_EQ(entryLines(message.getHeaders()), "A: new\nB: 2\na: 3\nC: 4\n");
}

TEST(HttpMessage, AddsAHeaderOfANameThatIsThereAlready) {
    HttpMessage message(HttpHeaders{{"A", "1"}});

    message.addHeaderValue("A", "2");

    EXPECT_EQ(entryLines(message.getHeaders()), "A: 1\nA: 2\n");
}

TEST(HttpMessage, AddsAHeaderFromItsLine) {
    HttpMessage message(HttpHeaders{{"A", "1"}});

    message.addHeader("  a :  b: c \r\n");
    message.addHeader("Empty:");
    message.addHeader("");
    message.addHeader(": no name");

    EXPECT_EQ(entryLines(message.getHeaders()), "A: 1\na: b: c\nEmpty: \n");
}

TEST(HttpMessage, RefusesALineWithoutAColonAndStaysAsItWas) {
    HttpMessage message(HttpHeaders{{"A", "1"}});

    EXPECT_THAT(
        [&] { message.addHeader(" NoColon "); },
        ThrowsExactly<std::runtime_error>("Missing delimiter <:> when parsing : < NoColon >"));
    EXPECT_EQ(entryLines(message.getHeaders()), "A: 1\n");
}

TEST(HttpMessage, RemovesEveryHeaderOfAName) {
    HttpMessage message(HttpHeaders{{"A", "1"}, {"B", "2"}, {"a", "3"}});

    message.removeHeader("A");
    message.removeHeader("absent");

    EXPECT_EQ(entryLines(message.getHeaders()), "B: 2\n");
}

TEST(HttpMessage, StoresAContentTypeTextUnchecked) {
    HttpMessage message(HttpHeaders{});

    message.setContentType(" no type; at all;");

    EXPECT_EQ(entryLines(message.getHeaders()), "Content-Type:  no type; at all;\n");
}

TEST(HttpMessage, WritesAndReadsAContentType) {
    HttpMessage message(HttpHeaders{});
    const ContentType type("text/html", {{"charset", "utf-8"}, {"level", "1"}});

    message.setContentType(type);

    EXPECT_EQ(entryLines(message.getHeaders()), "Content-Type: text/html; charset=utf-8;level=1\n");
    EXPECT_TRUE(message.getContentType() == type);
}

TEST(HttpMessage, PassesOnThatAContentTypeCannotBeRead) {
    HttpMessage message(HttpHeaders{{"Content-Type", "text/html;"}});
    EXPECT_THAT([&] { message.getContentType(); },
                ThrowsExactly<std::runtime_error>("Missing parameter value for <>"));

    message.setContentType("text/html; charset");
    EXPECT_THAT(
        [&] { message.getContentType(); },
        ThrowsExactly<std::runtime_error>("Missing delimiter <=> when parsing : < charset>"));
}

TEST(HttpMessage, StoresAContentLengthTextUnchecked) {
    HttpMessage message(HttpHeaders{});

    message.setContentLength("abc");
    EXPECT_EQ(entryLines(message.getHeaders()), "Content-Length: abc\n");

    message.setContentLength(std::string(" 1 2 "));
    EXPECT_EQ(entryLines(message.getHeaders()), "Content-Length:  1 2 \n");
}

TEST(HttpMessage, ReadsTheNumberThatAContentLengthBeginsWith) {
    const std::vector<std::pair<std::string, long>> lengths = {{"0", 0},
                                                               {"42", 42},
                                                               {" 42", 42},
                                                               {"\t\r\n\v\f42", 42},
                                                               {"42 bytes", 42},
                                                               {"12abc", 12},
                                                               {"-5", -5},
                                                               {"+7", 7},
                                                               {"007", 7},
                                                               {"0x10", 0},
                                                               {"1,000", 1},
                                                               {"1.5", 1},
                                                               {"9223372036854775807", LONG_MAX},
                                                               {"-9223372036854775808", LONG_MIN}};
    for (const auto& [text, length] : lengths) {
        EXPECT_EQ(withContentLength(text).getContentLength(), length) << text;
    }
}

TEST(HttpMessage, RefusesAContentLengthThatIsNoLong) {
    for (const std::string& text : unconvertibleLengths()) {
        const HttpMessage message = withContentLength(text);

        EXPECT_THAT([&] { message.getContentLength(); },
                    ThrowsExactly<std::runtime_error>(conversionFailure(text)));
        EXPECT_EQ(entryLines(message.getHeaders()), "Content-Length: " + text + "\n");
    }
}

TEST(HttpMessage, LogsTheCaughtExceptionAndThenItsOwn) {
    for (const std::string& text : unconvertibleLengths()) {
        const LogCapture log;

        EXPECT_THROW(withContentLength(text).getContentLength(), std::runtime_error);

        EXPECT_THAT(log.records(),
                    ElementsAre(conversionRecord(text),
                                LogRecord{LOG_CHANNEL, LOG_MISUSE, conversionFailure(text)}));
    }
}

TEST(HttpMessage, LogsAFailedConversionAsTheMaskAsks) {
    const HttpMessage message = withContentLength("abc");
    const LogRecord misuse{LOG_CHANNEL, LOG_MISUSE, conversionFailure("abc")};
    const std::vector<std::pair<std::uint32_t, std::vector<LogRecord>>> expectations = {
        {LOG_EXCEPTION, {conversionRecord("abc")}},
        {LOG_MISUSE, {misuse}},
        {~(LOG_EXCEPTION | LOG_MISUSE), {}},
        {0, {}}};

    for (const auto& [mask, records] : expectations) {
        const LogCapture log(mask);

        EXPECT_THAT([&] { message.getContentLength(); },
                    ThrowsExactly<std::runtime_error>(conversionFailure("abc")));
        EXPECT_EQ(log.records(), records) << mask;
    }
}

TEST(HttpMessage, FailsToConvertWithoutARecordWhileLoggingIsDisabled) {
    const LogCapture log;
    const LoggingDisabled disabled;

    EXPECT_THAT([] { withContentLength("").getContentLength(); },
                ThrowsExactly<std::runtime_error>(conversionFailure("")));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(HttpMessage, ReportsAnAbsentContentLengthAsAbsentAlone) {
    expectFailureAndRecord<std::out_of_range>([] { HttpMessage(HttpHeaders{}).getContentLength(); },
                                              "Content-Length not found.", LOG_MISUSE);
}

TEST(HttpMessage, RefusesANullContentLengthBeforeAnyHeaderChanges) {
    RecordingMessage message;
    message.HttpMessage::setHeaderValue("Content-Length", "5");

    EXPECT_THAT(
        [&] { message.setContentLength(static_cast<const char*>(nullptr)); },
        ThrowsExactly<std::logic_error>("basic_string: construction from null is not valid"));
    EXPECT_EQ(entryLines(message.getHeaders()), "Content-Length: 5\n");
    EXPECT_THAT(message.calls, IsEmpty());
}

TEST(HttpMessage, StoresAnAcceptTextUnchecked) {
    HttpMessage message(HttpHeaders{});

    message.setAccept(" ,,;");

    EXPECT_EQ(entryLines(message.getHeaders()), "Accept:  ,,;\n");
}

TEST(HttpMessage, WritesAndReadsAccept) {
    HttpMessage message(HttpHeaders{});
    const Accept accept({ContentType("text/html", {}), ContentType("*/*", {{"q", "0.1"}})});

    message.setAccept(accept);

    EXPECT_EQ(entryLines(message.getHeaders()), "Accept: text/html, */*; q=0.1\n");
    EXPECT_TRUE(message.getAccept() == accept);
}

TEST(HttpMessage, PassesOnThatAcceptCannotBeRead) {
    const HttpMessage message(HttpHeaders{{"Accept", "text/html, a;q="}});

    EXPECT_THAT([&] { message.getAccept(); },
                ThrowsExactly<std::runtime_error>("Missing parameter value for <q>"));
}

TEST(HttpMessage, StoresAndReadsATransferEncodingAsItIs) {
    HttpMessage message(HttpHeaders{});

    message.setTransferEncoding(" gzip,, chunked ");

    EXPECT_EQ(entryLines(message.getHeaders()), "Transfer-Encoding:  gzip,, chunked \n");
    EXPECT_EQ(message.getTransferEncoding(), " gzip,, chunked ");
}

TEST(HttpMessage, WritesAndReadsCookies) {
    HttpMessage message(HttpHeaders{});
    const NameValueCollection cookies = {{"a", "1"}, {"b", "x=y"}, {"a", ""}};

    message.setCookie(cookies);

    EXPECT_EQ(entryLines(message.getHeaders()), "Cookie: a=1; b=x=y; a=\n");
    EXPECT_TRUE(message.getCookie() == cookies);
}

TEST(HttpMessage, PassesOnThatCookiesCannotBeRead) {
    HttpMessage message(HttpHeaders{{"Cookie", "a=1; flag"}});

    EXPECT_THAT([&] { message.getCookie(); },
                ThrowsExactly<std::runtime_error>("Missing delimiter <=> when parsing : <flag>"));
}

TEST(HttpMessage, TypedGettersReadTheFirstHeaderOfTheirName) {
    HttpMessage message(HttpHeaders{{"content-type", "a/b"},
                                    {"content-length", "1"},
                                    {"accept", "c/d"},
                                    {"transfer-encoding", "chunked"},
                                    {"cookie", "e=f"},
                                    {"Content-Type", ";"},
                                    {"Content-Length", "x"},
                                    {"Accept", ";"},
                                    {"Transfer-Encoding", "x"},
                                    {"Cookie", "x"}});

    EXPECT_EQ(message.getContentType().toString(), "a/b");
    EXPECT_EQ(message.getContentLength(), 1);
    EXPECT_EQ(message.getAccept().toString(), "c/d");
    EXPECT_EQ(message.getTransferEncoding(), "chunked");
    EXPECT_EQ(entryLines(message.getCookie()), "e: f\n");
}

TEST(HttpMessage, TypedGettersThrowTheNameOfTheirHeaderIfItIsAbsent) {
    HttpMessage message(HttpHeaders{});

    EXPECT_THAT([&] { message.getContentType(); },
                ThrowsExactly<std::out_of_range>("Content-Type not found."));
    EXPECT_THAT([&] { message.getContentLength(); },
                ThrowsExactly<std::out_of_range>("Content-Length not found."));
    EXPECT_THAT([&] { message.getAccept(); },
                ThrowsExactly<std::out_of_range>("Accept not found."));
    EXPECT_THAT([&] { message.getTransferEncoding(); },
                ThrowsExactly<std::out_of_range>("Transfer-Encoding not found."));
    EXPECT_THAT([&] { message.getCookie(); },
                ThrowsExactly<std::out_of_range>("Cookie not found."));
}

TEST(HttpMessage, TypedSettersReplaceTheFirstHeaderOfTheirName) {
    HttpMessage message(HttpHeaders{{"content-length", "1"}, {"Content-Length", "2"}});

    message.setContentLength("3");

    EXPECT_EQ(entryLines(message.getHeaders()), "content-length: 3\nContent-Length: 2\n");
}

TEST(HttpMessage, TypedSettersRunAnOverriddenSetHeaderValueAndNothingElse) {
    RecordingMessage recording;
    HttpMessage& message = recording;

    message.setContentType("a/b");
    message.setContentType(ContentType("c/d", {{"e", "f"}}));
    message.setContentLength(std::string("1"));
    message.setContentLength("2");
    message.setAccept("g/h");
    message.setAccept(Accept({ContentType("i/j", {})}));
    message.setTransferEncoding("chunked");
    message.setCookie({{"k", "l"}});

    EXPECT_THAT(
        recording.calls,
        ElementsAre("setHeaderValue Content-Type: a/b", "setHeaderValue Content-Type: c/d; e=f",
                    "setHeaderValue Content-Length: 1", "setHeaderValue Content-Length: 2",
                    "setHeaderValue Accept: g/h", "setHeaderValue Accept: i/j",
                    "setHeaderValue Transfer-Encoding: chunked", "setHeaderValue Cookie: k=l"));
    EXPECT_EQ(entryLines(message.getHeaders()),
              "Content-Type: c/d; e=f\nContent-Length: 2\nAccept: i/j\n"
              "Transfer-Encoding: chunked\nCookie: k=l\n");
}

TEST(HttpMessage, RunsWhatADerivedMessageOverrides) {
    RecordingMessage recording;
    HttpMessage& message = recording;

    message.setHeaders(HttpHeaders{});
    message.setHeaderValue("A", "1");
    message.addHeaderValue("A", "2");
    message.addHeader("A: 3");
    message.removeHeader("A");

    EXPECT_THAT(recording.calls, ElementsAre("setHeaders", "setHeaderValue A: 1", "addHeaderValue",
                                             "addHeader", "removeHeader"));
}

TEST(HttpMessage, RunsNoVirtualOperationToRead) {
    RecordingMessage message;
    message.HttpMessage::setHeaders(HttpHeaders{{"Content-Type", "a/b"},
                                                {"Content-Length", "1"},
                                                {"Accept", "c/d"},
                                                {"Transfer-Encoding", "chunked"},
                                                {"Cookie", "e=f"}});

    message.getHeaders();
    message.getHeaderValue("Accept");
    message.hasHeader("Accept");
    message.getContentType();
    message.getContentLength();
    message.getAccept();
    message.getTransferEncoding();
    message.getCookie();

    EXPECT_THAT(message.calls, IsEmpty());
}

// The place of a virtual function among those of its class, as the x86-64 ABI lays them out: a
// pointer to one holds one more than the offset of its slot. The destructor takes the first two.
template <typename Function>
std::ptrdiff_t slot(Function function) {
    std::ptrdiff_t representation = 0;
    std::memcpy(&representation, &function, sizeof representation);
    return (representation - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(HttpMessage, KeepsTheOrderOfItsVirtualOperations) {
    EXPECT_EQ(slot(&HttpMessage::setHeaders), 2);
    EXPECT_EQ(slot(&HttpMessage::setHeaderValue), 3);
    EXPECT_EQ(slot(&HttpMessage::addHeaderValue), 4);
    EXPECT_EQ(slot(&HttpMessage::addHeader), 5);
    EXPECT_EQ(slot(&HttpMessage::removeHeader), 6);
}

TEST(HttpMessage, CopiesAreIndependent) {
    HttpMessage original(HttpHeaders{{"A", "1"}});
    HttpMessage copy = original;
    HttpMessage assigned(HttpHeaders{{"B", "2"}});
    assigned = original;

    original.setHeaderValue("A", "changed");

    EXPECT_EQ(entryLines(copy.getHeaders()), "A: 1\n");
    EXPECT_EQ(entryLines(assigned.getHeaders()), "A: 1\n");
}

TEST(HttpMessage, MovesItsHeaders) {
    HttpMessage original(HttpHeaders{{"A", "1"}});
    HttpMessage moved = std::move(original);
    HttpMessage assigned(HttpHeaders{{"B", "2"}});
    EXPECT_EQ(entryLines(moved.getHeaders()), "A: 1\n");

    assigned = std::move(moved);

    EXPECT_EQ(entryLines(assigned.getHeaders()), "A: 1\n");
    EXPECT_FALSE(assigned.hasHeader("B"));
}

TEST(HttpMessage, IsEmptyAndUsableOnceMovedFrom) {
    HttpMessage message(HttpHeaders{{"A", "1"}, {"Content-Length", "1"}});
    const HttpMessage constructed = std::move(message);
    EXPECT_EQ(entryLines(message.getHeaders()), "");
    EXPECT_FALSE(message.hasHeader("A"));
    EXPECT_THAT([&] { message.getContentLength(); },
                ThrowsExactly<std::out_of_range>("Content-Length not found."));

    message.removeHeader("A");
    message.addHeader("B: 2");
    message.addHeaderValue("B", "3");
    message.setHeaderValue("b", "4");
    message.setContentLength("5");
    EXPECT_EQ(entryLines(message.getHeaders()), "B: 4\nB: 3\nContent-Length: 5\n");

    HttpMessage assigned(HttpHeaders{});
    assigned = std::move(message);
    EXPECT_EQ(entryLines(message.getHeaders()), "");
    message.setHeaders(HttpHeaders{{"C", "6"}});
    EXPECT_EQ(message.getHeaderValue("c"), "6");
}

}  // namespace
}  // namespace tavrin::httpclient_core
