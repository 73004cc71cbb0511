#include "app/QoSearchApp.h"

#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

std::wstring CQoSearchApp::buildIndexRootDirectory() {
    return Kerf::Paths::makerDataDirectory() + Kerf::Paths::productName() + L"/Index/";
}

std::wstring CQoSearchApp::buildIndexDirectory() {
    return buildIndexRootDirectory() + kIndexFormatVersion;
}

std::wstring CQoSearchApp::buildInstanceName(const std::wstring& indexDirectory) {
    std::wstring lower = Kerf::Util::toLower(indexDirectory);
    if (lower.size() > 250)
        lower = lower.substr(lower.size() - 250);
    std::wstring name = L"QOSEARCH_" + lower;
    for (auto& c : name)
        if (c == L'/' || c == L'\\')
            c = L'_';
    return name;
}

std::wstring CQoSearchApp::getErrorString(const Kerf::CExceptionBase& e) {
    if (const Kerf::CExceptionBase* inner = e.getInner())
        return e.getMessage() + L"\n\n" + L"Reported as: " + inner->getMessage() +
               L"Stack trace is:" + L"\n\n" + e.getStackTrace();
    return e.getMessage() + L"\n\n" + L"Stack trace is:" + L"\n\n" + e.getStackTrace();
}

void CQoSearchApp::traceException(const std::wstring& text) {
    Kerf::QuireLib::CQOUtils::traceException(text);
}

void CQoSearchApp::traceException(const std::wstring& caption, const Kerf::CExceptionBase& e) {
    Kerf::Trace::tracef("%s\n", Kerf::Util::toNarrow(caption).c_str());
    traceException(getErrorString(e));
}
