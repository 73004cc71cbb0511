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

} // namespace Kerf
