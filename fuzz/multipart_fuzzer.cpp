#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_core/multipart.h"

using namespace tavrin::httpclient_core;

namespace {

// Name, whether it is a file, and data or path.
struct ModelPart {
    std::string name;
    bool isFile;
    std::string content;
};

bool sameParts(const MultipartBody& body, const std::vector<ModelPart>& model) {
    const auto parts = body.getContent();
    return std::equal(parts.begin(), parts.end(), model.begin(), model.end(),
                      [](const auto& part, const ModelPart& expected) {
                          if (const auto* file = std::get_if<FilePart>(&part)) {
                              return expected.isFile &&
                                     file->getHeader().getPartName() == expected.name &&
                                     file->getFilePath().toUtf8() == expected.content;
                          }
                          const auto& data = std::get<DataPart>(part);
                          return !expected.isFile &&
                                 data.getHeader().getPartName() == expected.name &&
                                 data.getData() == expected.content;
                      });
}

}  // namespace

// Any sequence of operations leaves the parts that a plain list would hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    MultipartBody body;
    std::vector<ModelPart> model;
    while (input.remaining_bytes() > 0) {
        const std::string name = input.ConsumeRandomLengthString(3);
        switch (input.ConsumeIntegralInRange(0, 3)) {
            case 0: {
                const std::string content = input.ConsumeRandomLengthString(8);
                body.addPart(DataPart(PartHeader(name), content));
                model.push_back({name, false, content});
                break;
            }
            case 1: {
                const std::string path = input.ConsumeBool() ? "a" : "b/c";
                body.withPart(FilePart(PartHeader(name, "text/plain"), path));
                model.push_back({name, true, path});
                break;
            }
            case 2:
                body.removePart(name);
                model.erase(
                    std::remove_if(model.begin(), model.end(),
                                   [&](const ModelPart& part) { return part.name == name; }),
                    model.end());
                break;
            default: {
                const auto first = std::find_if(
                    model.begin(), model.end(),
                    [&](const ModelPart& part) { return !part.isFile && part.name == name; });
                CHECK(body.hasDataPart(name) == (first != model.end()));
                try {
                    CHECK(body.getDataPart(name).getData() == first->content);
                } catch (const std::out_of_range&) {
                    CHECK(first == model.end());
                }
            }
        }
        CHECK(sameParts(body, model));
    }
    return 0;
}
