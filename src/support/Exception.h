#pragma once
// The program's own exception type: a message, an optional inner exception
// that caused it, and the stack trace where it was raised.

#include <exception>
#include <memory>
#include <string>

namespace Kerf {

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

/// The message followed by each cause's, joined by ": ", for one line that
/// says both what failed and why.
std::wstring describeWithCauses(const CExceptionBase& e);

/// The current stack as text, one frame a line.
std::wstring captureStackTrace();

} // namespace Kerf
