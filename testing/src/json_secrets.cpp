#include "json_secrets.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "decoded_text.h"
#include "text_secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr char BLANKS[] = " \t\r\n";
constexpr char WORD_ENDS[] = " \t\r\n{}[]:,\"";

// Reads what parsers would refuse as well: a body may be cut off, and is blanked none the less.
class JsonScanner {
public:
    JsonScanner(std::string_view json, const SecretNames& names) : json_(json), names_(names) {}

    Secrets scan() {
        while ((at_ = json_.find_first_not_of(BLANKS, at_)) != std::string_view::npos) {
            switch (json_[at_]) {
                case '{':
                case '[':
                    enter();
                    break;
                case '}':
                case ']':
                    leave();
                    break;
                case '"':
                    readText();
                    break;
                case ':':
                case ',':
                    ++at_;
                    break;
                default:
                    readWord();
            }
        }
        return std::move(found_);
    }

private:
    void enter() {
        ++depth_;
        if (isNext_ && !secretDepth_) secretDepth_ = depth_;
        isNext_ = false;
        ++at_;
    }

    void leave() {
        if (secretDepth_ == depth_) secretDepth_.reset();
        --depth_;
        ++at_;
    }

    void readText() {
        const std::size_t begin = at_ + 1;
        std::size_t end = begin;
        while (end < json_.size() && json_[end] != '"') end += json_[end] == '\\' ? 2 : 1;
        end = std::min(end, json_.size());
        at_ = std::min(end + 1, json_.size());
        const DecodedText text = jsonDecoded(json_.substr(begin, end - begin));
        if (isName(text.text)) return;
        if (takesValue()) {
            add(found_, begin, end);
        } else {
            addAll(found_, text.original(secretsInText(text.text, names_)), begin);
        }
    }

    // A number, true, false, null, or what is none of JSON's.
    void readWord() {
        const std::size_t begin = at_;
        at_ = std::min(json_.find_first_of(WORD_ENDS, begin), json_.size());
        const std::string word(json_.substr(begin, at_ - begin));
        if (isName(word) || !takesValue()) return;
        if (word == "true" || word == "false" || word == "null") return;
        const bool isNumber = word.find_first_not_of("0123456789+-.eE") == std::string::npos;
        found_.push_back({begin, at_, isNumber});
    }

    // Whether a colon follows; then the value to come is what the name says.
    bool isName(const std::string& text) {
        const std::size_t next = json_.find_first_not_of(BLANKS, at_);
        if (next == std::string_view::npos || json_[next] != ':') return false;
        isNext_ = names_.isParameter(text);
        at_ = next + 1;
        return true;
    }

    bool takesValue() { return std::exchange(isNext_, false) || secretDepth_; }

    const std::string_view json_;
    const SecretNames& names_;
    std::size_t at_ = 0;
    std::size_t depth_ = 0;
    bool isNext_ = false;
    std::optional<std::size_t> secretDepth_;  // at which everything is a credential
    Secrets found_;
};

}  // namespace

Secrets secretsInJson(std::string_view json, const SecretNames& names) {
    return JsonScanner(json, names).scan();
}

}  // namespace tavrin::httpclient_testing::detail
