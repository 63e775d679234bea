#include "text_secrets.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ascii.h"
#include "header_line.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr char BLANKS[] = " \t\r\n";
// What ends an authority, or a value without quotes, in a text around it.
constexpr char AUTHORITY_ENDS[] = " \t\r\n\"'<>\\/?#";
constexpr char VALUE_ENDS[] = " \t\r\n\"'<>&";
constexpr char MEMBER_ENDS[] = " \t\r\n\"'<>&,]}";

bool isOneOf(std::string_view characters, char character) {
    return characters.find(character) != std::string_view::npos;
}

bool isNameByte(char character) {
    return isLetterOrDigit(character) || isOneOf("_-.~%[]$", character) ||
           static_cast<unsigned char>(character) >= 0x80;
}

bool isTokenByte(char character) {
    return isLetterOrDigit(character) || isOneOf("-._~+/", character);
}

// Goes from one character that may stand behind a credential, or behind its name, to the next.
class TextScanner {
public:
    TextScanner(std::string_view text, const SecretNames& names) : text_(text), names_(names) {}

    Secrets scan() {
        findUserInformation();
        const Secrets users = found_;
        auto user = users.begin();
        while ((at_ = text_.find_first_of("=:>", at_)) != std::string_view::npos) {
            while (user != users.end() && user->end <= at_) ++user;
            const bool isInside = user != users.end() && user->begin <= at_;
            const std::size_t separator = at_++;
            if (!isInside) findValue(separator);
        }
        for (const char* const scheme : {"basic", "bearer", "negotiate", "ntlm"}) {
            findBehindScheme(scheme);
        }
        return std::move(found_);
    }

private:
    struct Name {
        std::string_view text;
        std::size_t begin;
        bool isQuoted;
        bool isApart;  // blanks follow it
    };

    void findUserInformation() {
        std::size_t begin = 0;
        for (std::size_t at = 0; at < text_.size(); ++at) {
            if (isOneOf(AUTHORITY_ENDS, text_[at])) begin = at + 1;
            const bool isAuthority = begin >= 2 && text_.substr(begin - 2, 2) == "//";
            if (text_[at] == '@' && isAuthority) add(found_, begin, at);
        }
    }

    Name nameBefore(std::size_t separator) const {
        std::size_t end = separator;
        while (end > 0 && isOneOf(BLANKS, text_[end - 1])) --end;
        Name name{{}, 0, false, end < separator};
        if (end > 0 && isOneOf("\"'", text_[end - 1])) {
            name.isQuoted = true;
            --end;
            if (end > 0 && text_[end - 1] == '\\') --end;
        }
        name.begin = end;
        while (name.begin > 0 && isNameByte(text_[name.begin - 1])) --name.begin;
        name.text = text_.substr(name.begin, end - name.begin);
        return name;
    }

    bool isSecret(const Name& name, char separator) const {
        if (name.text.empty()) return false;
        const bool isCertain = name.isQuoted || (separator == '=' && !name.isApart);
        return isCertain ? names_.isParameter(name.text) : names_.isUnmistakable(name.text);
    }

    // The element's name without its prefix, if a tag that opens one ends there.
    std::string_view elementBefore(std::size_t tagEnd) const {
        const auto open = text_.substr(0, tagEnd).find_last_of("<>");
        if (open == std::string_view::npos || text_[open] != '<') return {};
        const std::string_view tag = text_.substr(open + 1, tagEnd - open - 1);
        if (tag.empty() || tag.front() == '/' || tag.back() == '/') return {};
        const std::string_view name = tag.substr(0, tag.find_first_of(BLANKS));
        return name.substr(name.rfind(':') + 1);
    }

    void findContent(std::size_t tagEnd) {
        if (!names_.isElement(elementBefore(tagEnd))) return;
        static constexpr std::string_view LITERAL = "<![CDATA[";
        const std::size_t begin = tagEnd + 1;
        const bool isLiteral = text_.substr(begin, LITERAL.size()) == LITERAL;
        if (isLiteral) return take(begin + LITERAL.size(), text_.find("]]>", begin));
        take(begin, text_.find('<', begin));
    }

    void findValue(std::size_t separator) {
        if (text_[separator] == '>') return findContent(separator);
        const Name name = nameBefore(separator);
        if (!isSecret(name, text_[separator])) return;
        std::size_t begin = text_.find_first_not_of(BLANKS, separator + 1);
        if (begin == std::string_view::npos) return;
        if (text_[separator] == ':' && !name.isQuoted) {
            return take(begin, text_.find_first_of("\r\n", begin));
        }
        if (text_[begin] == '\\' && begin + 1 < text_.size()) return takeQuoted(begin + 2, "\\\"");
        if (isOneOf("\"'", text_[begin])) return takeQuoted(begin + 1, text_.substr(begin, 1));
        take(begin, text_.find_first_of(name.isQuoted ? MEMBER_ENDS : VALUE_ENDS, begin));
    }

    // Up to a quote that is no escaped one.
    void takeQuoted(std::size_t begin, std::string_view quote) {
        std::size_t end = text_.find(quote, begin);
        while (end != std::string_view::npos && quote.size() == 1 && text_[end - 1] == '\\') {
            end = text_.find(quote, end + 1);
        }
        take(begin, end);
    }

    void take(std::size_t begin, std::size_t end) {
        end = std::min(end, text_.size());
        add(found_, begin, end);
        at_ = std::max(at_, end);
    }

    void findBehindScheme(std::string_view scheme) {
        for (std::size_t at = 0; at + scheme.size() + 1 < text_.size(); ++at) {
            const bool isWord = at == 0 || !isLetterOrDigit(text_[at - 1]);
            if (!isWord || !sameName(text_.substr(at, scheme.size()), scheme)) continue;
            const std::size_t begin = at + scheme.size();
            if (text_[begin] == ' ') takeToken(text_.find_first_not_of(' ', begin));
        }
    }

    // "realm=..." is no token but a parameter.
    void takeToken(std::size_t begin) {
        if (begin == std::string_view::npos) return;
        std::size_t end = begin;
        while (end < text_.size() && isTokenByte(text_[end])) ++end;
        if (end == begin) return;
        while (end < text_.size() && text_[end] == '=') ++end;
        const bool isParameter = text_[end - 1] == '=' && end < text_.size() &&
                                 !isOneOf(BLANKS, text_[end]) && !isOneOf(",;)", text_[end]);
        if (!isParameter) add(found_, begin, end);
    }

    const std::string_view text_;
    const SecretNames& names_;
    std::size_t at_ = 0;
    Secrets found_;
};

}  // namespace

Secrets secretsInText(std::string_view text, const SecretNames& names) {
    return TextScanner(text, names).scan();
}

Secrets secretsInBareAuthority(std::string_view text) {
    static const std::vector<std::string_view> ADDRESSES{"acct", "mailto", "sip", "sips", "xmpp"};
    const auto end = std::min(text.find_first_of("/?#"), text.size());
    const auto at = text.substr(0, end).rfind('@');
    if (at == std::string_view::npos) return {};
    const auto colon = text.substr(0, at).find(':');
    const bool isAddress = std::any_of(ADDRESSES.begin(), ADDRESSES.end(), [&](auto scheme) {
        return sameName(scheme, text.substr(0, colon));
    });
    Secrets found;
    if (colon != std::string_view::npos && !isAddress) add(found, 0, at);
    return found;
}

}  // namespace tavrin::httpclient_testing::detail
