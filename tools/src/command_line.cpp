#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

#include "exit_code.h"
#include "failures.h"
#include "help_text.h"
#include "request_data.h"
#include "url_parts.h"

namespace tavrin::http_tool {
namespace {

using httpclient_core::HttpMethod;

CommandLineExit usage(const std::string& complaint) {
    return CommandLineExit(
        {static_cast<int>(ExitCode::USAGE),
         "tavrin-http: " + complaint + "\nTry \"tavrin-http --help\" for what can be asked.\n"});
}

CommandLineExit failure(ExitCode code, const ReadFailure& reason) {
    return CommandLineExit(
        {static_cast<int>(code), std::string("tavrin-http: ") + reason.what() + "\n"});
}

// Which of several ways to give a body was taken; they don't mix.
enum class BodyKind { NONE, DATA, JSON, FORM };

// Reads the command line in the order in which it stands, and keeps what is decided only when all
// of it is known.
class Reader {
public:
    explicit Reader(CommandLine& line) : line_(line) { declare(); }

    void read(int argc, const char* const* argv) {
        try {
            app_.parse(wordsOf(argc, argv));
        } catch (const CLI::CallForHelp&) {
            throw CommandLineExit({0, helpText()});
        } catch (const CLI::CallForVersion& version) {
            throw CommandLineExit({0, std::string(version.what()) + "\n"});
        } catch (const CLI::ExtrasError&) {
            throw usage("there is no option " + nameOf(app_.remaining().front()));
        } catch (const CLI::ParseError& error) {
            throw usage(error.what());
        } catch (const ReadFailure& error) {
            throw failure(ExitCode::NOT_READ, error);
        }
        settle();
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const CLI::Option* option : app_.get_options()) {
            for (const auto& name : option->get_snames()) names.push_back("-" + name);
            for (const auto& name : option->get_lnames()) names.push_back("--" + name);
        }
        return names;
    }

private:
    // The arguments in the order in which CLI11 wants them: the last one first. "--name=" becomes
    // two words; it would take the next argument for the option's value.
    std::vector<std::string> wordsOf(int argc, const char* const* argv) const {
        std::vector<std::string> words;
        bool areOptions = true;
        for (int i = 1; i < argc; ++i) {
            std::string word = argv[i];
            areOptions = areOptions && word != "--";
            if (areOptions && takesNothing(word)) {
                word.pop_back();
                words.insert(words.end(), {std::move(word), ""});
            } else {
                words.push_back(std::move(word));
            }
        }
        std::reverse(words.begin(), words.end());
        return words;
    }

    bool takesNothing(const std::string& word) const {
        if (word.rfind("--", 0) != 0 || word.back() != '=') return false;
        const CLI::Option* option = app_.get_option_no_throw(word.substr(0, word.size() - 1));
        return option && option->get_items_expected_max() > 0;
    }

    // What stands behind the name may be a secret: "--passwort=x", "-Uname:password".
    static std::string nameOf(const std::string& word) {
        return word.rfind("--", 0) == 0 ? word.substr(0, word.find('=')) : word.substr(0, 2);
    }

    using Handler = std::function<void(const std::string&)>;

    // An option that may be repeated and is handled where it stands.
    void each(const std::string& names, const Handler& handler) {
        app_.add_option_function<std::string>(names, handler)->trigger_on_parse();
    }

    template <typename Duration>
    void seconds(const std::string& names, Duration& target) {
        app_.add_option_function<std::string>(names, [names, &target](const std::string& text) {
            double value = -1;
            const char* end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data(), end, value);
            // Thirty years: more than anybody waits, and no clock overflows. "nan" is not in it.
            if (error != std::errc() || stop != end || !(value >= 0 && value <= 1e9)) {
                throw usage(names.substr(names.find("--")) +
                            " takes a number of seconds up to 1000000000, not \"" + text + "\"");
            }
            // 0 would be no limit.
            target = std::chrono::milliseconds(
                std::max<long long>(std::llround(value * 1000), value > 0 ? 1 : 0));
        });
    }

    void declare() {
        // So that an alias or a script can have its own, and its caller another.
        app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
        app_.set_help_flag("-h,--help");
        app_.set_version_flag("-V,--version", "tavrin-http " TAVRIN_HTTP_VERSION);
        app_.add_option("url", line_.urls);
        declareOutput();
        declareRequest();
        declareFailure();
        declareWay();
        declareTalk();
    }

    void declareOutput() {
        each("-o,--output", [this](const std::string& file) {
            // Where that is a file, it is written to as it stands, too, not replaced.
            line_.outputs.push_back(file == "/dev/stdout" ? "-" : file);
        });
        app_.add_flag("-O,--remote-name", line_.remoteName);
        app_.add_flag("-J,--remote-header-name", line_.remoteHeaderName);
        app_.add_option("--output-dir", line_.outputDirectory);
        app_.add_flag("-i,--include", line_.includeHead);
        each("--checksum", [this](const std::string& text) {
            try {
                line_.checksums.push_back(ExpectedChecksum::parse(text));
            } catch (const std::runtime_error& error) {
                throw usage(error.what());
            }
        });
    }

