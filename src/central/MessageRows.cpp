#include "central/MessageRows.h"

#include "central/TextVectors.h"
#include "support/DateTime.h"
#include "support/Strings.h"

#include <cstdio>
#include <iterator>
#include <optional>

namespace Kerf::Central {
namespace {

// Words are taken from this much of a field; the vector's own limits come
// long before it on any real message.
constexpr std::size_t kMaxAnalyzedCharacters = 4u << 20;

std::string words(std::wstring_view text) {
    return toTsVectorText(text.substr(0, kMaxAnalyzedCharacters));
}

// The words of the names the message shows and, apart from them, of the
// addresses behind them, as the per-user index holds them.
std::string peopleWords(const QuireLib::CEmailMetadata& record, const wchar_t* key) {
    std::wstring addresses;
    if (std::wstring_view(key) == L"From") {
        addresses = record.GetFromAddress();
    } else {
        const QuireLib::RecipientKind kind =
            std::wstring_view(key) == L"To"   ? QuireLib::RecipientKind::To
            : std::wstring_view(key) == L"Cc" ? QuireLib::RecipientKind::Cc
                                              : QuireLib::RecipientKind::Bcc;
        for (const QuireLib::MailRecipient& recipient : record.GetRecipients(kind))
            if (!recipient.address.empty())
                addresses += recipient.address + L" ";
    }
    const std::wstring names = record.GetStringValue(key);
    return toTsVectorText({std::wstring_view(names).substr(0, kMaxAnalyzedCharacters),
                           std::wstring_view(addresses).substr(0, kMaxAnalyzedCharacters)});
}

std::optional<std::string> sentDateText(const OleDate& date) {
    if (date.GetStatus() != OleDate::valid)
        return std::nullopt;
    const DateTime when = Dates::fromOleDate(date.m_dt);
    if (Dates::isNoDate(when) || !Dates::isValid(when))
        return std::nullopt;
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", when.year, when.month,
                  when.day, when.hour, when.minute, when.second);
    return std::string(text);
}

std::wstring joined(const std::vector<std::wstring>& names) {
    std::wstring text;
    for (const auto& name : names)
        text += (text.empty() ? L"" : L"; ") + name;
    return text;
}

// An element of an array literal's values; none for NULL.
const std::string* elementOf(const std::string& value) {
    return &value;
}
const std::string* elementOf(const std::optional<std::string>& value) {
    return value ? &*value : nullptr;
}

// An array literal: every element quoted, its quotes and backslashes
// escaped; a missing one NULL.
template <class Values> std::string arrayText(const Values& values) {
    std::string text = "{";
    for (const auto& value : values) {
        if (text.size() > 1)
            text += ',';
        const std::string* element = elementOf(value);
        if (element == nullptr) {
            text += "NULL";
            continue;
        }
        text += '"';
        for (const char c : *element) {
            if (c == '"' || c == '\\')
                text += '\\';
            text += c;
        }
        text += '"';
    }
    return text + "}";
}

// Many rows in one statement, each column an array: one round trip and one
// statement's work on the server for all of them.
constexpr const char* kWriteMessages = R"SQL(
INSERT INTO qosearch.messages (path, location, folder_id, file_name, modified_ns, size,
    subject, normalised_subject, sender, recipients_to, recipients_cc, recipients_bcc,
    sent_date, embedded_attachments, non_embedded_attachments, attachment_names,
    subject_words, body_words, from_words, to_words, cc_words, bcc_words, attachment_words)
SELECT * FROM unnest($1::text[], $2::text[], $3::bigint[], $4::text[], $5::bigint[],
    $6::bigint[], $7::text[], $8::text[], $9::text[], $10::text[], $11::text[], $12::text[],
    $13::timestamp[], $14::integer[], $15::integer[], $16::text[], $17::tsvector[],
    $18::tsvector[], $19::tsvector[], $20::tsvector[], $21::tsvector[], $22::tsvector[],
    $23::tsvector[])
ON CONFLICT (path) DO UPDATE SET location = EXCLUDED.location,
    folder_id = EXCLUDED.folder_id, file_name = EXCLUDED.file_name,
    modified_ns = EXCLUDED.modified_ns, size = EXCLUDED.size, subject = EXCLUDED.subject,
    normalised_subject = EXCLUDED.normalised_subject, sender = EXCLUDED.sender,
    recipients_to = EXCLUDED.recipients_to, recipients_cc = EXCLUDED.recipients_cc,
    recipients_bcc = EXCLUDED.recipients_bcc, sent_date = EXCLUDED.sent_date,
    embedded_attachments = EXCLUDED.embedded_attachments,
    non_embedded_attachments = EXCLUDED.non_embedded_attachments,
    attachment_names = EXCLUDED.attachment_names, subject_words = EXCLUDED.subject_words,
    body_words = EXCLUDED.body_words, from_words = EXCLUDED.from_words,
    to_words = EXCLUDED.to_words, cc_words = EXCLUDED.cc_words, bcc_words = EXCLUDED.bcc_words,
    attachment_words = EXCLUDED.attachment_words
)SQL";

} // namespace

