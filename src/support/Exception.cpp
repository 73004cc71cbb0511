#include "support/Exception.h"

#include "support/Strings.h"

#include <cstdlib>
#include <execinfo.h>

namespace Kerf {

std::wstring captureStackTrace() {
    void* frames[48];
    const int count = backtrace(frames, 48);
    std::wstring text;
    char** symbols = backtrace_symbols(frames, count);
    if (symbols == nullptr)
        return text;
    // Frame 0 is this function and frame 1 the exception's constructor.
    for (int i = 2; i < count; ++i) {
        text += Util::toWide(symbols[i]);
        text += L'\n';
    }
    std::free(symbols);
    return text;
}

std::wstring describeWithCauses(const CExceptionBase& e) {
    std::wstring text = e.getMessage();
    for (const CExceptionBase* cause = e.getInner(); cause != nullptr; cause = cause->getInner())
        if (!cause->getMessage().empty())
            text += L": " + cause->getMessage();
    return text;
}

CExceptionBase::CExceptionBase(std::wstring message)
    : m_sMessage(std::move(message)), m_sStackTrace(captureStackTrace()),
      m_sWhat(Util::toNarrow(m_sMessage)) {}

CExceptionBase::CExceptionBase(std::wstring message, const CExceptionBase& inner)
    : CExceptionBase(std::move(message)) {
    m_pInner = std::make_shared<CExceptionBase>(inner);
}

CExceptionBase::CExceptionBase(std::wstring message, const std::exception& inner)
    : CExceptionBase(std::move(message)) {
    if (const auto* own = dynamic_cast<const CExceptionBase*>(&inner))
        m_pInner = std::make_shared<CExceptionBase>(*own);
    else
        m_pInner = std::make_shared<CExceptionBase>(Util::toWide(inner.what()));
}

CSettingsFileException::CSettingsFileException(Code code, std::wstring sFileName, int iLine,
                                               std::wstring sDetail)
    : CExceptionBase(composeMessage(code, sFileName, iLine, sDetail)), m_eCode(code),
      m_sFileName(std::move(sFileName)), m_iLine(iLine), m_sDetail(std::move(sDetail)) {}

std::wstring CSettingsFileException::codeText(Code code) {
    switch (code) {
    case eErrorOpeningFile:
        return L"Error opening file";
    case eErrorWritingFile:
        return L"Error writing file";
    case eTokenisingError:
        return L"Tokenising error";
    case eInvalidSection:
        return L"Invalid section";
    case eInvalidKey:
        return L"Invalid key";
    case eRemoveDisallowed:
        return L"Remove is disallowed";
    case eUnknownError:
        break;
    }
    return L"Unknown error";
}

std::wstring CSettingsFileException::composeMessage(Code code, const std::wstring& sFileName,
                                                    int iLine, const std::wstring& sDetail) {
    std::wstring message;
    if (!sFileName.empty() && iLine > 0)
        message = L"Error (<<" + sFileName + L">> @ line " + std::to_wstring(iLine) + L") : ";
    else if (!sFileName.empty())
        message = L"Error (<<" + sFileName + L">>) : ";
    else
        message = L"Error : ";
    message += codeText(code);
    if (!sDetail.empty())
        message += L": " + sDetail;
    return message;
}

} // namespace Kerf
