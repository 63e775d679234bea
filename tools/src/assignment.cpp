#include "assignment.h"

#include <filesystem>
#include <set>
#include <system_error>

#include "failures.h"
#include "part_file.h"
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

// Notes that the file, and what stands beside it until it is whole, are one URL's.
void reserve(const std::string& output, std::set<std::string>& files) {
    std::error_code error;
    auto path = filesystem::weakly_canonical(output, error);
    // Opening the file will tell what is wrong with its name.
    if (error) path = output;
    for (const std::string suffix : {"", PartFile::PART_SUFFIX, PartFile::VALIDATOR_SUFFIX}) {
        if (!files.insert(path.string() + suffix).second) {
            throw WriteFailure(
                std::string("two URLs would be written to \"").append(output).append(suffix) +
                "\"");
        }
    }
}

}  // namespace

std::vector<Assignment> assignmentsFor(const CommandLine& line) {
    std::vector<Assignment> assignments;
    std::set<std::string> files;
    for (std::size_t i = 0; i < line.urls.size(); ++i) {
        Assignment assignment;
        assignment.url = line.urls[i];
        assignment.output = outputOf(line, i);
        assignment.serverNames = line.remoteHeaderName && i >= line.outputs.size();
        if (i < line.checksums.size()) assignment.checksum = line.checksums[i];
        const filesystem::path path(assignment.output);
        assignment.label = assignment.output == "-" ? withoutCredentials(assignment.url)
                                                    : path.filename().string();
        // Several may follow one another to a device.
        std::error_code error;
        const bool isFile = assignment.output != "-" && !filesystem::is_other(path, error);
        if (isFile) reserve(assignment.output, files);
        assignments.push_back(std::move(assignment));
    }
    return assignments;
}

}  // namespace tavrin::http_tool