std::string serverText(std::wstring_view text) {
    std::wstring clean;
    clean.reserve(text.size());
    for (const wchar_t c : text) {
        if (c == 0)
            continue;
        clean.push_back((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF ? L'\xFFFD' : c);
    }
    return Util::toNarrow(clean);
}

bool isServerPath(std::wstring_view path) {
    for (const wchar_t c : path)
        if (c == 0 || (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF)
            return false;
    return true;
}

std::pair<std::string, std::string> pathRange(const std::wstring& folder) {
    std::string first = Util::toNarrow(TrailDirectorySlash(folder));
    std::string last = first;
    last.back() = static_cast<char>('/' + 1);
    return {std::move(first), std::move(last)};
}

CMessageRowWriter::CMessageRowWriter(std::string conninfo) : m_sConninfo(std::move(conninfo)) {}

CMessageRowWriter::~CMessageRowWriter() {
    // What was not committed is rolled back when the connection closes.
}

CPgConnection& CMessageRowWriter::connection() {
    if (!m_pConnection) {
        m_pConnection = std::make_unique<CPgConnection>(m_sConninfo);
        m_pConnection->run("BEGIN");
    }
    return *m_pConnection;
}

std::int64_t CMessageRowWriter::writeFolder(const std::string& folder,
                                            const std::vector<std::string>& readers) {
    if (auto found = m_folders.find(folder); found != m_folders.end())
        return found->second;
    CPgConnection& db = connection();
    const CPgResult row =
        db.query("INSERT INTO qosearch.folders (path) VALUES ($1) "
                 "ON CONFLICT (path) DO UPDATE SET path = EXCLUDED.path RETURNING id",
                 {folder});
    const std::string id = row.text(0, 0);
    const std::string roles = arrayText(readers);
    db.query("DELETE FROM qosearch.folder_readers WHERE folder_id = $1 AND role <> ALL($2::text[])",
             {id, roles});
    db.query("INSERT INTO qosearch.folder_readers (folder_id, role) "
             "SELECT $1, unnest($2::text[]) ON CONFLICT DO NOTHING",
             {id, roles});
    const std::int64_t folderId = std::stoll(id);
    m_folders.emplace(folder, folderId);
    return folderId;
}

MessageRow messageRowOf(const QuireLib::CEmailMetadata& record) {
    const std::wstring path = record.GetStringValue(L"Location");
    const auto slash = path.find_last_of(L'/');
    const std::wstring fileName = slash == std::wstring::npos ? path : path.substr(slash + 1);
    const auto text = [&record](const wchar_t* key) {
        return serverText(record.GetStringValue(key));
    };
    const auto field = [&record](const wchar_t* key) { return words(record.GetStringValue(key)); };
    const Search::FileState& state = record.GetFileState();
    return {Util::toNarrow(path),
            {Util::toNarrow(fileName),
             std::to_string(state.modified),
             std::to_string(state.size >= 0 ? state.size : record.GetSize()),
             text(L"Subject"),
             text(L"Normalised_Subject"),
             text(L"From"),
             text(L"To"),
             text(L"Cc"),
             text(L"Bcc"),
             sentDateText(record.GetSentDate()),
             std::to_string(record.GetEmbeddedAttachments()),
             std::to_string(record.GetNonEmbeddedAttachments()),
             serverText(joined(record.GetAttachmentNames())),
             field(L"Subject"),
             field(L"Body"),
             peopleWords(record, L"From"),
             peopleWords(record, L"To"),
             peopleWords(record, L"Cc"),
             peopleWords(record, L"Bcc"),
             words(joined(record.GetAttachmentNames()) + L" " + record.GetAttachmentText())}};
}

void CMessageRowWriter::writeMessage(const std::wstring& location, std::int64_t folderId,
                                     MessageRow row) {
    // One statement cannot write a row twice.
    if (m_pendingPaths.count(row.path) != 0)
        writePending();
    m_pendingPaths.insert(row.path);
    CPgConnection::Params params;
    params.reserve(3 + row.fields.size());
    params.push_back(std::move(row.path));
    params.push_back(Util::toNarrow(location));
    params.push_back(std::to_string(folderId));
    std::move(row.fields.begin(), row.fields.end(), std::back_inserter(params));
    m_pending.push_back(std::move(params));
    ++m_iUncommitted;
    if (m_pending.size() >= kRowsPerStatement)
        writePending();
}

void CMessageRowWriter::writePending() {
    if (m_pending.empty())
        return;
    CPgConnection::Params columns;
    std::vector<std::optional<std::string>> column(m_pending.size());
    for (std::size_t c = 0; c < m_pending.front().size(); ++c) {
        for (std::size_t r = 0; r < m_pending.size(); ++r)
            column[r] = std::move(m_pending[r][c]);
        columns.push_back(arrayText(column));
    }
    m_pending.clear();
    m_pendingPaths.clear();
    connection().queryPrepared(kWriteMessages, columns);
}

void CMessageRowWriter::removeMessage(const std::wstring& path) {
    // In the order they were asked for.
    writePending();
    connection().query("DELETE FROM qosearch.messages WHERE path = $1", {Util::toNarrow(path)});
    ++m_iUncommitted;
}

void CMessageRowWriter::commit() {
    writePending();
    if (!m_pConnection)
        return;
    m_pConnection->run("COMMIT; BEGIN");
    m_iUncommitted = 0;
}

void forEachRowBelow(CPgConnection& connection, const std::wstring& folder,
                     const std::function<bool(std::string_view, const Search::FileState&)>& visit) {
    const auto [first, last] = pathRange(folder);
    const CPgResult rows = connection.query("SELECT path, modified_ns, size FROM qosearch.messages "
                                            "WHERE path >= $1 AND path < $2 ORDER BY path",
                                            {first, last});
    for (int r = 0; r < rows.rows(); ++r) {
        const std::string path = rows.text(r, 0);
        if (!visit(path, Search::FileState{rows.number(r, 1), rows.number(r, 2)}))
            return;
    }
}

} // namespace Kerf::Central
