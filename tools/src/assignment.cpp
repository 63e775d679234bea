#include "assignment.h"

#include <filesystem>
#include <set>

#include "failures.h"
#include "safe_file_name.h"
#include "url_parts.h"

namespace tavrin::http_tool {
namespace {

namespace filesystem = std::filesystem;

std::string outputOf(const CommandLine& line, std::size_t index) {
    std::string output = "-";
    if (index < line.outputs.size()) {
        output = line.outputs[index];
    } else if (line.remoteName) {
        output = nameFromUrl(line.urls[index]);
        if (output.empty()) {
            throw WriteFailure(withoutCredentials(line.urls[index]) +
                               " names no file; say with -o how to call it");
        }
    }
    if (output == "-" || line.outputDirectory.empty()) return output;
    // An absolute name stands for itself.
    return (filesystem::path(line.outputDirectory) / output).string();
}

}  // namespace

std::vector<Assignment> assignmentsFor(const CommandLine& line) {
    std::vector<Assignment> assignments;
    std::set<filesystem::path> files;
    for (std::size_t i = 0; i < line.urls.size(); ++i) {
        Assignment assignment;
        assignment.url = line.urls[i];
        assignment.output = outputOf(line, i);
        if (i < line.checksums.size()) assignment.checksum = line.checksums[i];
        const filesystem::path path(assignment.output);
        assignment.label = assignment.output == "-" ? withoutCredentials(assignment.url)
                                                    : path.filename().string();
        // Several may follow one another to a device.
        const bool isFile = assignment.output != "-" && !filesystem::is_other(path);
        if (isFile && !files.insert(filesystem::weakly_canonical(path)).second) {
            throw WriteFailure("two URLs would be written to \"" + assignment.output + "\"");
        }
        assignments.push_back(std::move(assignment));
    }
    return assignments;
}

}  // namespace tavrin::http_tool
