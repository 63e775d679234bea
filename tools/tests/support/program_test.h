#pragma once

#include <gtest/gtest.h>
#include <httpclient_testing/fault_server.h>

#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/temporary_directory.h"

namespace tavrin::http_tool::testing {

/// What one run of the program came to.
struct Outcome {
    int code = -1;
    std::string output;
    std::string errors;
};

/// Runs the real program in a directory of its own against a server that fails as it is told.
class ProgramTest : public ::testing::Test {
protected:
    ProgramTest() : ProgramTest(httpclient_testing::FaultServerOptions()) {}
    explicit ProgramTest(httpclient_testing::FaultServerOptions options)
        : server_(std::move(options)) {}

    /// Runs it in the directory and waits for its end.
    Outcome run(const std::vector<std::string>& arguments, ProgramSetting setting = {}) const;

    /// Content of a file in the directory.
    std::string file(const std::string& name) const {
        return httpclient_core::test::readFile(directory_.file(name));
    }

    /// The first header line of that name in the `index`-th request, or "none".
    std::string sent(std::size_t index, const std::string& header) const;

    httpclient_core::test::TemporaryDirectory directory_;
    httpclient_testing::FaultServer server_;
};

}  // namespace tavrin::http_tool::testing
