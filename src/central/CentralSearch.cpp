#include "central/CentralSearch.h"

#include "central/CentralSettings.h"
#include "central/MessageRows.h"
#include "central/TextVectors.h"
#include "support/DateTime.h"
#include "support/Strings.h"

#include <chrono>
#include <cstdio>
#include <optional>

namespace Kerf::Central {
namespace {

class QueryBuilder {
public:
    std::string bind(std::optional<std::string> value) {
        m_query.params.push_back(std::move(value));
        return "$" + std::to_string(m_query.params.size());
    }
    void require(const std::string& condition) { m_query.sql += " AND " + condition; }
    CentralQuery& query() { return m_query; }

private:
    CentralQuery m_query;
};

std::string timestampText(const DateTime& when) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", when.year, when.month,
                  when.day, when.hour, when.minute, when.second);
    return text;
}

} // namespace

bool centralIndexAnswers(const QuireLib::SearchCriteria& criteria) {
    return criteria.m_sQuery.empty();
}

CentralQuery buildCentralQuery(const QuireLib::SearchCriteria& criteria,
                               const std::vector<std::wstring>& folders) {
    QueryBuilder q;
    q.query().sql =
        "SELECT path, subject, normalised_subject, sender, recipients_to, recipients_cc, "
        "recipients_bcc, to_char(sent_date, 'YYYYMMDDHH24MISS'), embedded_attachments, "
        "non_embedded_attachments, size FROM qosearch.messages WHERE (false";
    for (const auto& folder : folders) {
        const auto [first, last] = pathRange(folder);
        q.query().sql += " OR (path >= " + q.bind(first) + " AND path < " + q.bind(last) + ")";
    }
    q.query().sql += ")";

    if (!criteria.m_sKeywords.empty()) {
        // Keywords: any of the whole words in any of the text fields, as the
        // per-user index finds them.
        std::string any;
        for (const auto& word : Util::splitTokens(criteria.m_sKeywords, L" ")) {
            const std::string whole = toPhraseQueryText(word);
            if (whole.empty())
                continue;
            const std::string value = q.bind(whole) + "::tsquery";
            for (const char* column : {"subject_words", "body_words", "from_words", "to_words",
                                       "cc_words", "bcc_words", "attachment_words"})
                any += (any.empty() ? "" : " OR ") + std::string(column) + " @@ " + value;
        }
        if (!any.empty())
            q.require("(" + any + ")");
    } else {
        // Every word of every criterion as a word prefix in its field.
        const std::pair<const std::wstring*, const char*> fields[] = {
            {&criteria.m_sBody, "body_words"},
            {&criteria.m_sSubject, "subject_words"},
            {&criteria.m_sFrom, "from_words"},
            {&criteria.m_sTo, "to_words"},
            {&criteria.m_sCc, "cc_words"},
            {&criteria.m_sBcc, "bcc_words"},
            {&criteria.m_sAttachment, "attachment_words"}};
        for (const auto& [text, column] : fields) {
            const std::string terms = toPrefixQueryText(*text);
            if (!terms.empty())
                q.require(std::string(column) + " @@ " + q.bind(terms) + "::tsquery");
        }
    }
    if (criteria.m_bSentAfter)
        q.require("sent_date >= " + q.bind(timestampText(criteria.m_dtSentAfter)) + "::timestamp");
    if (criteria.m_bSentBefore) {
        // A message never sent counts as sent at the earliest date, as in the
        // per-user index.
        const std::string bound = q.bind(timestampText(criteria.m_dtSentBefore));
        q.require(criteria.m_bSentAfter
                      ? "sent_date <= " + bound + "::timestamp"
                      : "(sent_date <= " + bound + "::timestamp OR sent_date IS NULL)");
    }
    if (!criteria.m_sFileName.empty())
        q.require("strpos(lower(file_name), lower(" + q.bind(serverText(criteria.m_sFileName)) +
                  ")) > 0");
    return std::move(q.query());
}

namespace {

QuireLib::CEmailMetadata recordOf(const CPgResult& rows, int r) {
    // Made once: a key made for every value of tens of thousands of rows
    // costs as much as the value. Never destroyed: a search thread let go
    // when the program ends may still be reading rows then.
    static const std::wstring* const keys = new std::wstring[7]{
        L"Location", L"Subject", L"Normalised_Subject", L"From", L"To", L"Cc", L"Bcc"};
    QuireLib::CEmailMetadata record;
    for (int c = 0; c < 7; ++c)
        record.SetStringValue(keys[c], Util::toWide(rows.view(r, c)));
    OleDate sent;
    if (!rows.isNull(r, 7))
        sent.m_dt = Dates::toOleDate(Dates::fromIndexText(rows.text(r, 7)));
    record.SetSentDate(sent);
    record.SetEmbeddedAttachments(static_cast<std::int32_t>(rows.number(r, 8)));
    record.SetNonEmbeddedAttachments(static_cast<std::int32_t>(rows.number(r, 9)));
    record.SetSize(static_cast<std::int32_t>(rows.number(r, 10)));
    return record;
}

// One statement, not a cursor: the server plans a cursor's query without its
// parallel workers, and a word in half of a million messages then takes
// three times as long. The server ends a search it has not finished within
// kRunawaySearch, so that a runaway query does not keep working there.
// Compiling the plan to machine code (jit) takes longer than any of these
// searches runs.
void inSearchTransaction(CPgConnection& connection, const std::function<void()>& work) {
    connection.inTransaction("BEGIN READ ONLY; SET LOCAL statement_timeout = " +
                                 std::to_string(std::chrono::milliseconds(kRunawaySearch).count()) +
                                 "; SET LOCAL jit = off; SET LOCAL work_mem = '32MB'",
                             work);
}

} // namespace

void searchCentralIndex(CPgConnection& connection, const QuireLib::SearchCriteria& criteria,
                        const std::vector<std::wstring>& folders, const OnCentralRecord& onRecord) {
    const CentralQuery query = buildCentralQuery(criteria, folders);
    inSearchTransaction(connection, [&] {
        connection.queryRows(query.sql, query.params, [&](const CPgResult& rows) {
            for (int r = 0; r < rows.rows(); ++r) {
                CentralRow row{rows.view(r, 0)};
                for (int c = 0; c < 7; ++c)
                    row.textBytes += rows.view(r, c).size();
                onRecord(recordOf(rows, r), row);
            }
        });
    });
}

} // namespace Kerf::Central
