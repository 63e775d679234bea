#include "support/program_test.h"

namespace tavrin::http_tool::testing {

Outcome ProgramTest::run(const std::vector<std::string>& arguments, ProgramSetting setting) const {
    if (setting.directory.empty()) setting.directory = directory_.path();
    ProgramRun program(arguments, setting);
    Outcome outcome;
    outcome.code = program.wait();
    outcome.output = program.output();
    outcome.errors = program.errors();
    return outcome;
}

std::string ProgramTest::sent(std::size_t index, const std::string& header) const {
    return server_.requests().at(index).header(header).value_or("none");
}

}  // namespace tavrin::http_tool::testing
