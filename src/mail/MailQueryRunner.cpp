#include "mail/MailQueryRunner.h"

#include "mail/AddressFields.h"
#include "mail/AttachmentText.h"
#include "mail/StatusTexts.h"
#include "search/DocumentLayout.h"
#include "search/IndexStorage.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <cwchar>

namespace Kerf::QuireLib {

namespace Searcher = Search::Searcher;

const DateTime CMailQueryRunner::kSmallestDate{100, 1, 1, 0, 0, 0};
const DateTime CMailQueryRunner::kLargestDate{9999, 12, 31, 23, 59, 59};

CMailQueryRunner::CMailQueryRunner(Search::IndexSearcherPtr searcher,
                                   const SearchCriteria& criteria, IMailResultsSink& results,
                                   PathSet* foundLocations, PathSet* foundDirectories,
                                   const Directories* directories)
    : CQueryRunner(std::move(searcher), Search::Analyzer::create(), foundLocations,
                   foundDirectories, directories, criteria.m_sFileName),
      m_criteria(criteria), m_results(results) {}

std::wstring CMailQueryRunner::buildQuery(const std::wstring& directory) {
    std::wstring q = CQueryRunner::buildQuery(directory);
    if (!m_criteria.m_sQuery.empty())
        return q + L" AND (" + m_criteria.m_sQuery + L")";
    if (!m_criteria.m_sKeywords.empty()) {
        // Whole words (or quoted phrases) in any field; every typed word goes
        // through the analyzer and reaches the parser escaped, so that
        // "re:", "plain!" or a lone quote are words, never syntax.
        std::wstring any;
        for (const auto& word : Search::splitTypedWords(m_criteria.m_sKeywords))
            for (const wchar_t* field :
                 {L"Bcc", L"Body", L"Cc", L"From", L"Subject", L"To", L"Attachments"})
                any += L" " + buildWordMatch(field, word, false);
        // Keywords of punctuation alone restrict nothing, as a criterion of
        // punctuation alone does not.
        return any.empty() ? q : q + L" AND (" + any + L")";
    }
    q += buildMatches(L"Body", m_criteria.m_sBody);
    q += buildMatches(L"Subject", m_criteria.m_sSubject);
    q += buildMatches(L"From", m_criteria.m_sFrom);
    q += buildMatches(L"To", m_criteria.m_sTo);
    q += buildMatches(L"Cc", m_criteria.m_sCc);
    q += buildMatches(L"Bcc", m_criteria.m_sBcc);
    q += buildMatches(L"Attachments", m_criteria.m_sAttachment);
    if (m_criteria.m_bSentAfter || m_criteria.m_bSentBefore) {
        const DateTime lower = m_criteria.m_bSentAfter ? m_criteria.m_dtSentAfter : kSmallestDate;
        const DateTime upper = m_criteria.m_bSentBefore ? m_criteria.m_dtSentBefore : kLargestDate;
        q += L" AND SentDate:[" + Search::Writer::dateToString(lower) + L" TO " +
             Search::Writer::dateToString(upper) + L"]";
    }
    return q;
}

void CMailQueryRunner::loadDocument(lucene::index::IndexReader& reader, std::int32_t number,
                                    Search::Document& document) {
    if (m_bLoadBody) {
        CQueryRunner::loadDocument(reader, number, document);
        return;
    }
    reader.document(number, document, &Search::allButBody());
}

CEmailMetadata CMailQueryRunner::getDocument(Search::Document& document, bool withBody) {
    CEmailMetadata record;
    for (const wchar_t* key :
         {L"Location", L"Subject", L"Normalised_Subject", L"Body", L"From", L"To", L"Cc", L"Bcc"})
        if (withBody || std::wcscmp(key, L"Body") != 0)
            record.SetStringValue(key, Searcher::getAsString(document, key));
    record.SetSentDate(OleDate{Dates::toOleDate(Searcher::getAsDateTime(document, L"SentDate"))});
    record.SetEmbeddedAttachments(Searcher::getAsInt32(document, L"EmbeddedAttachments"));
    record.SetNonEmbeddedAttachments(Searcher::getAsInt32(document, L"NonEmbeddedAttachments"));
    record.SetSize(Searcher::getAsInt32(document, L"Size"));
    AddressFields::read(document, record);
    if (withBody)
        record.SetAttachmentNames(
            AttachmentText::namesOf(Searcher::getAsString(document, L"Attachments")));
    return record;
}

void CMailQueryRunner::beginProcessingSearch() {
    m_results.updateStatus(StatusTexts::kDisplayingResults);
    m_results.beginWaitCursor();
}

void CMailQueryRunner::beginProcessingResults(Search::CHitList& hits) {
    // One bulk add per pass, sized by the first directory's hits.
    if (!m_bBulkAdding) {
        m_bBulkAdding = true;
        m_results.startOptimisedAdd(hits.length());
    }
}

void CMailQueryRunner::beginProcessingNewHit(Search::Document& document) {
    m_results.InsertItem(getDocument(document, m_bLoadBody));
}

void CMailQueryRunner::endProcessingNewHit(Search::Document& /*document*/) {
    m_results.updateSearchStatus(m_results.getItemCount(), getFoundLocationsCount(),
                                 getFoundDirectoriesCount(), false);
}

void CMailQueryRunner::endProcessingSearch() {
    m_results.updateSearchStatus(m_results.getItemCount(), getFoundLocationsCount(),
                                 getFoundDirectoriesCount(), true);
    m_results.endWaitCursor();
    if (m_bBulkAdding) {
        m_bBulkAdding = false;
        m_results.finishOptimisedAdd();
    }
}

} // namespace Kerf::QuireLib
