#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace tavrin::httpclient_curl::detail {

// A URL with one of the schemes http and https, parsed once and handed to libcurl in that form.
// User and password stand apart: they belong to the origin that the application named and to no
// other.
class RequestUrl {
public:
    // Throws HttpRequestFailedException for what is no such URL.
    static RequestUrl parse(const std::string& text);

    // Where a redirect from here leads. Throws HttpRequestFailedException for a location that is no
    // http or https URL; user and password of the location are dropped, and those of this URL are
    // kept at the same origin only.
    RequestUrl resolve(const std::string& location) const;

    CURLU* handle() const { return handle_.get(); }
    const std::string& user() const { return user_; }
    const std::string& password() const { return password_; }
    bool hasCredentials() const { return hasCredentials_; }
    bool isSecure() const { return secure_; }
    bool sameOrigin(const RequestUrl& other) const {
        return secure_ == other.secure_ && host_ == other.host_;
    }

    // Host and port, as failures name it.
    const std::string& host() const { return host_; }

    // Without user and password.
    std::string text() const;

    // What an entity tag tells versions of: the URL up to its query, which often does no more than
    // to sign the path for a while.
    std::string resource() const;

private:
    struct Free {
        void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
    };
    using Handle = std::unique_ptr<CURLU, Free>;

    explicit RequestUrl(Handle handle);

    Handle handle_;
    std::string host_;
    std::string user_;
    std::string password_;
    bool hasCredentials_ = false;
    bool secure_ = false;
};

}  // namespace tavrin::httpclient_curl::detail
