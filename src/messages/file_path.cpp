#include "httpclient_core/file_path.h"

#include <boost/locale/encoding_utf.hpp>
#include <stdexcept>

namespace tavrin::httpclient_core {
namespace {

std::u16string fromUtf8(const std::string& utf8) {
    try {
        return boost::locale::conv::utf_to_utf<char16_t>(utf8, boost::locale::conv::stop);
    } catch (const boost::locale::conv::conversion_error&) {
        throw std::runtime_error("File path is not valid UTF-8.");
    }
}

}  // namespace

FilePath::FilePath(const std::string& utf8) : text_(fromUtf8(utf8)) {}

FilePath::FilePath(const char* utf8) : FilePath(std::string(utf8)) {}

bool FilePath::empty() const { return text_.empty(); }

std::string FilePath::toUtf8() const { return boost::locale::conv::utf_to_utf<char>(text_); }

std::u16string FilePath::toUtf16() const { return text_; }

bool FilePath::operator==(const FilePath& other) const { return text_ == other.text_; }

bool FilePath::operator<(const FilePath& other) const { return text_ < other.text_; }

}  // namespace tavrin::httpclient_core
