#include "help_text.h"

namespace tavrin::http_tool {

const char* helpText() {
    return R"(tavrin-http - fetch URLs, and get them whole

Usage: tavrin-http [OPTION]... URL...

Fetches each URL to standard output, or to a file with -o or -O. A transfer that
fails on the way is tried again, and a file goes on where it broke off if the
server still has the same version of it. A file appears under its name only when
it is whole; until then it is called NAME.part. A URL without a scheme is taken
as http.

Where it goes
  -o, --output FILE         write to FILE; "-" is standard output. Give one per
                            URL, in the order of the URLs
  -O, --remote-name         name the file as the URL does, for URLs without -o
  -J, --remote-header-name  with -O: name it as the server does, if the server
                            does; an existing file is not replaced then
      --output-dir DIR      put files with relative names there
  -i, --include             write status and headers too, in front of the body
      --checksum ALG:HEX    keep the file only if its digest is this one; ALG is
                            sha256 or sha512. One per URL, as with -o

What is asked
  -X, --request METHOD      GET, HEAD, POST, PUT, PATCH or DELETE
  -I, --head                ask for status and headers alone
  -H, --header LINE         send "Name: value" too; "Name:" leaves out a header
                            that would be sent otherwise, "Name;" sends it empty
  -A, --user-agent TEXT     what to call ourselves; "" for nothing at all
  -u, --user NAME:PASSWORD  authenticate, with the Basic scheme
  -d, --data DATA           POST these form data; "@FILE" takes them from a
                            file, without its line breaks, "@-" from standard
                            input. Several are joined by "&"
      --data-binary DATA    the same, with line breaks left in
      --data-urlencode DATA the same, encoded for a form: "text", "name=text",
                            "@FILE" or "name@FILE"
      --json DATA           POST this JSON text; "@FILE" takes it from a file
  -F, --form NAME=VALUE     POST a multipart form; "NAME=@FILE" sends a file.
                            ";type=TYPE" at the end gives the media type

When it fails
      --retry N             try again up to N times (4): GET and HEAD after a
                            time limit, a broken connection, or a status of 408,
                            416, 429 or 500 to 599
      --retry-delay SECONDS wait this long before each further attempt. Without
                            it: not at all at first and after an attempt that
                            got on, else 2, 4, 8 seconds and so on, 2 minutes at
                            most; in either case as long as the server's
                            Retry-After asks for
      --retry-max-time SECONDS
                            begin no further attempt after that time
  -C, --continue            go on with a NAME.part that an earlier run left, if
                            the server still has that version; else start anew.
                            "-C -" means the same
      --no-resume           start anew after each failure; leave no NAME.part
  -f, --fail                a status of 400 or above is a failure: nothing is
                            written, and the exit code is 22

Limits (seconds may have a fraction; 0 means no limit)
  -m, --max-time SECONDS    most time for one URL, with all its attempts
      --connect-timeout SECONDS
                            most time to connect, TLS included (5)
      --response-timeout SECONDS
                            most time to wait for an answer to begin (30)
  -Y, --speed-limit BYTES   give up below that many bytes per second (1) ...
  -y, --speed-time SECONDS  ... for that long (30)
      --max-decoded BYTES   give up a body of which --compressed decodes more
                            (1073741824)
      --max-redirs N        follow at most N redirects (5)

The way there
  -L, --location            follow redirects. This is the default: a file is
                            what was asked for, wherever it is
      --no-location         take a redirect itself for the answer
  -x, --proxy URL           go through this proxy; "" for none
      --noproxy HOSTS       hosts to reach without a proxy, separated by commas
      --cacert FILE         trust the certificates in FILE and no others
      --compressed          ask for compressed content and decode it; what is
                            decoded starts anew after a failure
      --http1.1             speak HTTP/1.1 even where HTTP/2 is offered

Several URLs
  -Z, --parallel            fetch them at the same time
      --parallel-max N      no more than N of them (8)

What is said
  -s, --silent              nothing: no progress, no retries, no errors
  -S, --show-error          with -s: errors all the same
      --progress            show progress even if standard error is no terminal
      --no-progress         show none
  -v, --verbose             show the library's decisions and what answered
  -h, --help                this text
  -V, --version             the version

Environment
  http_proxy, https_proxy, HTTPS_PROXY, all_proxy, ALL_PROXY  proxy to use
  no_proxy, NO_PROXY                                          hosts without one

Exit codes
   0  every URL was fetched           35  TLS could not be agreed on
   1  neither http nor https          47  too many redirects
   2  the command line is wrong       52  the server did not answer
   3  the URL is malformed            55  sending failed
   5  proxy name not found            56  receiving failed
   6  host name not found             60  the certificate is not trusted
   7  no connection                   61  the content coding is broken
   8  the answer makes no sense       63  the answer is beyond a limit
  18  the body is not whole           77  the file of --cacert is of no use
  22  HTTP error, with --fail        100  a checksum differs
  23  it could not be written        130  interrupted (128 + signal number)
  26  a file to send could not be read
  28  a time limit was reached
With several URLs it is the code of the first one, in their order, that failed.

Examples
  tavrin-http -O https://example.com/big.iso
  tavrin-http -C --retry 20 -O https://example.com/big.iso
  tavrin-http -f --json '{"name": "x"}' https://example.com/api
  tavrin-http -Z -O https://example.com/1.ogg https://example.com/2.ogg
)";
}

}  // namespace tavrin::http_tool
