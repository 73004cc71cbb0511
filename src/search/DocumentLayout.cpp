#include "search/DocumentLayout.h"

#include "search/FileState.h"

#include <CLucene/document/FieldSelector.h>

#include <cwchar>

using lucene::document::Field;
using lucene::document::FieldSelector;

namespace Kerf::Search {

namespace {

class LocationOnly : public FieldSelector {
public:
    FieldSelectorResult accept(const wchar_t* name) const override {
        return std::wcscmp(name, Fields::kLocation) == 0 ? LOAD_AND_BREAK : NO_LOAD;
    }
};

// A document written before the file state was kept has none: its body is
// passed over instead, which is slower but reads the same fields.
class AllButBody : public FieldSelector {
public:
    FieldSelectorResult accept(const wchar_t* name) const override {
        if (std::wcscmp(name, Fields::kFileState) == 0)
            return LOAD_AND_BREAK;
        return std::wcscmp(name, Fields::kBody) == 0 ? NO_LOAD : LOAD;
    }
};

} // namespace

CDocumentBuilder::CDocumentBuilder(const QuireLib::CMetadata& record)
    : m_record(record), m_pDocument(std::make_unique<Document>()) {
    const auto& values = record.GetValues();
    const auto location = values.find(Fields::kLocation);
    if (location != values.end())
        Writer::add(*m_pDocument, location->first, location->second);
    for (const auto& [key, value] : values)
        if (key != Fields::kLocation && key != Fields::kBody)
            Writer::add(*m_pDocument, key, value);
}

void CDocumentBuilder::addLongText(const std::wstring& field, const std::wstring& text) {
    m_longTexts.emplace_back(field, &text);
}

std::unique_ptr<Document> CDocumentBuilder::finish() {
    const std::wstring path = toStoredText(m_record.GetStringValue(Fields::kLocation));
    m_pDocument->add(
        *new Field(Fields::kPath, path.c_str(),
                   static_cast<int>(Field::STORE_NO) | static_cast<int>(Field::INDEX_UNTOKENIZED)));
    Writer::add(*m_pDocument, Fields::kFileState,
                fileStateText(m_record.GetStringValue(Fields::kLocation), m_record.GetFileState()),
                FieldIndex::Untokenized);
    const auto& values = m_record.GetValues();
    if (const auto body = values.find(Fields::kBody); body != values.end())
        Writer::add(*m_pDocument, body->first, body->second);
    for (const auto& [field, text] : m_longTexts)
        Writer::add(*m_pDocument, field, *text);
    return std::move(m_pDocument);
}

const FieldSelector& locationOnly() {
    static const LocationOnly selector;
    return selector;
}

const FieldSelector& allButBody() {
    static const AllButBody selector;
    return selector;
}

} // namespace Kerf::Search
