#pragma once

#include <string>

namespace tavrin::httpclient_core::test {

/// The entries of a collection, header set or parameter set as one text, "name: value\n" each, so
/// that a test compares all of it at once.
template <typename Entries>
std::string entryLines(const Entries& entries) {
    std::string lines;
    for (const auto& [name, value] : entries) lines += name + ": " + value + "\n";
    return lines;
}

}  // namespace tavrin::httpclient_core::test
