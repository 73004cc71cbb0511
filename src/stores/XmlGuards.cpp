#include "stores/XmlGuards.h"

#include "stores/UnicodeText.h"
#include "support/Strings.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/uri.h>

#include <algorithm>
#include <cstring>
#include <mutex>

namespace Kerf::QuireLib::Xml {
namespace {

constexpr size_t kErrorsDescribed = 5;

thread_local const std::vector<std::string>* t_pAllowedFiles = nullptr;
xmlExternalEntityLoader g_defaultLoader = nullptr;

std::string canonical(const char* url) {
    xmlChar* path = xmlCanonicPath(reinterpret_cast<const xmlChar*>(url));
    std::string text = path != nullptr ? reinterpret_cast<const char*>(path) : url;
    xmlFree(path);
    return text;
}

xmlParserInputPtr guardedLoader(const char* url, const char* id, xmlParserCtxtPtr ctxt) {
    const std::vector<std::string>* allowed = t_pAllowedFiles;
    if (allowed == nullptr)
        return g_defaultLoader(url, id, ctxt);
    if (url != nullptr) {
        const std::string wanted = canonical(url);
        if (std::find(allowed->begin(), allowed->end(), wanted) != allowed->end())
            return g_defaultLoader(url, id, ctxt);
    }
    // Refused: the parser reports that the entity could not be loaded.
    return nullptr;
}

void installLoader() {
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        g_defaultLoader = xmlGetExternalEntityLoader();
        xmlSetExternalEntityLoader(guardedLoader);
    });
}

std::wstring fromXml(const xmlChar* text) {
    return text == nullptr ? std::wstring() : Util::toWide(reinterpret_cast<const char*>(text));
}

std::wstring sourceLine(const std::wstring& file, int line) {
    if (file.empty() || line <= 0)
        return {};
    const auto lines = UnicodeText::readLines(file);
    if (!lines || static_cast<size_t>(line) > lines->size())
        return {};
    return Util::trim((*lines)[static_cast<size_t>(line) - 1]);
}

} // namespace

ErrorCollector::ErrorCollector()
    : m_pPreviousContext(xmlStructuredErrorContext), m_pPreviousHandler(xmlStructuredError) {
    installLoader();
    xmlSetStructuredErrorFunc(this, &ErrorCollector::onError);
    // Line numbers on the nodes let validation errors say where they are.
    m_iPreviousLineNumbers = xmlLineNumbersDefault(1);
}

ErrorCollector::~ErrorCollector() {
    xmlLineNumbersDefault(m_iPreviousLineNumbers);
    xmlSetStructuredErrorFunc(m_pPreviousContext, m_pPreviousHandler);
}

void ErrorCollector::onError(void* context, xmlErrorPtr error) {
    auto* self = static_cast<ErrorCollector*>(context);
    if (self == nullptr || error == nullptr)
        return;
    Error entry;
    entry.sMessage = Util::trim(fromXml(reinterpret_cast<const xmlChar*>(error->message)));
    entry.sFile = fromXml(reinterpret_cast<const xmlChar*>(error->file));
    entry.iLine = error->line;
    entry.iColumn = error->int2;
    self->m_vErrors.push_back(std::move(entry));
}

std::wstring ErrorCollector::describe(const std::wstring& sDocument) const {
    std::wstring text;
    for (size_t i = 0; i < m_vErrors.size() && i < kErrorsDescribed; ++i) {
        const Error& error = m_vErrors[i];
        text += L"Error: " + error.sMessage + L"\n";
        text += L"Line: " + std::to_wstring(error.iLine) + L"\n";
        text += L"Line Pos: " + std::to_wstring(error.iColumn) + L"\n";
        // Validation errors name the document as an escaped URI; the caller knows its path.
        const std::wstring source =
            sourceLine(sDocument.empty() ? error.sFile : sDocument, error.iLine);
        if (!source.empty())
            text += L"Source Text: " + source + L"\n";
    }
    if (m_vErrors.size() > kErrorsDescribed)
        text += std::to_wstring(m_vErrors.size() - kErrorsDescribed) + L" more errors\n";
    return text;
}

LoadOnly::LoadOnly(std::vector<std::string> vAllowedFiles) : m_pPrevious(t_pAllowedFiles) {
    installLoader();
    for (const auto& file : vAllowedFiles)
        m_vAllowed.push_back(canonical(file.c_str()));
    t_pAllowedFiles = &m_vAllowed;
}

LoadOnly::~LoadOnly() {
    t_pAllowedFiles = m_pPrevious;
}

std::wstring attribute(xmlNode* node, const char* name) {
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    std::wstring text = fromXml(value);
    xmlFree(value);
    return text;
}

std::wstring content(xmlNode* node) {
    xmlChar* value = xmlNodeGetContent(node);
    std::wstring text = fromXml(value);
    xmlFree(value);
    return text;
}

std::vector<xmlNode*> childElements(xmlNode* node, const char* name) {
    std::vector<xmlNode*> children;
    for (xmlNode* child = node != nullptr ? node->children : nullptr; child != nullptr;
         child = child->next)
        if (child->type == XML_ELEMENT_NODE &&
            std::strcmp(reinterpret_cast<const char*>(child->name), name) == 0)
            children.push_back(child);
    return children;
}

} // namespace Kerf::QuireLib::Xml
