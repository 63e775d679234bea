#pragma once

#include <string>
#include <utility>
#include <vector>

/// A part as it stands in a request: its header fields and its content.
struct ReadPart {
    std::vector<std::pair<std::string, std::string>> fields;
    std::string content;
};

bool operator==(const ReadPart& a, const ReadPart& b);

/// The parts of a request with a multipart/form-data body, read as a server does that knows of the
/// rules alone. Checks that nothing else is there: no other bytes before, between and behind them,
/// and as many as the request announces.
std::vector<ReadPart> readParts(const std::string& request);
