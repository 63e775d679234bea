#pragma once

#include <string>
#include <variant>
#include <vector>

#include "httpclient_core/export.h"
#include "httpclient_core/file_path.h"
#include "httpclient_core/headers.h"

namespace tavrin::httpclient_core {

/// What describes a part of a multipart body: its name, media type and further header fields
/// (RFC 7578, 4). Texts are stored unchecked; a transport decides what may go on the wire.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take time linear in the texts that they copy, constant time otherwise.
class HTTPCLIENT_CORE_EXPORT PartHeader {
public:
    /// A header without further fields; with one argument, without a media type either.
    PartHeader(std::string partName);
    PartHeader(std::string partName, std::string contentType);

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    PartHeader(const PartHeader&) = default;
    PartHeader(PartHeader&&) noexcept = default;
    PartHeader& operator=(const PartHeader& other);
    PartHeader& operator=(PartHeader&&) noexcept = default;
    ~PartHeader() = default;

    /// Name of the part; it may be empty.
    std::string getPartName() const;
    void setPartName(std::string partName);
    PartHeader& withPartName(std::string partName);

    /// Media type of the part; empty, the default, means none.
    std::string getContentType() const;
    void setContentType(std::string contentType);
    PartHeader& withContentType(std::string contentType);

    /// Further header fields; none by default. Adding appends, also if the name is there already.
    HttpHeaders getCustomHeaders() const;
    void setCustomHeaders(HttpHeaders customHeaders);
    void addCustomHeaderValue(std::string name, std::string value);
    PartHeader& withCustomHeaderValue(std::string name, std::string value);

private:
    friend class MultipartBody;

    std::string partName_;
    std::string contentType_;
    HttpHeaders customHeaders_;
};

/// Part of a multipart body whose content is held in memory, any bytes.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take time linear in the header and the data that they copy, constant time otherwise.
class HTTPCLIENT_CORE_EXPORT DataPart {
public:
    /// A part without data.
    DataPart(PartHeader header);

    /// A part with an empty name.
    DataPart(std::string data);
    DataPart(PartHeader header, std::string data);

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    DataPart(const DataPart&) = default;
    DataPart(DataPart&&) noexcept = default;
    DataPart& operator=(const DataPart& other);
    DataPart& operator=(DataPart&&) noexcept = default;
    ~DataPart() = default;

    /// Name, media type and further header fields.
    PartHeader getHeader() const;
    void setHeader(PartHeader header);
    DataPart& withHeader(PartHeader header);

    /// These change the header in place; see PartHeader.
    void setPartName(std::string partName);
    DataPart& withPartName(std::string partName);
    void setContentType(std::string contentType);
    DataPart& withContentType(std::string contentType);
    void addCustomHeaderValue(std::string name, std::string value);
    DataPart& withCustomHeaderValue(std::string name, std::string value);
    void setCustomHeaders(HttpHeaders customHeaders);

    /// The content; empty by default.
    std::string getData() const;
    void setData(std::string data);
    DataPart& withData(std::string data);

private:
    friend class MultipartBody;

    PartHeader header_;
    std::string data_;
};

/// Part of a multipart body whose content is a file, read when the body is sent. The file is
/// neither opened nor looked for here.
///
/// A plain value. One object may be read from several threads while none changes it. A failed
/// operation leaves the part unchanged. Operations take time linear in the header and the path that
/// they copy, constant time otherwise.
class HTTPCLIENT_CORE_EXPORT FilePart {
public:
    /// A part with an empty name.
    /// @throws std::logic_error "Empty file path."; so do the constructor and the setter below.
    FilePart(FilePath filePath);
    FilePart(PartHeader header, FilePath filePath);

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    FilePart(const FilePart&) = default;
    FilePart(FilePart&&) noexcept = default;
    FilePart& operator=(const FilePart& other);
    FilePart& operator=(FilePart&&) noexcept = default;
    ~FilePart() = default;

    /// Name, media type and further header fields.
    PartHeader getHeader() const;
    void setHeader(PartHeader header);
    FilePart& withHeader(PartHeader header);

    /// These change the header in place; see PartHeader.
    void setPartName(std::string partName);
    FilePart& withPartName(std::string partName);
    void setContentType(std::string contentType);
    FilePart& withContentType(std::string contentType);
    void addCustomHeaderValue(std::string name, std::string value);
    FilePart& withCustomHeaderValue(std::string name, std::string value);
    void setCustomHeaders(HttpHeaders customHeaders);

    /// Path of the file, never empty.
    FilePath getFilePath() const;
    void setFilePath(FilePath filePath);

private:
    friend class MultipartBody;

    PartHeader header_;
    FilePath filePath_;
};

/// Parts of a multipart form in the order in which they were added. Parts of both kinds may share a
/// name, and names may be empty; they are compared byte for byte, letter case included. How the
/// body looks on the wire is the transport's business.
///
/// A plain value. One object may be read from several threads while none changes it. Operations by
/// name take time linear in the number of parts, and in the part that they copy; adding one takes
/// amortised constant time. A failed operation leaves the body unchanged.
class HTTPCLIENT_CORE_EXPORT MultipartBody {
public:
    /// A body without parts.
    MultipartBody() = default;

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    MultipartBody(const MultipartBody&) = default;
    MultipartBody(MultipartBody&&) noexcept = default;
    MultipartBody& operator=(const MultipartBody& other);
    MultipartBody& operator=(MultipartBody&&) noexcept = default;
    ~MultipartBody() = default;

    /// Appends a part, whether or not its name is there already.
    void addPart(DataPart part);
    void addPart(FilePart part);
    MultipartBody& withPart(DataPart part);
    MultipartBody& withPart(FilePart part);

    /// Removes every part of that name, of either kind; an absent one is no error.
    void removePart(const std::string& name);

    /// Whether a part of that kind, DataPart or FilePart, has the name.
    template <typename T>
    bool hasPartType(const std::string& name) const;
    bool hasDataPart(const std::string& name) const;
    bool hasFilePart(const std::string& name) const;

    /// A copy of the first part of that kind and name.
    /// @throws std::out_of_range "Data part with name=\"" + `name` + "\" not found.", or "File part
    /// with name=\"" + `name` + "\" not found.".
    DataPart getDataPart(const std::string& name) const;
    FilePart getFilePart(const std::string& name) const;

    /// A copy of all parts in order. Linear in all that they hold.
    std::vector<std::variant<DataPart, FilePart>> getContent() const;

private:
    template <typename T>
    HTTPCLIENT_CORE_HIDDEN const T* findPart(const std::string& name) const;

    std::vector<std::variant<DataPart, FilePart>> parts_;
};

extern template HTTPCLIENT_CORE_EXPORT bool MultipartBody::hasPartType<DataPart>(
    const std::string& name) const;
extern template HTTPCLIENT_CORE_EXPORT bool MultipartBody::hasPartType<FilePart>(
    const std::string& name) const;

}  // namespace tavrin::httpclient_core
