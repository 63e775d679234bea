#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "exhaustion/allocation_sweep.h"
#include "httpclient_core/multipart.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectUnchangedWhileMemoryLacks;
using test::longText;
using test::Operation;
using test::refused;

std::string show(const PartHeader& header) {
    return header.getPartName() + "|" + header.getContentType() + "|" +
           entryLines(header.getCustomHeaders());
}
std::string show(const DataPart& part) { return show(part.getHeader()) + part.getData(); }
std::string show(const FilePart& part) {
    return show(part.getHeader()) + part.getFilePath().toUtf8();
}
std::string show(const MultipartBody& body) {
    std::string text;
    for (const auto& part : body.getContent()) {
        text += std::visit([](const auto& dataOrFile) { return show(dataOrFile); }, part) + "\n";
    }
    return text;
}

const auto showAny = [](const auto& value) { return show(value); };

PartHeader header() {
    return PartHeader(longText("name"), longText("type"))
        .withCustomHeaderValue(longText("Name"), longText("value"));
}

// What all that has a header can do with it.
template <typename Part>
std::vector<Operation<Part>> headerOperations() {
    const std::string text = longText("new");
    return {
        {"setPartName", [=](Part& part) { part.setPartName(text); }},
        {"withPartName", [=](Part& part) { part.withPartName(text); }},
        {"setContentType", [=](Part& part) { part.setContentType(text); }},
        {"withContentType", [=](Part& part) { part.withContentType(text); }},
        {"addCustomHeaderValue", [=](Part& part) { part.addCustomHeaderValue(text, text); }},
        {"withCustomHeaderValue", [=](Part& part) { part.withCustomHeaderValue(text, text); }},
        {"setCustomHeaders",
         [=](Part& part) {
             part.setCustomHeaders({{text, text}});
         }},
        {"copy", [](Part& part) { return show(Part(part)); }},
    };
}

// Assigns a part, header or body of which nothing is the same.
template <typename Part>
Operation<Part> assign(Part other) {
    return {"assign", [other](Part& part) { part = other; }};
}

PartHeader otherHeader() {
    return PartHeader(longText("other name"), longText("other type"))
        .withCustomHeaderValue(longText("Other"), longText("value"));
}

template <typename Part>
std::vector<Operation<Part>> partOperations() {
    auto operations = headerOperations<Part>();
    operations.emplace_back("getHeader", [](Part& part) { return show(part.getHeader()); });
    operations.emplace_back("setHeader",
                            [](Part& part) { part.setHeader(PartHeader(longText("new"))); });
    operations.emplace_back("withHeader",
                            [](Part& part) { part.withHeader(PartHeader(longText("new"))); });
    return operations;
}

TEST(PartHeaderExhaustion, LeavesTheHeaderUnchanged) {
    auto operations = headerOperations<PartHeader>();
    operations.push_back(assign(otherHeader()));
    operations.emplace_back("construct", [](PartHeader&) {
        return show(PartHeader(longText("new"))) + show(PartHeader(longText("new"), "type"));
    });
    operations.emplace_back("getPartName", [](PartHeader& part) { return part.getPartName(); });
    operations.emplace_back("getContentType",
                            [](PartHeader& part) { return part.getContentType(); });
    operations.emplace_back("getCustomHeaders",
                            [](PartHeader& part) { return entryLines(part.getCustomHeaders()); });

    expectUnchangedWhileMemoryLacks(header, showAny, operations);
}

TEST(DataPartExhaustion, LeavesThePartUnchanged) {
    auto operations = partOperations<DataPart>();
    operations.push_back(assign(DataPart(otherHeader(), longText("other data"))));
    operations.emplace_back("setData", [](DataPart& part) { part.setData(longText("new")); });
    operations.emplace_back("withData", [](DataPart& part) { part.withData(longText("new")); });
    operations.emplace_back("getData", [](DataPart& part) { return part.getData(); });
    operations.emplace_back("construct",
                            [](DataPart&) { return show(DataPart(header(), longText("new"))); });
    operations.emplace_back("construct of a header alone",
                            [](DataPart&) { return show(DataPart(header())); });
    operations.emplace_back("construct of data alone",
                            [](DataPart&) { return show(DataPart(longText("new"))); });

    expectUnchangedWhileMemoryLacks([] { return DataPart(header(), longText("data")); }, showAny,
                                    operations);
}

TEST(FilePartExhaustion, LeavesThePartUnchanged) {
    auto operations = partOperations<FilePart>();
    operations.push_back(assign(FilePart(otherHeader(), FilePath(longText("other path")))));
    operations.emplace_back("setFilePath",
                            [](FilePart& part) { part.setFilePath(FilePath(longText("new"))); });
    operations.emplace_back(
        "setFilePath of an empty path",
        refused<std::logic_error>([](FilePart& part) { part.setFilePath(FilePath("")); }));
    operations.emplace_back(
        "construct", [](FilePart&) { return show(FilePart(header(), FilePath(longText("new")))); });
    operations.emplace_back("construct of a path alone",
                            [](FilePart&) { return show(FilePart(FilePath(longText("new")))); });
    operations.emplace_back("construct of an empty path",
                            refused<std::logic_error>([](FilePart&) { FilePart(FilePath("")); }));
    operations.emplace_back("getFilePath",
                            [](FilePart& part) { return part.getFilePath().toUtf8(); });

    expectUnchangedWhileMemoryLacks([] { return FilePart(header(), FilePath(longText("path"))); },
                                    showAny, operations);
}

TEST(MultipartBodyExhaustion, LeavesTheBodyUnchanged) {
    const std::string name = longText("name");
    const std::string absent = longText("absent");
    using Body = MultipartBody;
    const std::vector<Operation<Body>> operations = {
        {"addPart", [](Body& body) { body.addPart(DataPart(header(), longText("new"))); }},
        {"addPart of a file",
         [](Body& body) { body.addPart(FilePart(header(), FilePath(longText("new")))); }},
        {"withPart", [](Body& body) { body.withPart(DataPart(header(), longText("new"))); }},
        {"withPart of a file",
         [](Body& body) { body.withPart(FilePart(header(), FilePath(longText("new")))); }},
        {"removePart", [](Body& body) { body.removePart(longText("name")); }},
        {"getDataPart", [=](Body& body) { return show(body.getDataPart(name)); }},
        {"getDataPart of an absent name",
         refused<std::out_of_range>([=](Body& body) { body.getDataPart(absent); })},
        {"getFilePart", [=](Body& body) { return show(body.getFilePart(name)); }},
        {"getFilePart of an absent name",
         refused<std::out_of_range>([=](Body& body) { body.getFilePart(absent); })},
        {"getContent", [](Body& body) { return show(body); }},
        {"copy", [](Body& body) { return show(Body(body)); }},
        assign(Body()
                   .withPart(FilePart(otherHeader(), FilePath(longText("other path"))))
                   .withPart(DataPart(otherHeader(), longText("other data")))
                   .withPart(DataPart(header(), longText("third")))),
    };

    expectUnchangedWhileMemoryLacks(
        [] {
            return MultipartBody()
                .withPart(DataPart(header(), longText("data")))
                .withPart(FilePart(header(), FilePath(longText("path"))));
        },
        showAny, operations);
}

}  // namespace
}  // namespace tavrin::httpclient_core
