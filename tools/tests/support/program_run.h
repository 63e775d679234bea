#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace tavrin::http_tool::testing {

/// What one run of the program is given.
struct ProgramSetting {
    std::string directory;                           ///< where it runs; "" for here
    std::map<std::string, std::string> environment;  ///< nothing else is in its environment
    std::string input;                               ///< its standard input
    bool closedOutput = false;                       ///< nobody reads its standard output
    bool closedStreams = false;                      ///< it has no standard descriptors at all
    bool noThreads = false;                          ///< it cannot start another thread
    long largestFile = -1;                           ///< bytes that a file may have; -1: no limit
};

/// The real program, running with the given arguments; its output is collected while it runs.
class ProgramRun {
public:
    explicit ProgramRun(const std::vector<std::string>& arguments,
                        const ProgramSetting& setting = {});
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;
    /// Ends the program if it still runs.
    ~ProgramRun();

    void signal(int number) const;

    /// Waits for the end and returns the exit code, or 1000 + the signal that ended it.
    int wait();

    /// What it wrote, once wait() has returned.
    const std::string& output() const { return output_; }
    const std::string& errors() const { return errors_; }

private:
    pid_t process_ = -1;
    int outputEnd_ = -1;
    int errorEnd_ = -1;
    std::string output_;
    std::string errors_;
};

}  // namespace tavrin::http_tool::testing
