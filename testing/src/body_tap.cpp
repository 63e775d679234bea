#include "body_tap.h"

#include <algorithm>
#include <istream>
#include <streambuf>
#include <utility>

namespace tavrin::httpclient_testing::detail {

using httpclient_core::HttpHeaders;
using httpclient_core::HttpRequest;
using httpclient_core::HttpResponseCode;
using httpclient_core::ResponseStreamFactory;

// Holds no bytes back: positions and failures are those of the buffer behind it at any moment.
class BodyTap::Buffer : public std::streambuf {
public:
    Buffer(std::streambuf& target, std::shared_ptr<BodyTap> tap)
        : target_(target), tap_(std::move(tap)) {}

protected:
    int_type overflow(int_type byte) override {
        if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
        const char character = traits_type::to_char_type(byte);
        const int_type result = target_.sputc(character);
        if (!traits_type::eq_int_type(result, traits_type::eof())) tap_->written_ += character;
        return result;
    }

    std::streamsize xsputn(const char* data, std::streamsize size) override {
        const std::streamsize written = target_.sputn(data, size);
        tap_->written_.append(data, static_cast<std::size_t>(written));
        return written;
    }

    int_type underflow() override { return target_.sgetc(); }
    int_type uflow() override { return target_.sbumpc(); }
    std::streamsize xsgetn(char* data, std::streamsize size) override {
        return target_.sgetn(data, size);
    }
    std::streamsize showmanyc() override { return target_.in_avail(); }
    int_type pbackfail(int_type byte) override {
        if (traits_type::eq_int_type(byte, traits_type::eof())) return target_.sungetc();
        return target_.sputbackc(traits_type::to_char_type(byte));
    }

    pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode which) override {
        return target_.pubseekoff(offset, from, which);
    }
    // Going back before anything was written drops what an earlier attempt left.
    pos_type seekpos(pos_type position, std::ios::openmode which) override {
        if ((which & std::ios::out) && tap_->written_.empty()) {
            const off_type dropped = target_.pubseekoff(0, std::ios::cur, std::ios::out) - position;
            if (dropped > 0) tap_->drop(static_cast<std::size_t>(dropped));
        }
        return target_.pubseekpos(position, which);
    }
    int sync() override { return target_.pubsync(); }
    void imbue(const std::locale& locale) override { target_.pubimbue(locale); }

private:
    std::streambuf& target_;
    const std::shared_ptr<BodyTap> tap_;
};

class BodyTap::Stream : public std::iostream {
public:
    Stream(std::unique_ptr<std::iostream> original, std::shared_ptr<BodyTap> tap)
        : std::iostream(nullptr),
          original_(std::move(original)),
          buffer_(*original_->rdbuf(), std::move(tap)) {
        rdbuf(&buffer_);
        clear(original_->rdstate());
        exceptions(original_->exceptions());
    }

private:
    const std::unique_ptr<std::iostream> original_;
    Buffer buffer_;
};

struct BodyTap::TappedFactory {
    ResponseStreamFactory original;
    std::shared_ptr<BodyTap> tap;

    std::unique_ptr<std::iostream> operator()(HttpResponseCode code, const std::string& reason,
                                              const HttpHeaders& headers) const {
        std::unique_ptr<std::iostream> stream = original(code, reason, headers);
        tap->written_.clear();
        tap->before_.clear();
        tap->fresh_ = std::exchange(tap->made_, true);
        tap->head_ = Head{code, reason, headers};
        // Nothing can be written to a stream without a buffer, or to none.
        if (!stream || !stream->rdbuf()) return stream;
        return std::make_unique<Stream>(std::move(stream), tap);
    }
};

std::shared_ptr<BodyTap> BodyTap::installIn(HttpRequest& request) {
    auto tap = std::make_shared<BodyTap>();
    request.setResponseStreamFactory(TappedFactory{request.getResponseStreamFactory(), tap});
    return tap;
}

std::shared_ptr<BodyTap> BodyTap::of(const HttpRequest& request) {
    const ResponseStreamFactory factory = request.getResponseStreamFactory();
    const auto* tapped = factory.target<TappedFactory>();
    return tapped ? tapped->tap : nullptr;
}

void BodyTap::beginAttempt() {
    before_ += written_;
    written_.clear();
    head_.reset();
    fresh_ = false;
}

void BodyTap::drop(std::size_t bytes) {
    before_.resize(before_.size() - std::min(bytes, before_.size()));
    fresh_ = true;
}

}  // namespace tavrin::httpclient_testing::detail
