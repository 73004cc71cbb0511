#pragma once
// The failure of reading, writing or changing a settings file: a code, and
// where known the file and the line it happened at.

#include "support/Exception.h"

#include <string>

namespace Kerf {

class CSettingsFileException : public CExceptionBase {
public:
    enum Code {
        eErrorOpeningFile = 0,
        eErrorWritingFile = 1,
        eTokenisingError = 2,
        eInvalidSection = 3,
        eInvalidKey = 4,
        eRemoveDisallowed = 5,
        eUnknownError = 6,
    };

    /// A line number of 0 means the line is not known.
    explicit CSettingsFileException(Code code, std::wstring sFileName = {}, int iLine = 0,
                                    std::wstring sDetail = {});

    Code getCode() const { return m_eCode; }
    const std::wstring& getFileName() const { return m_sFileName; }
    int getLine() const { return m_iLine; }
    const std::wstring& getDetail() const { return m_sDetail; }

    /// The fixed text of a code ("Error opening file" ...).
    static std::wstring codeText(Code code);
    /// "Error (<<file>> @ line n) : ", "Error (<<file>>) : " or "Error : ", then the
    /// code's text and, when there is one, ": " and the detail.
    static std::wstring composeMessage(Code code, const std::wstring& sFileName, int iLine,
                                       const std::wstring& sDetail);

private:
    Code m_eCode;
    std::wstring m_sFileName;
    int m_iLine;
    std::wstring m_sDetail;
};

} // namespace Kerf
