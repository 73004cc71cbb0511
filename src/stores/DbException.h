#pragma once
// A failure reported by a store database or its driver.

#include "support/Exception.h"

namespace Kerf::QuireLib {

class CDbException : public CExceptionBase {
public:
    using CExceptionBase::CExceptionBase;
};

} // namespace Kerf::QuireLib
