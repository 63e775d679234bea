#include <gmock/gmock.h>

#include <cstddef>
#include <istream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/form_body.h"
#include "httpclient_core/media_types.h"
#include "support/grouping_locale.h"

namespace tavrin::httpclient_core {
namespace {

using test::GroupingLocale;

static_assert(!std::is_default_constructible_v<FormUrlEncoded>);
static_assert(std::is_constructible_v<FormUrlEncoded, NameValueCollection>);
static_assert(std::is_copy_constructible_v<FormUrlEncoded>);
static_assert(std::is_copy_assignable_v<FormUrlEncoded>);
static_assert(std::is_move_constructible_v<FormUrlEncoded>);
static_assert(std::is_move_assignable_v<FormUrlEncoded>);
static_assert(!std::is_polymorphic_v<FormUrlEncoded>);
static_assert(std::is_same_v<decltype(&FormUrlEncoded::contentLength),
                             std::size_t (FormUrlEncoded::*)() const>);
static_assert(std::is_same_v<decltype(&FormUrlEncoded::stream),
                             std::unique_ptr<std::istream> (FormUrlEncoded::*)() const>);

std::string rest(std::istream& stream) {
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string bodyOf(const FormUrlEncoded& form) { return rest(*form.stream()); }

TEST(FormUrlEncoded, EncodesNamesAndValuesInOrder) {
    const FormUrlEncoded form({{"name", "J Doe"}, {"note", "a&b=c"}});

    EXPECT_EQ(bodyOf(form), "name=J+Doe&note=a%26b%3Dc");
    EXPECT_EQ(form.contentLength(), 25u);
}

TEST(FormUrlEncoded, KeepsRepeatedNamesAndTheEqualsSignOfAnEmptyValue) {
    EXPECT_EQ(bodyOf(FormUrlEncoded({{"b", "1"}, {"flag", ""}, {"b", "2"}})), "b=1&flag=&b=2");
}

TEST(FormUrlEncoded, RefusesNoEmptyName) {
    EXPECT_EQ(bodyOf(FormUrlEncoded({{"", "a b"}})), "=a+b");
    EXPECT_EQ(bodyOf(FormUrlEncoded({{"", ""}})), "=");
}

TEST(FormUrlEncoded, WritesABlankAsAPlusSignInNamesToo) {
    EXPECT_EQ(bodyOf(FormUrlEncoded({{"full name", "a + b"}})), "full+name=a+%2B+b");
}

TEST(FormUrlEncoded, WithoutFieldsHasAnEmptyBody) {
    const FormUrlEncoded form(NameValueCollection{});

    EXPECT_EQ(form.contentLength(), 0u);
    const std::unique_ptr<std::istream> stream = form.stream();
    ASSERT_TRUE(stream);
    EXPECT_TRUE(stream->good());
    EXPECT_EQ(stream->get(), std::istream::traits_type::eof());
}

TEST(FormUrlEncoded, HasTheLengthInBytesOfItsBody) {
    for (const std::string value : {"", "a", " ", "\xC3\xA9", "a/b&c=d%"}) {
        const FormUrlEncoded form({{"field", value}, {"x", value}});
        EXPECT_EQ(form.contentLength(), bodyOf(form).size());
    }
    EXPECT_EQ(FormUrlEncoded({{"e", "\xC3\xA9"}}).contentLength(), 8u);
}

TEST(FormUrlEncoded, IsTheSameUnderAGlobalLocaleThatGroupsDigits) {
    const GroupingLocale locale;
    const FormUrlEncoded form({{"n", "12345/6789"}});

    EXPECT_EQ(bodyOf(form), "n=12345%2F6789");
    EXPECT_EQ(form.contentLength(), 14u);
}

TEST(FormUrlEncoded, HasABareMediaType) {
    const FormUrlEncoded form({{"a", "1"}});

    EXPECT_EQ(form.contentType(), ContentType("application/x-www-form-urlencoded", {}));
    EXPECT_EQ(form.contentType().toString(), "application/x-www-form-urlencoded");
    EXPECT_EQ(FormUrlEncoded(NameValueCollection{}).contentType(), form.contentType());
}

TEST(FormUrlEncoded, LeavesTheFieldsOfTheCallerAlone) {
    NameValueCollection fields = {{"a", "1"}};
    const FormUrlEncoded form(fields);

    fields.add("b", "2");

    EXPECT_EQ(fields.toString("&", "="), "a=1&b=2");
    EXPECT_EQ(bodyOf(form), "a=1");
}

TEST(FormUrlEncoded, GivesEveryCallerAStreamOfItsOwnAtTheStart) {
    const FormUrlEncoded form({{"name", "value"}});
    const std::unique_ptr<std::istream> one = form.stream();
    one->ignore(5);

    const std::unique_ptr<std::istream> other = form.stream();

    EXPECT_NE(one, other);
    EXPECT_EQ(other->tellg(), std::istream::pos_type(0));
    EXPECT_EQ(rest(*other), "name=value");
    EXPECT_EQ(rest(*one), "value");
}

TEST(FormUrlEncoded, GivesAStreamThatCanBeReadAgainFromTheStart) {
    const std::unique_ptr<std::istream> stream = FormUrlEncoded({{"a", "1"}}).stream();
    ASSERT_EQ(rest(*stream), "a=1");

    stream->clear();
    stream->seekg(0);

    EXPECT_EQ(rest(*stream), "a=1");
}

TEST(FormUrlEncoded, GivesAStreamThatOutlivesIt) {
    const std::string value(100, 'v');
    std::unique_ptr<std::istream> stream;
    {
        const FormUrlEncoded form({{"a", value}});
        stream = form.stream();
    }

    EXPECT_EQ(rest(*stream), "a=" + value);
}

TEST(FormUrlEncoded, CopiesAndMovesItsBody) {
    FormUrlEncoded form({{"a", "1"}});
    const FormUrlEncoded copy = form;
    const FormUrlEncoded moved = std::move(form);

    EXPECT_EQ(bodyOf(copy), "a=1");
    EXPECT_EQ(bodyOf(moved), "a=1");
    form = FormUrlEncoded({{"b", "2"}});
    EXPECT_EQ(bodyOf(form), "b=2");
}

TEST(FormUrlEncoded, IsReadFromSeveralThreadsAtOnce) {
    const FormUrlEncoded form({{"a", "1"}, {"b", "2"}});
    std::vector<std::string> seen(4);

    std::vector<std::thread> readers;
    for (std::string& text : seen) {
        readers.emplace_back([&form, &text] {
            text = bodyOf(form) + " " + form.contentType().toString() + " " +
                   std::to_string(form.contentLength());
        });
    }
    for (std::thread& reader : readers) reader.join();

    EXPECT_THAT(seen, ::testing::Each("a=1&b=2 application/x-www-form-urlencoded 7"));
}

}  // namespace
}  // namespace tavrin::httpclient_core
