#include "mail/SearchCriteria.h"

namespace Kerf::QuireLib {

void SearchCriteria::adjustDatesForSearch() {
    // A date that is not a real calendar date is left as it is.
    if (Dates::isValid(m_dtSentAfter))
        m_dtSentAfter = Dates::withTime(m_dtSentAfter, 23, 59, 59);
    if (Dates::isValid(m_dtSentBefore))
        m_dtSentBefore = Dates::withTime(m_dtSentBefore, 0, 0, 1);
}

void SearchCriteria::clear() {
    const DateTime after = m_dtSentAfter;
    const DateTime before = m_dtSentBefore;
    *this = SearchCriteria();
    m_dtSentAfter = after;
    m_dtSentBefore = before;
}

} // namespace Kerf::QuireLib
