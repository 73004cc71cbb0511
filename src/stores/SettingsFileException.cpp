#include "stores/SettingsFileException.h"

namespace Kerf {

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
