#pragma once
// How the program reports a failure, layer by layer. There is one way:
//
// - Readers (message files, documents, settings files), the engine (index,
//   indexer, queries), the mail layer, the cycle and the stores throw
//   CExceptionBase or one of the kinds below. A kind exists only where a
//   caller tells it apart (a damaged index is rebuilt, a body that cannot be
//   read gives way to the message's next body) or reads what it carries (a
//   settings file's code and line); everything else is a plain
//   CExceptionBase, wrapping the failure that caused it as its inner one.
// - Inside the message-file reader, HRESULT codes mirror the file format's own
//   codes (and so do the property calls that turn a message into a record);
//   a failure leaves the reader as CMapiException, which keeps the code. A
//   file that is not a message at all is an answer, not a failure: opening it
//   gives no message and the reason, and the caller goes on to the next file.
// - Work that runs on threads of its own (the indexer's run) cannot throw to
//   anyone: it catches there, ends the run and keeps the message and the
//   IndexFault of what it caught, which the cycle reads when the run ends.
// - Where one bad item must not stop the rest (one central filing list of
//   many, one message of a folder), the loop catches per item and collects
//   the messages for the user.
// - The fronts (src/app, src/cli) catch CExceptionBase and turn it into what
//   the user sees: a message box or status text, a line on standard error and
//   an exit status.
// - KERF_ASSERT (support/Assert.h) is for the program's own assumptions only,
//   never for bad input: it traces and lets the work go on.

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace Kerf {

/// The program's own exception: a message, an optional inner exception that
/// caused it, and the stack trace where it was raised.
class CExceptionBase : public std::exception {
public:
    explicit CExceptionBase(std::wstring message);
    CExceptionBase(std::wstring message, const CExceptionBase& inner);
    /// Wraps any standard exception (its what() text) as the inner cause.
    CExceptionBase(std::wstring message, const std::exception& inner);

    const std::wstring& getMessage() const { return m_sMessage; }
    const CExceptionBase* getInner() const { return m_pInner.get(); }
    const std::wstring& getStackTrace() const { return m_sStackTrace; }

    const char* what() const noexcept override { return m_sWhat.c_str(); }

private:
    std::wstring m_sMessage;
    std::shared_ptr<const CExceptionBase> m_pInner;
    std::wstring m_sStackTrace;
    std::string m_sWhat;
};

/// What an index failure points to.
enum class IndexFault {
    Other,
    /// The query text could not be parsed.
    Query,
    /// The index's files cannot be read as an index (only once confirmed).
    Damaged,
    /// The file system refused: permissions, space, open files, locks.
    Unavailable,
};

/// A failure of the index; every CLucene error leaves the engine as one.
class CIndexException : public CExceptionBase {
public:
    CIndexException(std::wstring message, const CExceptionBase& cause, IndexFault fault)
        : CExceptionBase(std::move(message), cause), m_fault(fault) {}
    explicit CIndexException(std::wstring message, IndexFault fault = IndexFault::Other)
        : CExceptionBase(std::move(message)), m_fault(fault) {}

    IndexFault getFault() const { return m_fault; }
    bool isDamage() const { return m_fault == IndexFault::Damaged; }

private:
    IndexFault m_fault;
};

/// A query whose prefixes or ranges match more words than the highest clause
/// limit allows; the message names the part that matched too many.
class CTooManyWordsError : public CExceptionBase {
public:
    using CExceptionBase::CExceptionBase;
};

/// A failed call of the message-file reader. The message names the error
/// text, the code, the function and the call that failed; the code is the
/// file format's own (an HRESULT of the reader).
class CMapiException : public CExceptionBase {
public:
    CMapiException(std::wstring message, std::int32_t code)
        : CExceptionBase(std::move(message)), m_code(code) {}
    std::int32_t code() const { return m_code; }

private:
    std::int32_t m_code;
};

/// A failure reported by a store database or its driver.
class CDbException : public CExceptionBase {
public:
    using CExceptionBase::CExceptionBase;
};

/// The failure of reading, writing or changing a settings file: a code, and
/// where known the file and the line it happened at.
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

/// The message followed by each cause's, joined by ": ", for one line that
/// says both what failed and why.
std::wstring describeWithCauses(const CExceptionBase& e);

/// The current stack as text, one frame a line.
std::wstring captureStackTrace();

} // namespace Kerf
