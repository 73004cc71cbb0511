#pragma once
// The one place that knows the order of a document's stored fields, which
// every reader of documents relies on to stop reading early:
//   "Location" first: the skip test and the hit walk read the path alone;
//   then the record's other texts, then the typed fields of the file type;
//   "FileState" (path, modification time and size) next to last: a reader of
//   everything but the body stops right after it;
//   "Body", the long text, then the file type's other long texts (a mail's
//   "Attachments") last.
// "Path" holds the exact path as one term, not stored, so that a document is
// found and deleted by its path; "FileState" is one term too, so that the
// index lists what it holds below a folder by enumerating its terms.

#include "search/IndexStorage.h"
#include "search/Metadata.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lucene::document {
class FieldSelector;
}

namespace Kerf::Search {

namespace Fields {
inline constexpr const wchar_t* kLocation = L"Location";
inline constexpr const wchar_t* kBody = L"Body";
inline constexpr const wchar_t* kSize = L"Size";
inline constexpr const wchar_t* kPath = L"Path";
inline constexpr const wchar_t* kFileState = L"FileState";
} // namespace Fields

/// The field that holds every indexed file's full path.
inline constexpr const wchar_t* kLocationField = Fields::kLocation;

/// Builds one document in the order above.
class CDocumentBuilder {
public:
    /// Begins the record's document: its location, then its other texts
    /// but the body.
    explicit CDocumentBuilder(const QuireLib::CMetadata& record);
    /// Where the file type adds its typed fields, after the texts.
    Document& document() { return *m_pDocument; }
    /// A long text of the file type, written after the body.
    void addLongText(const std::wstring& field, const std::wstring& text);
    /// Ends the document with the path terms, the file's state, the body and
    /// the long texts.
    std::unique_ptr<Document> finish();

private:
    const QuireLib::CMetadata& m_record;
    std::unique_ptr<Document> m_pDocument;
    std::vector<std::pair<std::wstring, const std::wstring*>> m_longTexts;
};

/// Reads the location alone.
const lucene::document::FieldSelector& locationOnly();
/// Reads every stored field but the body.
const lucene::document::FieldSelector& allButBody();

} // namespace Kerf::Search
