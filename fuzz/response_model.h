#pragma once

#include <string>

/// What a client must make of an answer, as far as the answer is plain enough for a few lines to
/// tell.
struct ModelledResponse {
    enum Verdict { GOOD, CUT_OFF, NO_OPINION };

    Verdict verdict = NO_OPINION;
    int code = 0;
    std::string reason;
    std::string headers;  ///< "Name: value\n" for each
    std::string body;
};

/// How the answer was asked for.
struct AskedFor {
    bool head = false;
    bool decoded = false;
    bool followed = false;
};

/// What stands on a connection that was closed behind `bytes`. Whatever leaves room for two views
/// is left to the client.
ModelledResponse modelOf(const std::string& bytes, const AskedFor& asked);
