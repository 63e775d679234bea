#include "support/fault_chooser.h"

namespace tavrin::httpclient_core::test {

std::uint64_t FaultChooser::below(std::uint64_t limit) { return random_() % limit; }

bool FaultChooser::oneIn(std::uint64_t count) { return below(count) == 0; }

std::string FaultChooser::downloadFault(std::uint64_t size, bool mayLeaveBytes) {
    const std::uint64_t page = mayLeaveBytes ? below(9000) : below(size + 1);
    const std::string body = ":b" + std::to_string(page);
    switch (below(31)) {
        case 0:
            return "rst" + at(size);
        case 1:
            return "fin" + at(size);
        case 2:
            return "hrst" + at(300);
        case 3:
            return "hfin" + at(300);
        case 4:
            return "503:ar" + body;
        case 5:
            return "404:ar" + body;
        case 6:
            return "416" + body;
        case 7:
            return "noresp";
        case 8:
            return "noresp:rst";
        case 9:
            return "accept_rst";
        case 10:
            return "ignorerange+fin" + at(size);
        case 11:
            return "change+fin" + at(size);
        case 12:
            return "change:" + grown(mayLeaveBytes) + "+rst" + at(size);
        case 13:
            return "noar206+fin" + at(size);
        case 14:
            return "ifrangedrop+fin" + at(size);
        case 15:
            return "wrongrange:" + sign() + std::to_string(1 + below(4096));
        case 16:
            return "lietotal:" + sign() + std::to_string(1 + below(9));
        case 17:
            return "nocr";
        case 18:
            return "multirange";
        case 19:
            return "shortrange:" + std::to_string(1 + below(size + 1));
        case 20:
            return "tchunk" + at(size);
        case 21:
            return "badchunk" + at(size);
        case 22:
            return "weaketag+nolm+fin" + at(size);
        case 23:
            return "302:loop";
        case 24:
            return "change+ifrangeignore+fin" + at(size);
        case 25:
            return "interim:2+trailers+badchunk" + at(size);
        case 26:
            return "silentclose";
        case 27:
            return "recentlm+noetag+rst" + at(size);
        case 28:
            return "finnext";
        case 29:
            return oneIn(2) ? "clmore" : "garbage";
        default:
            return "rstnext";
    }
}

std::string FaultChooser::uploadFault(std::uint64_t size) {
    switch (below(16)) {
        case 0:
            return "urst" + at(size);
        case 1:
            return "ufin" + at(size);
        case 2:
            return "503";
        case 3:
            return "early" + at(size) + ":413";
        case 4:
            return "early" + at(size) + ":413:rst";
        case 5:
            return "rstnext";
        case 6:
            return "finnext";
        case 7:
            return "silentclose";
        case 8:
            return "noresp";
        case 9:
            return "noresp:rst";
        case 10:
            return "hfin" + at(100);
        case 11:
            return "hrst" + at(100);
        case 12:
            return "accept_rst";
        case 13:
            return "rst" + at(64);
        case 14:
            return "fin" + at(64);
        default:
            return "307:loop";
    }
}

std::string FaultChooser::downloadStall(std::uint64_t size) {
    switch (below(4)) {
        case 0:
            return "refused:20";
        case 1:
            return "stall" + at(size);
        case 2:
            return "mute";
        default:
            return "hstall" + at(200);
    }
}

std::string FaultChooser::uploadStall(std::uint64_t size) { return "ustall" + at(size); }

std::string FaultChooser::at(std::uint64_t size) { return "@" + std::to_string(below(size + 1)); }

std::string FaultChooser::sign() { return oneIn(2) ? "+" : "-"; }

std::string FaultChooser::grown(bool mayShrink) {
    return (mayShrink ? sign() : "+") + std::to_string(1 + below(200));
}

}  // namespace tavrin::httpclient_core::test
