#include <algorithm>
#include <stdexcept>
#include <utility>

#include "httpclient_core/multipart.h"

namespace tavrin::httpclient_core {

MultipartBody& MultipartBody::operator=(const MultipartBody& other) {
    return *this = MultipartBody(other);
}

void MultipartBody::addPart(DataPart part) { parts_.emplace_back(std::move(part)); }

void MultipartBody::addPart(FilePart part) { parts_.emplace_back(std::move(part)); }

MultipartBody& MultipartBody::withPart(DataPart part) {
    addPart(std::move(part));
    return *this;
}

MultipartBody& MultipartBody::withPart(FilePart part) {
    addPart(std::move(part));
    return *this;
}

void MultipartBody::removePart(const std::string& name) {
    const auto hasName = [&](const auto& part) {
        return std::visit(
            [&](const auto& dataOrFile) { return dataOrFile.header_.partName_ == name; }, part);
    };
    parts_.erase(std::remove_if(parts_.begin(), parts_.end(), hasName), parts_.end());
}

template <typename T>
bool MultipartBody::hasPartType(const std::string& name) const {
    return findPart<T>(name) != nullptr;
}

template bool MultipartBody::hasPartType<DataPart>(const std::string& name) const;
template bool MultipartBody::hasPartType<FilePart>(const std::string& name) const;

bool MultipartBody::hasDataPart(const std::string& name) const {
    return hasPartType<DataPart>(name);
}

bool MultipartBody::hasFilePart(const std::string& name) const {
    return hasPartType<FilePart>(name);
}

DataPart MultipartBody::getDataPart(const std::string& name) const {
    const auto* part = findPart<DataPart>(name);
    if (!part) throw std::out_of_range("Data part with name=\"" + name + "\" not found.");
    return *part;
}

FilePart MultipartBody::getFilePart(const std::string& name) const {
    const auto* part = findPart<FilePart>(name);
    if (!part) throw std::out_of_range("File part with name=\"" + name + "\" not found.");
    return *part;
}

std::vector<std::variant<DataPart, FilePart>> MultipartBody::getContent() const { return parts_; }

// The first part of that kind and name, or null.
template <typename T>
const T* MultipartBody::findPart(const std::string& name) const {
    for (const auto& candidate : parts_) {
        const auto* part = std::get_if<T>(&candidate);
        if (part && part->header_.partName_ == name) return part;
    }
    return nullptr;
}

}  // namespace tavrin::httpclient_core