    void declareRequest() {
        app_.add_option("-X,--request", method_);
        app_.add_flag("-I,--head", head_);
        each("-H,--header", [this](const std::string& line) { addHeader(line); });
        app_.add_option("-A,--user-agent", line_.userAgent);
        app_.add_option("-u,--user", user_);
        each("-d,--data",
             [this](const std::string& data) { addData(textFrom(data), BodyKind::DATA); });
        each("--data-binary",
             [this](const std::string& data) { addData(dataFrom(data), BodyKind::DATA); });
        each("--data-urlencode",
             [this](const std::string& data) { addData(urlEncodedData(data), BodyKind::DATA); });
        each("--json",
             [this](const std::string& data) { addData(dataFrom(data), BodyKind::JSON); });
        each("-F,--form", [this](const std::string& field) {
            setBodyKind(BodyKind::FORM);
            try {
                line_.form.push_back(formField(field));
            } catch (const std::invalid_argument& error) {
                throw usage(error.what());
            }
        });
    }

    void declareFailure() {
        app_.add_option("--retry", line_.retries)->check(CLI::Range(0, 1000000000));
        seconds("--retry-delay", line_.retryDelay);
        seconds("--retry-max-time", line_.retryMaxTime);
        app_.add_flag("-C,--continue", line_.continueEarlier);
        app_.add_flag("--no-resume", noResume_);
        app_.add_flag("-f,--fail", line_.failOnHttpError);
        seconds("-m,--max-time", line_.maxTime);
        seconds("--connect-timeout", line_.connectTimeout);
        seconds("--response-timeout", line_.responseTimeout);
        app_.add_option("-Y,--speed-limit", line_.speedLimit)
            ->check(CLI::Range(std::int64_t{0}, std::int64_t{1} << 40));
        seconds("-y,--speed-time", line_.speedTime);
        app_.add_option("--max-decoded", line_.maxDecoded)
            ->check(CLI::Range(std::int64_t{0}, std::numeric_limits<std::int64_t>::max()));
        app_.add_option("--max-redirs", line_.maxRedirects)->check(CLI::Range(0, 1000000));
    }

    void declareWay() {
        const auto follow = app_.add_flag("-L,--location");
        app_.add_flag("--no-location", noLocation_)->excludes(follow);
        app_.add_option("-x,--proxy", line_.proxy);
        app_.add_option("--noproxy", line_.noProxy);
        app_.add_option_function<std::string>("--cacert", [this](const std::string& file) {
            try {
                // An empty path would stand for the system's certificates.
                if (file.empty()) throw ReadFailure("the name of the certificate file is empty");
                line_.certificateFile = pathOf(file);
            } catch (const ReadFailure& error) {
                throw failure(ExitCode::CERTIFICATE_FILE, error);
            }
        });
        app_.add_flag("--compressed", line_.compressed);
        app_.add_flag("--http1.1", line_.onlyHttp1);
        app_.add_flag("-Z,--parallel", line_.parallel);
        app_.add_option("--parallel-max", line_.parallelMax)->check(CLI::Range(1, 1000));
    }

    void declareTalk() {
        app_.add_flag("-s,--silent", line_.silent);
        app_.add_flag("-S,--show-error", line_.showError);
        app_.add_flag("-v,--verbose", line_.verbose);
        const auto progress =
            app_.add_flag_callback("--progress", [this] { line_.progress = true; });
        app_.add_flag_callback("--no-progress", [this] { line_.progress = false; })
            ->excludes(progress);
    }

