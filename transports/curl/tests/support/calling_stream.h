#pragma once

#include <functional>
#include <ios>
#include <istream>
#include <sstream>
#include <string>
#include <utility>

#include "support/owning_stream.h"

namespace tavrin::httpclient_curl::test {

// A body that calls whenever it is read from or written to.
class CallingBody : public std::stringbuf {
public:
    CallingBody(const std::string& text, std::function<void()> call)
        : std::stringbuf(text), call_(std::move(call)) {}

protected:
    std::streamsize xsgetn(char* to, std::streamsize size) override {
        call_();
        return std::stringbuf::xsgetn(to, size);
    }
    std::streamsize xsputn(const char* from, std::streamsize size) override {
        call_();
        return std::stringbuf::xsputn(from, size);
    }

private:
    std::function<void()> call_;
};

using CallingStream = httpclient_core::test::OwningStream<std::iostream, CallingBody>;

}  // namespace tavrin::httpclient_curl::test
