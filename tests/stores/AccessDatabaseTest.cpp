// Access files read with the library, checked against the contents the shared test databases were
// exported with, and the store tables joined on top of what the reader gives.

#include "stores/AccessDatabase.h"

#include "SharedFiles.h"
#include "StoresTestSupport.h"

#include <utility>

using namespace Kerf::QuireLib;
using Kerf::Util::toWide;

namespace {

const std::string kMdbDir = QOSEARCH_CORPUS_DIR "/../mdb/";

std::wstring mdbFile(const char* name) {
    return toWide(kMdbDir + name);
}

// The export's CSV: a header of column names, then one record per row;
// quoted fields may hold commas and new lines, "" is a quote.
std::vector<std::vector<std::string>> readCsv(const std::string& path) {
    const std::string text = QoTest::readFile(path);
    std::vector<std::vector<std::string>> records(1);
    std::string field;
    bool quoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' && quoted && i + 1 < text.size() && text[i + 1] == '"')
            field += text[++i];
        else if (c == '"')
            quoted = !quoted;
        else if (quoted || (c != ',' && c != '\n' && c != '\r'))
            field += c;
        else if (c != '\r')
            records.back().push_back(std::exchange(field, {}));
        if (!quoted && c == '\n')
            records.emplace_back();
    }
    if (records.back().empty())
        records.pop_back();
    return records;
}

} // namespace

QO_TESTS_READ_SHARED(AccessFiles, "AccessDatabase.*");

TEST(AccessDatabase, ReadsTablesAsTheirExportHasThemAndNamesThem) {
    const struct {
        const char* file;
        const char* table;
        const char* csv;
        size_t rows;
    } cases[] = {
        {"nwind.mdb", "Customers", "nwind-Customers.csv", 91},
        // Every column when none are named; the table's name matched without case.
        {"nwind.mdb", "SHIPPERS", "nwind-Shippers.csv", 3},
        {"DateTestDatabase.mdb", "DateTest", "DateTest-text.csv", 6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.table);
        const auto csv = readCsv(kMdbDir + c.csv);
        ASSERT_EQ(csv.size(), c.rows + 1);
        std::vector<std::wstring> columns;
        for (const auto& name : csv[0])
            columns.push_back(toWide(name));
        CAccessDatabase db(mdbFile(c.file));
        const auto rows = std::string(c.table) == "SHIPPERS"
                              ? db.ReadTable(toWide(c.table))
                              : db.ReadTable(toWide(c.table), columns);
        ASSERT_EQ(rows.size(), c.rows);
        // The file keeps a new line inside a value as CR LF; one export
        // (DateTest's) wrote it as LF. A new line is compared as a new line.
        const auto lf = [](std::string text) {
            for (size_t at; (at = text.find("\r\n")) != std::string::npos;)
                text.erase(at, 1);
            return text;
        };
        for (size_t r = 0; r < rows.size(); ++r)
            for (size_t col = 0; col < columns.size(); ++col)
                EXPECT_EQ(lf(Kerf::Util::toNarrow(rows[r].at(columns[col]))), lf(csv[r + 1][col]))
                    << "row " << r << " column " << csv[0][col];
        EXPECT_EQ(rows[0].size(), columns.size());
    }
}

TEST(AccessDatabase, MissingOrForeignFilesTablesAndColumnsGiveClearMessages) {
    QoTest::TempDir dir;
    QoTest::writeFile(dir / "text.mdb", "just some text, long enough to hold a header");
    const std::wstring missing = toWide((dir / "missing.mdb").string());
    const std::wstring text = toWide((dir / "text.mdb").string());
    const std::wstring message = toWide(QOSEARCH_CORPUS_DIR "/msg/mr_200 recipients.msg");
    const std::wstring nwind = mdbFile("nwind.mdb");
    const std::wstring cut = toWide((dir / "cut.mdb").string());
    QoTest::writeFile(dir / "cut.mdb",
                      QoTest::readFile(Kerf::Util::toPath(nwind)).substr(0, 100000));
    const struct {
        std::function<void()> action;
        std::wstring expected;
    } cases[] = {
        {[&] { CAccessDatabase db(missing); }, L"Store database not found: " + missing},
        {[&] { CStoreDatabase db(L"MDB", missing, L"", L"Admin", L""); },
         L"Store database not found: " + missing},
        {[&] { CAccessDatabase db(text); },
         L"Cannot open the store database \"" + text + L"\": not an Access database"},
        {[&] { CAccessDatabase db(message); },
         L"Cannot open the store database \"" + message + L"\": not an Access database"},
        {[&] { CAccessDatabase db(cut); },
         L"Cannot open the store database \"" + cut + L"\": the Access file is cut short"},
        {[&] { CAccessDatabase(nwind).ReadTable(L"tbl_stores"); },
         L"The store database \"" + nwind + L"\" has no table \"tbl_stores\""},
        {[&] {
             CAccessDatabase(nwind).ReadTable(L"Shippers", {L"Phone", L"path_location"});
         },
         L"Table \"Shippers\" of \"" + nwind + L"\" has no column \"path_location\""},
        // An Access file without the store tables has no stores to give.
        {[&] {
             CStoreDatabase db(L"MDB", nwind, L"", L"Admin", L"");
             LocationRows rows;
             db.GetStoreLocationsByType(rows, L"msg");
         },
         L"The store database \"" + nwind + L"\" has no table \"tbl_store_types\""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(StoresTest::messageOf(c.action), c.expected);
}

TEST(AccessStoreJoin, FollowsTheLinksOfTheOneMatchingType) {
    using Pairs = std::vector<std::pair<std::wstring, std::wstring>>;
    // Rows of two columns, one row per pair.
    const auto rows = [](const wchar_t* first, const wchar_t* second, const Pairs& pairs) {
        std::vector<CAccessDatabase::Row> made;
        for (const auto& [a, b] : pairs)
            made.push_back({{first, a}, {second, b}});
        return made;
    };
    const auto stores =
        rows(L"store_id", L"path_location",
             {{L"1", L"\\\\srv\\jobs\\1"}, {L"2", L"J:\\Jobs\\2"}, {L"3", L"/srv/3"}});
    const Pairs links = {{L"3", L"7"}, {L"2", L"8"}, {L"1", L"7"}}; // store, type
    const struct {
        Pairs types; // id, name
        Pairs links;
        std::wstring joined; // the paths found, or what is thrown
    } cases[] = {
        // The type matches without case; the stores come in the links' order.
        {{{L"8", L"doc"}, {L"7", L"MSG"}}, links, L"/srv/3;\\\\srv\\jobs\\1;"},
        // No such type: no stores.
        {{{L"8", L"doc"}}, links, L""},
        // Two types alike: the count is wrong.
        {{{L"7", L"msg"}, {L"9", L"Msg"}},
         links,
         L"Kerf::QuireLib::CDbTableHelper::TableFindRecord: invalid record count (2)"},
        // A link to a store that is not there.
        {{{L"7", L"msg"}}, {{L"4", L"7"}}, L"TableReadRecordStrings: invalid record count"},
        // An id that is not a number.
        {{{L"seven", L"msg"}}, links, L"invalid type retrieving id field"},
    };
    for (const auto& c : cases) {
        std::wstring joined;
        try {
            for (const auto& row : CStoreDatabase::JoinStoreLocations(
                     rows(L"type_id", L"type", c.types), rows(L"store_id", L"type_id", c.links),
                     stores, L"msg"))
                joined += row.at(L"path_location") + L";";
        } catch (const Kerf::CExceptionBase& e) {
            joined = e.getMessage();
        }
        EXPECT_EQ(joined, c.joined);
    }
}