    void addHeader(const std::string& line) {
        const auto mark = line.find_first_of(":;");
        const std::string name = line.substr(0, mark);
        // RFC 9110, 5.6.2: what a name may consist of.
        const bool isToken =
            !name.empty() && name.find_first_not_of(
                                 "!#$%&'*+-.^_`|~0123456789abcdefghijklmnopqrstuvwxyz"
                                 "ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos;
        // The value may be a secret, and without a name all of it may be: it is not repeated.
        if (mark == std::string::npos || !isToken) throw usage("a header is \"Name: value\"");
        if (line.find_first_of("\r\n") != std::string::npos ||
            (line[mark] == ';' && mark + 1 != line.size())) {
            throw usage("a header is \"Name: value\", which what is given for " + name + " is not");
        }
        const auto value = line.find_first_not_of(" \t", mark + 1);
        if (value != std::string::npos) {
            line_.headers.addHeader(line);
        } else if (line[mark] == ';') {
            line_.headers.addHeaderValue(name, "");
        } else {
            leftOut_.addHeaderValue(name, "");
        }
    }

    void setBodyKind(BodyKind kind) {
        if (bodyKind_ != BodyKind::NONE && bodyKind_ != kind) {
            throw usage("--data, --json and --form exclude one another");
        }
        bodyKind_ = kind;
    }

    void addData(const std::string& data, BodyKind kind) {
        setBodyKind(kind);
        if (!line_.body) {
            line_.body = data;
        } else {
            *line_.body += (kind == BodyKind::DATA ? "&" : "") + data;
        }
    }

    // Sends a header that neither -H gave nor took away.
    void setDefaultHeader(const std::string& name, const std::string& value) {
        if (!line_.headers.hasHeader(name) && !leftOut_.hasHeader(name)) {
            line_.headers.addHeaderValue(name, value);
        }
    }

    void settle() {
        settleRequest();
        line_.resume = !noResume_;
        line_.followRedirects = !noLocation_;
        if (line_.continueEarlier) dropOffset();
        if (line_.urls.empty()) throw usage("a URL is missing");
        for (auto& url : line_.urls) {
            if (url.empty() || url == "-") throw usage("\"" + url + "\" is no URL");
            url = withScheme(url);
        }
        settleOutput();
    }

    // Whoever is used to say "-C -", to have the offset found, may go on to.
    void dropOffset() {
        const auto offset = std::find(line_.urls.begin(), line_.urls.end(), "-");
        if (offset != line_.urls.end()) line_.urls.erase(offset);
    }

    void settleRequest() {
        if (bodyKind_ != BodyKind::NONE) line_.method = HttpMethod::POST;
        if (head_) {
            if (bodyKind_ != BodyKind::NONE) throw usage("--head sends no data");
            line_.method = HttpMethod::HEAD;
        }
        if (!method_.empty()) settleMethod();
        if (bodyKind_ == BodyKind::DATA) {
            setDefaultHeader("Content-Type", "application/x-www-form-urlencoded");
        } else if (bodyKind_ == BodyKind::JSON) {
            setDefaultHeader("Content-Type", "application/json");
            setDefaultHeader("Accept", "application/json");
        }
        if (user_) {
            if (user_->find(':') == std::string::npos) throw usage("--user is NAME:PASSWORD");
            setDefaultHeader("Authorization", basicAuthorization(*user_));
        }
        if (leftOut_.hasHeader("User-Agent")) line_.userAgent = "";
    }

    void settleMethod() {
        try {
            line_.method = httpclient_core::createHttpMethod(method_);
        } catch (const std::out_of_range&) {
            throw usage("\"" + method_ +
                        "\" is no method that can be asked for: GET, HEAD, POST, PUT, PATCH and "
                        "DELETE are");
        }
        if (line_.method == HttpMethod::HEAD && bodyKind_ != BodyKind::NONE) {
            throw usage("HEAD sends no data");
        }
        if (head_ && line_.method != HttpMethod::HEAD) {
            throw usage("--head and --request " + method_ + " contradict each other");
        }
    }

    void settleOutput() const {
        if (line_.outputs.size() > line_.urls.size()) throw usage("there are more -o than URLs");
        if (line_.checksums.size() > line_.urls.size()) {
            throw usage("there are more --checksum than URLs");
        }
        if (line_.remoteHeaderName && !line_.remoteName) throw usage("-J needs -O");
        if (line_.continueEarlier) settleContinue();
        if (line_.parallel && bodiesToStandardOutput() > 1) {
            throw usage(
                "several bodies at a time would be mixed up on standard output; give -o or -O");
        }
        if (!line_.checksums.empty() && (line_.includeHead || line_.method == HttpMethod::HEAD)) {
            throw usage("a checksum is one of a body alone");
        }
        if (std::count(line_.outputs.begin(), line_.outputs.end(), "") > 0) {
            throw usage("the name of an output file is empty");
        }
    }

    std::size_t bodiesToStandardOutput() const {
        const auto named = std::count(line_.outputs.begin(), line_.outputs.end(), "-");
        const auto unnamed = line_.remoteName ? 0 : line_.urls.size() - line_.outputs.size();
        return static_cast<std::size_t>(named) + unnamed;
    }

    void settleContinue() const {
        if (noResume_) throw usage("--continue and --no-resume contradict each other");
        if (line_.includeHead) throw usage("--continue and --include exclude each other");
        if (line_.method != HttpMethod::GET) throw usage("only what GET fetches can be continued");
        if (line_.headers.hasHeader("Range")) {
            throw usage("--continue and a Range of your own exclude each other");
        }
    }

    CommandLine& line_;
    CLI::App app_;
    std::string method_;
    bool head_ = false;
    bool noResume_ = false;
    bool noLocation_ = false;
    std::optional<std::string> user_;
    BodyKind bodyKind_ = BodyKind::NONE;
    httpclient_core::HttpHeaders leftOut_;
};

}  // namespace

CommandLine parseCommandLine(int argc, const char* const* argv) {
    CommandLine line;
    line.userAgent = "tavrin-http/" TAVRIN_HTTP_VERSION;
    Reader(line).read(argc, argv);
    return line;
}

std::vector<std::string> optionNames() {
    CommandLine line;
    return Reader(line).names();
}

}  // namespace tavrin::http_tool
