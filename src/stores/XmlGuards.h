#pragma once
// Scoped settings for reading untrusted XML with libxml2 on this thread:
// errors are collected instead of printed, and libxml2 may load no file but
// the ones named (no external entity, DTD or schema import slips through).

#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <memory>
#include <string>
#include <vector>

namespace Kerf::QuireLib::Xml {

struct Error {
    std::wstring sMessage;
    std::wstring sFile;
    int iLine = 0;
    int iColumn = 0;
};

/// Collects libxml2's errors of this thread while alive.
class ErrorCollector {
public:
    ErrorCollector();
    ~ErrorCollector();
    ErrorCollector(const ErrorCollector&) = delete;
    ErrorCollector& operator=(const ErrorCollector&) = delete;

    const std::vector<Error>& errors() const { return m_vErrors; }
    /// "Error: ...", "Line: n", "Line Pos: n" and "Source Text: ..." for the first
    /// few errors; the source text is read from sDocument, or when that is
    /// empty from the file the error names.
    std::wstring describe(const std::wstring& sDocument = {}) const;

private:
    static void onError(void* context, xmlErrorPtr error);

    std::vector<Error> m_vErrors;
    void* m_pPreviousContext;
    xmlStructuredErrorFunc m_pPreviousHandler;
    int m_iPreviousLineNumbers;
};

/// Lets libxml2 on this thread open only the given local files while alive.
class LoadOnly {
public:
    explicit LoadOnly(std::vector<std::string> vAllowedFiles);
    ~LoadOnly();
    LoadOnly(const LoadOnly&) = delete;
    LoadOnly& operator=(const LoadOnly&) = delete;

private:
    std::vector<std::string> m_vAllowed;
    const std::vector<std::string>* m_pPrevious;
};

struct DocDeleter {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
using DocPtr = std::unique_ptr<xmlDoc, DocDeleter>;

/// Text of an attribute of a node (empty when missing).
std::wstring attribute(xmlNode* node, const char* name);
/// The text content of a node.
std::wstring content(xmlNode* node);
/// The element children of a node with the given name, in document order.
std::vector<xmlNode*> childElements(xmlNode* node, const char* name);

} // namespace Kerf::QuireLib::Xml
