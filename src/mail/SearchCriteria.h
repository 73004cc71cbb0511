#pragma once
// What the user asks for, as a plain value: the criteria pane binds its
// controls to it and the query builder and the mail indexer read it.

#include "support/DateTime.h"

#include <string>

namespace Kerf::QuireLib {

struct SearchCriteria {
    std::wstring m_sSubject;
    std::wstring m_sBody;
    std::wstring m_sFrom;
    std::wstring m_sTo;
    std::wstring m_sCc;
    std::wstring m_sBcc;
    bool m_bSentAfter = false;
    bool m_bSentBefore = false;
    DateTime m_dtSentAfter;
    DateTime m_dtSentBefore;
    std::wstring m_sFileName;
    /// Words in the attachments' names and text.
    std::wstring m_sAttachment;

    /// Free texts that, when set, replace the field criteria: a raw query
    /// text (passed to the parser as typed) and keywords searched in every
    /// text field.
    std::wstring m_sQuery;
    std::wstring m_sKeywords;

    /// Before a search: "sent after" a day excludes the whole of that day
    /// (23:59:59) and "sent before" a day ends one second into it (00:00:01).
    void adjustDatesForSearch();

    /// Empties every text and switches both dates off.
    void clear();
};

} // namespace Kerf::QuireLib
